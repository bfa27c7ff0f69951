#include "remote/RemoteLogFileObserver.h"

#include "core/DocumentProtocol.h"
#include "core/NotificationNames.h"
#include "foundation/MainThread.h"
#include "foundation/NotificationCenter.h"
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
        const std::lock_guard guard(mutex_);
        fileMonitor_ = monitor;
    }
    opQueue_.addOperation(monitor);
}

void RemoteLogFileObserver::stopTailing() {
    opQueue_.cancelAllOperations();
}

std::shared_ptr<RemoteFileMonitorOperation> RemoteLogFileObserver::fileMonitor() const {
    const std::lock_guard guard(mutex_);
    return fileMonitor_;
}

bool RemoteLogFileObserver::isTailing() const {
    const auto monitor = fileMonitor();
    return monitor && monitor->isExecuting();
}

void RemoteLogFileObserver::fileSizeChanged(std::uint64_t oldSize, std::uint64_t newSize) {
    hasChanged_ = true;
    const auto dataSource = dataSource_.lock();
    if (!dataSource)
        return;
    const auto isStopped = [monitor = fileMonitor()] { return !monitor || monitor->isCancelled(); };
    dataSource->setKnownFileSize(newSize);
    if (newSize > oldSize)
        dataSource->fileHasGrown(isStopped);
    else
        dataSource->fileHasShrunk(newSize, isStopped);
}

void RemoteLogFileObserver::filePolled() {
    const bool hasChanged = std::exchange(hasChanged_, false);
    auto monitor = fileMonitor();
    if (monitor == announcedMonitor_.lock())
        return;
    announcedMonitor_ = monitor;
    announceTailing();
    // A new monitor takes an empty file for one that has not changed. There may be rows from before.
    const auto dataSource = dataSource_.lock();
    if (!hasChanged && dataSource)
        dataSource->fileIsEmpty();
}

void RemoteLogFileObserver::announceTailing() {
    MainThread::shared().post([weak = dataSource_] {
        const auto dataSource = weak.lock();
        if (const auto document = dataSource ? dataSource->getDocument() : nullptr)
            NotificationCenter::shared().post(notification::tailingChanged, document);
    });
}

} // namespace korvane
