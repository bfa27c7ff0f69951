#include "tail/LogFileObserver.h"

#include "core/DocumentProtocol.h"
#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "tail/FollowedDataSource.h"
#include "tail/LocalFileMonitorOperation.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace korvane {
namespace {

constexpr auto announceInterval = std::chrono::microseconds(1'000'000 / 30);
/// Check the clock and line count every N scan steps.
constexpr unsigned stepsPerLook = 16;
/// Grace period for which a replaced (rotated) file stays open so that its last lines are processed.
constexpr auto longestStay = std::chrono::seconds(10);

/// Reports the lines that a scan finds, also while it runs, and stops it when tailing stops. Lives on the
/// scanning thread.
class FollowingListener : public LogReaderDelegate {
public:
    FollowingListener(std::shared_ptr<LogFileReaderProtocol> logReader,
                      std::shared_ptr<FollowedDataSource> dataSource,
                      std::shared_ptr<const Operation> monitor, bool tellsOfArrivals)
        : logReader_(std::move(logReader)), dataSource_(std::move(dataSource)), monitor_(std::move(monitor)),
          announcedCount_(logReader_->lineCount()), tellsOfArrivals_(tellsOfArrivals) {}

    void readerDidForgetLines() override {
        hasForgotten_ = true;
        startAnew();
    }
    /// The scan starts at the first line of a new file generation.
    void startAnew() {
        isOtherContent_ = true;
        dataSource_->contentForgotten();
    }
    /// The scan has found a new file generation.
    bool hasForgotten() const { return hasForgotten_; }

    void readerDidReadBytes(std::uint64_t /*count*/) override {
        if (monitor_ && monitor_->isCancelled()) {
            logReader_->cancelScan();
            return;
        }
        if (++steps_ % stepsPerLook != 0 || Clock::now() - announcedAt_ < announceInterval)
            return;
        const qint64 count = logReader_->lineCount();
        if (isOtherContent_ || count > announcedCount_)
            announce(linesUpTo(count));
    }

    /// `result`: the lines that the whole scan has changed.
    void announceEnd(LineRange result) {
        if (isOtherContent_ || result.length > 0)
            announce(result);
    }

private:
    using Clock = std::chrono::steady_clock;

    /// The line that was the last one may have grown.
    LineRange linesUpTo(qint64 count) const {
        const qint64 first = std::max<qint64>(announcedCount_ - 1, 0);
        return {first, count - first};
    }

    void announce(LineRange changed) {
        announcedAt_ = Clock::now();
        announcedCount_ = logReader_->lineCount();
        if (std::exchange(isOtherContent_, false))
            dataSource_->announceOtherContent({0, announcedCount_});
        else
            dataSource_->announceChangedLines(changed);
        if (tellsOfArrivals_)
            dataSource_->linesArrived();
    }

    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    const std::shared_ptr<FollowedDataSource> dataSource_;
    const std::shared_ptr<const Operation> monitor_;
    qint64 announcedCount_;
    const bool tellsOfArrivals_;
    bool isOtherContent_ = false;
    bool hasForgotten_ = false;
    Clock::time_point announcedAt_ = Clock::now();
    unsigned steps_ = 0;
};

} // namespace

std::shared_ptr<LogFileObserver>
LogFileObserver::create(const std::shared_ptr<FollowedDataSource>& dataSource) {
    if (!dataSource->followedReader())
        return nullptr;
    return std::shared_ptr<LogFileObserver>(new LogFileObserver(dataSource));
}

LogFileObserver::LogFileObserver(const std::shared_ptr<FollowedDataSource>& dataSource)
    : dataSource_(dataSource), logReader_(dataSource->followedReader()),
      path_(localPath(dataSource->getDocument()->fileUrl())), opQueue_("File polling queue", 1) {}

void LogFileObserver::startTailing() {
    startMonitor(NewLines::WereThere);
}

void LogFileObserver::startTailingAfterLoad() {
    if (const auto dataSource = dataSource_.lock())
        dataSource->followingBegan();
    startMonitor(NewLines::Arrive);
}

void LogFileObserver::startMonitor(NewLines ofFirstLook) {
    stopTailing();
    const auto monitor = std::make_shared<LocalFileMonitorOperation>(logReader_);
    monitor->setDelegate(weak_from_this());
    monitor->setCompletion([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->announceTailing();
    });
    {
        const MutexLock guard(mutex_);
        monitorOp_ = monitor;
        ofNextLook_ = ofFirstLook;
    }
    opQueue_.addOperation(monitor);
}

void LogFileObserver::stopTailing() {
    opQueue_.cancelAllOperations();
}

std::shared_ptr<FileMonitorOperation> LogFileObserver::monitorOp() const {
    const MutexLock guard(mutex_);
    return monitorOp_;
}

bool LogFileObserver::isTailing() const {
    const auto monitor = monitorOp();
    return monitor && monitor->isExecuting();
}

