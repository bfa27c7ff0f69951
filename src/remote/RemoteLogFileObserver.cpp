#include "remote/RemoteLogFileObserver.h"

#include "core/DocumentProtocol.h"
#include "foundation/work/MainThread.h"
#include "remote/RemoteFile.h"
#include "remote/RemoteFileMonitorOperation.h"
#include "remote/RemoteLogDataSource.h"

#include <utility>

namespace korvane {

RemoteLogFileObserver::RemoteLogFileObserver(const std::shared_ptr<RemoteLogDataSource>& dataSource,
                                             std::shared_ptr<RemoteFile> file)
    : dataSource_(dataSource), file_(std::move(file)), opQueue_("Remote Log File changes polling queue", 1) {}

void RemoteLogFileObserver::startTailing() {
    stopTailing();
    if (const auto dataSource = dataSource_.lock())
        dataSource->followingBegan();
    const auto monitor = std::make_shared<RemoteFileMonitorOperation>(file_);
    monitor->setDelegate(weak_from_this());
    monitor->setCompletion([weak = weak_from_this()] {
        if (const auto self = weak.lock())
            self->announceTailing();
    });
    {
        const MutexLock guard(mutex_);
        fileMonitor_ = monitor;
    }
    opQueue_.addOperation(monitor);
}

void RemoteLogFileObserver::stopTailing() {
    opQueue_.cancelAllOperations();
}

std::shared_ptr<RemoteFileMonitorOperation> RemoteLogFileObserver::fileMonitor() const {
    const MutexLock guard(mutex_);
    return fileMonitor_;
}

bool RemoteLogFileObserver::isTailing() const {
    const auto monitor = fileMonitor();
    return monitor && monitor->isExecuting();
}

void RemoteLogFileObserver::fileSizeChanged(std::uint64_t oldSize, std::uint64_t newSize) {
    hasChanged_ = true;
    announceMonitor();
    const auto dataSource = dataSource_.lock();
    if (!dataSource)
        return;
    dataSource->setKnownFileSize(newSize);
    if (newSize > oldSize && !file_->takeOtherTarget())
        dataSource->fileHasGrown(newSize, isStopped());
    else
        contentIsOther(*dataSource, newSize);
}

void RemoteLogFileObserver::contentIsOther(RemoteLogDataSource& dataSource, std::uint64_t size) {
    static_cast<void>(file_->takeOtherTarget());
    dataSource.fileHasShrunk(size, isStopped());
}

std::function<bool()> RemoteLogFileObserver::isStopped() const {
    return [monitor = fileMonitor()] { return !monitor || monitor->isCancelled(); };
}

void RemoteLogFileObserver::filePolled() {
    announceMonitor();
    const bool hasChanged = std::exchange(hasChanged_, false);
    const auto dataSource = dataSource_.lock();
    const auto size = file_->lastSize();
    if (hasChanged || !dataSource || !size)
        return;
    // Two files may have the same size.
    if (file_->takeOtherTarget())
        contentIsOther(*dataSource, *size);
    else
        dataSource->filePolledWith(*size, isStopped());
}

void RemoteLogFileObserver::announceMonitor() {
    const auto monitor = fileMonitor();
    if (monitor == announcedMonitor_.lock())
        return;
    announcedMonitor_ = monitor;
    announceTailing();
}

void RemoteLogFileObserver::announceTailing() {
    MainThread::shared().post([weak = dataSource_] {
        const auto dataSource = weak.lock();
        if (const auto document = dataSource ? dataSource->getDocument() : nullptr)
            document->notices().tailingChanged.post();
    });
}

} // namespace korvane
