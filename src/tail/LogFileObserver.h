#pragma once

#include "core/FileObserverProtocol.h"
#include "core/FileStatusNotificationObject.h"
#include "core/LogFileReaderProtocol.h"
#include "foundation/OperationQueue.h"
#include "tail/FileMonitorOperation.h"

#include <QByteArray>

#include <memory>
#include <mutex>

namespace korvane {

class FollowedDataSource;

/// Follows a local file: turns what a monitor sees into new and changed rows, and notices when another file
/// takes the place of the one that is shown.
///
/// Held by shared pointer, by its document. Starting and stopping on the main thread; the work is done on the
/// monitor's thread. Keeps the reader, not the data source.
class LogFileObserver : public FileObserverProtocol,
                        public FileMonitorOperationDelegate,
                        public std::enable_shared_from_this<LogFileObserver> {
public:
    /// Null when the data source has no reader. Precondition: its document is open.
    static std::shared_ptr<LogFileObserver> create(const std::shared_ptr<FollowedDataSource>& dataSource);

    /// A monitor that runs already is stopped first.
    void startTailing() override;
    /// Does not wait: a scan under way stops at its next step, and what it has not found is found when
    /// tailing starts again.
    void stopTailing() override;
    /// False until the monitor has begun, true until it has ended. Any thread.
    bool isTailing() const override;

    // Called by the monitor.

    /// The first report, with the old size 0, only tells the size that the document has loaded.
    void fileSizeChanged(std::uint64_t oldSize, std::uint64_t newSize) override;
    /// Finds what a size does not show: lines that the index lacks, another content, another file.
    void filePolled() override;

private:
    explicit LogFileObserver(const std::shared_ptr<FollowedDataSource>& dataSource);

    enum class Content { Same, Other };
    void bringUpToDate(Content content);
    void lookAtPath();
    void takeFileAtPath();
    void setStatus(FileStatus status);
    /// `notification::tailingChanged`.
    void announceTailing();
    std::shared_ptr<FileMonitorOperation> monitorOp() const;

    const std::weak_ptr<FollowedDataSource> dataSource_;
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    const QByteArray path_;

    mutable std::mutex mutex_;
    std::shared_ptr<FileMonitorOperation> monitorOp_; // guarded by mutex_

    // The monitor's thread only.
    FileStatus status_ = FileStatus::Present;
    std::weak_ptr<FileMonitorOperation> announcedMonitor_;

    OperationQueue opQueue_;
};

} // namespace korvane
