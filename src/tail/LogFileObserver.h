#pragma once

#include "core/FileObserverProtocol.h"
#include "core/FileStatus.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/work/OperationQueue.h"
#include "tail/FileMonitorOperation.h"

#include <QByteArray>

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>

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

    /// A monitor that runs already is stopped first. What its first look finds was there before.
    void startTailing() override;
    /// As above; what is not known yet counts as arrived. For a file whose load has just ended.
    void startTailingAfterLoad();
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
    using Clock = std::chrono::steady_clock;

    explicit LogFileObserver(const std::shared_ptr<FollowedDataSource>& dataSource);

    /// What lines that were not known before are to whoever hears of lines that arrive.
    enum class NewLines { WereThere, Arrive };
    void startMonitor(NewLines ofFirstLook);
    void bringUpToDate();
    void lookAtPath();
    /// Nothing has been open so far.
    void openFileAtPath();
    /// Another one has been open so far.
    void takeFileAtPath();
    void showFromFirstLine();
    void setStatus(FileStatus status);
    /// `DocumentNotices::tailingChanged`.
    void announceTailing();
    /// Posts it also when it has been so before: it has happened again.
    void setStatusAnew(FileStatus status);
    std::shared_ptr<FileMonitorOperation> monitorOp() const;
    bool isStopped() const;

    const std::weak_ptr<FollowedDataSource> dataSource_;
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    const QByteArray path_;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::shared_ptr<FileMonitorOperation> monitorOp_;
    NewLines ofNextLook_ = NewLines::WereThere;

    // The monitor's thread only.
    FileStatus status_ = FileStatus::Present;
    std::weak_ptr<FileMonitorOperation> announcedMonitor_;
    NewLines newLines_ = NewLines::WereThere;         // of the look under way
    std::optional<Clock::time_point> otherFileSince_; // while the switch to it is put off

    OperationQueue opQueue_;
};

} // namespace korvane
