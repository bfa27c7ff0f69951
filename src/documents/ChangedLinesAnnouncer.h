#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/Mutex.h"

#include <memory>
#include <optional>

namespace korvane {

class TailDataSource;

/// Reports changed lines: to the data source at once, to the windows by `DocumentNotices::rowsUpdated`. At
/// most one notification is queued for the main thread; it covers all changes since the last one. Any thread.
class ChangedLinesAnnouncer : public std::enable_shared_from_this<ChangedLinesAnnouncer> {
public:
    explicit ChangedLinesAnnouncer(std::weak_ptr<TailDataSource> dataSource);

    void announce(LineRange changed);
    /// Rows that did not exist before, whose page has just been loaded.
    void announceLoadedRows(LineRange rows);
    /// A new file generation: before the notification, the data source forgets all rows.
    void announceOtherContent(LineRange changed);

private:
    enum class Content { Loaded, Same, Other };
    void announce(LineRange changed, Content content);
    void postNotification();

    const std::weak_ptr<TailDataSource> dataSource_;
    Mutex mutex_;
    /// Lines that the queued notification covers; nullopt if none is queued.
    std::optional<LineRange> pending_ GUARDED_BY(mutex_);
    /// For the queued notification.
    Content pendingContent_ GUARDED_BY(mutex_) = Content::Same;
};

} // namespace korvane
