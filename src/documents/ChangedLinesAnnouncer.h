#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <memory>
#include <mutex>
#include <optional>

namespace korvane {

class TailDataSource;

/// Makes changed lines known: to the data source at once, to the windows by `DocumentNotices::rowsUpdated`.
/// However fast changes come, at most one notification waits for the main thread; it covers all of them. Any
/// thread.
class ChangedLinesAnnouncer : public std::enable_shared_from_this<ChangedLinesAnnouncer> {
public:
    explicit ChangedLinesAnnouncer(std::weak_ptr<TailDataSource> dataSource);

    void announce(LineRange changed);
    /// There are rows where none were, whose page has just been loaded.
    void announceLoadedRows(LineRange rows);
    /// The file holds another content: before the notification, the data source forgets all rows.
    void announceOtherContent(LineRange changed);

private:
    enum class Content { Loaded, Same, Other };
    void announce(LineRange changed, Content content);
    void postNotification();

    const std::weak_ptr<TailDataSource> dataSource_;
    std::mutex mutex_;
    /// Guarded by mutex_. What the waiting notification covers; nothing = none waits.
    std::optional<LineRange> pending_;
    /// Guarded by mutex_. For the waiting notification.
    Content pendingContent_ = Content::Same;
};

} // namespace korvane
