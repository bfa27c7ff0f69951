#pragma once

#include "core/FileObserverProtocol.h"
#include "core/FileStatus.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/Mutex.h"
#include "foundation/work/OperationQueue.h"
#include "tail/FileMonitorOperation.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <optional>

namespace korvane {

class FollowedDataSource;

/// Follows a local file: turns a monitor's polls into new and changed rows, and detects when the file is
/// replaced by another one.
///
/// Held by shared pointer, by its document. Start and stop on the main thread; the work is done on the
/// monitor's thread. Keeps the reader alive, not the data source.
class LogFileObserver : public FileObserverProtocol,
                        public FileMonitorOperationDelegate,
                        public std::enable_shared_from_this<LogFileObserver> {
public:
    /// Null when the data source has no reader. Precondition: its document is open.
    static std::shared_ptr<LogFileObserver> create(const std::shared_ptr<FollowedDataSource>& dataSource);

    /// Stops a running monitor first. Lines found by the first poll count as already present.
    void startTailing() override;
    /// As above, but lines not indexed yet count as appended. For a file whose load has just ended.
    void startTailingAfterLoad();
    /// Does not wait: a running scan stops at its next step; the rest is found when tailing starts again.
    void stopTailing() override;
    /// Whether the monitor is running. Any thread.
    bool isTailing() const override;

    // Called by the monitor.

    /// The first report, with the old size 0, is the size that the document has loaded; it is ignored.
    void fileSizeChanged(std::uint64_t oldSize, std::uint64_t newSize) override;
    /// Detects changes that the size does not show: unindexed lines, a rewritten or a replaced file.
    void filePolled() override;

private:
    using Clock = std::chrono::steady_clock;

    explicit LogFileObserver(const std::shared_ptr<FollowedDataSource>& dataSource);

    /// How newly indexed lines are reported: as already present, or as appended.
    enum class NewLines { WereThere, Arrive };
    void startMonitor(NewLines ofFirstLook);
    void bringUpToDate();
    void lookAtPath();
    /// Opens the file at the path; none is open.
    void openFileAtPath();
    /// Switches from the open file to the one at the path.
    void takeFileAtPath();
    void showFromFirstLine();
    void setStatus(FileStatus status);
    /// Posts `DocumentNotices::tailingChanged`.
    void announceTailing();
    /// Posts the status even if it is unchanged, because the event has happened again.
    void setStatusAnew(FileStatus status);
    std::shared_ptr<FileMonitorOperation> monitorOp() const;
    bool isStopped() const;

    const std::weak_ptr<FollowedDataSource> dataSource_;
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    const QByteArray path_;

    mutable Mutex mutex_;
    std::shared_ptr<FileMonitorOperation> monitorOp_ GUARDED_BY(mutex_);
    NewLines ofNextLook_ GUARDED_BY(mutex_) = NewLines::WereThere;

    // The monitor's thread only.
    FileStatus status_ = FileStatus::Present;
    std::weak_ptr<FileMonitorOperation> announcedMonitor_;
    NewLines newLines_ = NewLines::WereThere;         // of the poll under way
    std::optional<Clock::time_point> otherFileSince_; // set while the switch to it is deferred

    OperationQueue opQueue_;
};

} // namespace korvane
