#include "tail/LogFileObserver.h"

#include "core/DocumentProtocol.h"
#include "core/NotificationNames.h"
#include "foundation/FilePath.h"
#include "foundation/MainThread.h"
#include "foundation/NotificationCenter.h"
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

using Clock = std::chrono::steady_clock;

constexpr auto announceInterval = std::chrono::microseconds(1'000'000 / 30);
/// A look at clock and line count is made once in so many steps of a scan.
constexpr unsigned stepsPerLook = 16;

/// Announces what a scan finds, also while it goes on, and stops it when tailing stops. Lives on the scanning
/// thread.
class FollowingListener : public LogReaderDelegate {
public:
    FollowingListener(std::shared_ptr<LogFileReaderProtocol> logReader,
                      std::shared_ptr<FollowedDataSource> dataSource,
                      std::shared_ptr<const Operation> monitor, bool isOtherContent)
        : logReader_(std::move(logReader)), dataSource_(std::move(dataSource)), monitor_(std::move(monitor)),
          announcedCount_(logReader_->lineCount()), isOtherContent_(isOtherContent) {}

    void readerDidForgetLines() override { isOtherContent_ = true; }

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

    /// `result`: what the scan as a whole has changed.
    void announceEnd(LineRange result) {
        if (isOtherContent_ || result.length > 0)
            announce(result);
    }

private:
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
    }

    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    const std::shared_ptr<FollowedDataSource> dataSource_;
    const std::shared_ptr<const Operation> monitor_;
    qint64 announcedCount_;
    bool isOtherContent_;
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
    stopTailing();
    const auto monitor = std::make_shared<LocalFileMonitorOperation>(logReader_);
    monitor->setDelegate(weak_from_this());
    monitor->setCompletion([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->announceTailing();
    });
    {
        const std::lock_guard guard(mutex_);
        monitorOp_ = monitor;
    }
    opQueue_.addOperation(monitor);
}

void LogFileObserver::stopTailing() {
    opQueue_.cancelAllOperations();
}

std::shared_ptr<FileMonitorOperation> LogFileObserver::monitorOp() const {
    const std::lock_guard guard(mutex_);
    return monitorOp_;
}

bool LogFileObserver::isTailing() const {
    const auto monitor = monitorOp();
    return monitor && monitor->isExecuting();
}

void LogFileObserver::fileSizeChanged(std::uint64_t oldSize, std::uint64_t /*newSize*/) {
    // The reader knows better than two sizes what has changed: the file may be another one by now.
    if (oldSize != 0 && logReader_->isBehind())
        bringUpToDate(Content::Same);
}

void LogFileObserver::announceTailing() {
    MainThread::shared().post([weak = dataSource_] {
        const auto dataSource = weak.lock();
        if (const auto document = dataSource ? dataSource->getDocument() : nullptr)
            NotificationCenter::shared().post(notification::tailingChanged, document);
    });
}

void LogFileObserver::filePolled() {
    if (auto monitor = monitorOp(); monitor != announcedMonitor_.lock()) {
        announcedMonitor_ = monitor;
        announceTailing();
    }
    lookAtPath();
    if (logReader_->isBehind())
        bringUpToDate(Content::Same);
}

void LogFileObserver::bringUpToDate(Content content) {
    const auto dataSource = dataSource_.lock();
    const auto monitor = monitorOp();
    if (!dataSource || (monitor && monitor->isCancelled() && content == Content::Same))
        return;
    const auto listener =
        std::make_shared<FollowingListener>(logReader_, dataSource, monitor, content == Content::Other);
    listener->announceEnd(logReader_->refreshReportingTo(listener));
}

void LogFileObserver::lookAtPath() {
    const auto open = logReader_->fileIdentity();
    if (!open)
        return;
    struct stat status {};
    if (::stat(path_.constData(), &status) != 0) {
        // Any other failure says nothing about the file.
        if (errno == ENOENT || errno == ENOTDIR)
            setStatus(FileStatus::Deleted);
        return;
    }
    const FileHandle::Identity present{static_cast<std::uint64_t>(status.st_dev),
                                       static_cast<std::uint64_t>(status.st_ino)};
    if (present != *open && !S_ISREG(status.st_mode))
        setStatus(FileStatus::Unreadable); // opening a pipe or a device can change it
    else if (present != *open)
        takeFileAtPath();
    else if (status_ != FileStatus::Rotated)
        setStatus(FileStatus::Present);
}

void LogFileObserver::takeFileAtPath() {
    // Its writer may have added lines until the very moment that it was moved away.
    if (logReader_->isBehind())
        bringUpToDate(Content::Same);
    if (!logReader_->reopen()) {
        setStatus(FileStatus::Unreadable);
        return;
    }
    bringUpToDate(Content::Other);
    // Also when it has been so before: this is news every time.
    status_ = FileStatus::Present;
    setStatus(FileStatus::Rotated);
}

void LogFileObserver::setStatus(FileStatus status) {
    if (std::exchange(status_, status) == status)
        return;
    MainThread::shared().post([weak = dataSource_, status] {
        const auto dataSource = weak.lock();
        const auto document = dataSource ? dataSource->getDocument() : nullptr;
        if (!document)
            return; // closed meanwhile
        NotificationCenter::shared().post(
            notification::fileStatusChanged,
            std::make_shared<FileStatusNotificationObject>(FileStatusNotificationObject{document, status}));
    });
}

} // namespace korvane
