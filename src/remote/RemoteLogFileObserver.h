#pragma once

#include "core/FileObserverProtocol.h"
#include "foundation/Mutex.h"
#include "foundation/work/OperationQueue.h"
#include "tail/FileMonitorOperation.h"

#include <atomic>
#include <functional>
#include <memory>

namespace korvane {

class RemoteFile;
class RemoteFileMonitorOperation;
class RemoteLogDataSource;

/// Follows a file on a server: has its lines counted again whenever its size changes.
///
/// Held by shared pointer, by its document. Started and stopped on the main thread; works on the monitor's
/// thread. Keeps the file alive, not the data source.
class RemoteLogFileObserver : public FileObserverProtocol,
                              public FileMonitorOperationDelegate,
                              public std::enable_shared_from_this<RemoteLogFileObserver> {
public:
    RemoteLogFileObserver(const std::shared_ptr<RemoteLogDataSource>& dataSource,
                          std::shared_ptr<RemoteFile> file);

    /// Starts a new monitor, whose first report counts like any other; stops a running one first.
    void startTailing() override;
    /// Does not wait.
    void stopTailing() override;
    /// From the start of the monitor to its end. Any thread.
    bool isTailing() const override;

    // Called by the monitor.

    void fileSizeChanged(std::uint64_t oldSize, std::uint64_t newSize) override;
    void filePolled() override;

private:
    std::shared_ptr<RemoteFileMonitorOperation> fileMonitor() const;
    /// For the current monitor.
    std::function<bool()> isStopped() const;
    void contentIsOther(RemoteLogDataSource& dataSource, std::uint64_t size);
    /// Posts the notice that the monitor has begun, once for each.
    void announceMonitor();
    /// Posts `DocumentNotices::tailingChanged`.
    void announceTailing();

    const std::weak_ptr<RemoteLogDataSource> dataSource_;
    const std::shared_ptr<RemoteFile> file_;

    mutable Mutex mutex_;
    std::shared_ptr<RemoteFileMonitorOperation> fileMonitor_ GUARDED_BY(mutex_);
    // The monitor's thread only.
    std::weak_ptr<RemoteFileMonitorOperation> announcedMonitor_;
    /// Whether the current poll has found another size.
    bool hasChanged_ = false;

    OperationQueue opQueue_;
};

} // namespace korvane