bool LogFileObserver::isStopped() const {
    const auto monitor = monitorOp();
    return monitor && monitor->isCancelled();
}

void LogFileObserver::fileSizeChanged(std::uint64_t oldSize, std::uint64_t /*newSize*/) {
    // The reader decides what has changed, not the two sizes: the file may have been replaced.
    if (oldSize != 0 && logReader_->isBehind())
        bringUpToDate();
}

void LogFileObserver::announceTailing() {
    MainThread::shared().post([weak = dataSource_] {
        const auto dataSource = weak.lock();
        if (const auto document = dataSource ? dataSource->getDocument() : nullptr)
            document->notices().tailingChanged.post();
    });
}

void LogFileObserver::filePolled() {
    if (auto monitor = monitorOp(); monitor != announcedMonitor_.lock()) {
        announcedMonitor_ = monitor;
        // A new monitor: observers dropped the last status when the old monitor ended.
        status_ = FileStatus::Present;
        announceTailing();
    }
    const auto dataSource = dataSource_.lock();
    if (!dataSource)
        return;
    {
        const MutexLock guard(mutex_);
        newLines_ = std::exchange(ofNextLook_, NewLines::Arrive);
    }
    lookAtPath();
    if (logReader_->isBehind())
        bringUpToDate();
    if (std::exchange(newLines_, NewLines::Arrive) == NewLines::WereThere)
        dataSource->followingBegan();
    else
        dataSource->filePolled();
}

void LogFileObserver::bringUpToDate() {
    const auto dataSource = dataSource_.lock();
    if (!dataSource || isStopped())
        return;
    const auto listener = std::make_shared<FollowingListener>(logReader_, dataSource, monitorOp(),
                                                              newLines_ == NewLines::Arrive);
    listener->announceEnd(logReader_->refreshReportingTo(listener));
    if (listener->hasForgotten())
        setStatusAnew(FileStatus::Truncated);
}

void LogFileObserver::showFromFirstLine() {
    const auto dataSource = dataSource_.lock();
    if (!dataSource)
        return;
    const auto listener = std::make_shared<FollowingListener>(logReader_, dataSource, monitorOp(),
                                                              newLines_ == NewLines::Arrive);
    listener->startAnew();
    listener->announceEnd(logReader_->refreshReportingTo(listener));
}

void LogFileObserver::lookAtPath() {
    struct stat status {};
    if (::stat(path_.constData(), &status) != 0) {
        // Any other failure says nothing about the file.
        if (errno == ENOENT || errno == ENOTDIR)
            setStatus(FileStatus::Deleted);
        return;
    }
    const FileHandle::Identity present{static_cast<std::uint64_t>(status.st_dev),
                                       static_cast<std::uint64_t>(status.st_ino)};
    const auto open = logReader_->fileIdentity();
    if (present == open) {
        otherFileSince_.reset();
        if (logReader_->scanError() != 0)
            setStatus(FileStatus::Unreadable);
        else if (status_ == FileStatus::Deleted || status_ == FileStatus::Unreadable)
            setStatus(FileStatus::Present);
    } else if (!S_ISREG(status.st_mode)) {
        setStatus(FileStatus::Unreadable); // opening a pipe or a device can change it
    } else if (!open) {
        openFileAtPath();
    } else {
        takeFileAtPath();
    }
}

void LogFileObserver::openFileAtPath() {
    if (isStopped())
        return;
    if (!logReader_->reopen()) {
        setStatus(FileStatus::Unreadable);
        return;
    }
    // Its lines do not count as appended: they only could not be read before.
    newLines_ = NewLines::WereThere;
    showFromFirstLine();
    setStatus(FileStatus::Present);
}

void LogFileObserver::takeFileAtPath() {
    // The writer may have appended lines to the old file until it was moved, and later.
    if (logReader_->isBehind())
        bringUpToDate();
    const auto dataSource = dataSource_.lock();
    if (!dataSource || isStopped())
        return;
    if (newLines_ == NewLines::WereThere)
        dataSource->followingBegan();
    if (!otherFileSince_)
        otherFileSince_ = Clock::now();
    const bool isDoneWith = dataSource->letArrivedLinesPass() && !logReader_->isBehind();
    if (!isDoneWith && Clock::now() - *otherFileSince_ < longestStay)
        return;
    otherFileSince_.reset();
    if (!logReader_->reopen()) {
        setStatus(FileStatus::Unreadable);
        return;
    }
    showFromFirstLine();
    setStatusAnew(FileStatus::Rotated);
}

void LogFileObserver::setStatus(FileStatus status) {
    if (status_ != status)
        setStatusAnew(status);
}

void LogFileObserver::setStatusAnew(FileStatus status) {
    status_ = status;
    MainThread::shared().post([weak = dataSource_, status] {
        const auto dataSource = weak.lock();
        const auto document = dataSource ? dataSource->getDocument() : nullptr;
        if (document) // else closed meanwhile
            document->notices().fileStatusChanged.post(status);
    });
}

} // namespace korvane
