#pragma once

#include "foundation/work/Operation.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

namespace korvane {

/// Receives a monitor's reports, on the monitor's thread.
class FileMonitorOperationDelegate {
public:
    virtual ~FileMonitorOperationDelegate() = default;
    /// The size differs from that of the previous poll; before the first poll it counts as 0.
    virtual void fileSizeChanged(std::uint64_t oldSize, std::uint64_t newSize) = 0;
    /// A poll has measured the size, changed or not; called after `fileSizeChanged`.
    virtual void filePolled() {}
};

/// Polls the size of a file at the user's polling interval until it is cancelled, or the size can no longer
/// be measured. Subclasses measure it.
class FileMonitorOperation : public Operation {
public:
    /// Called before the operation is queued. The monitor does not keep the delegate alive.
    void setDelegate(std::weak_ptr<FileMonitorOperationDelegate> delegate) {
        delegate_ = std::move(delegate);
    }

    /// The size in bytes; nullopt when it cannot be measured.
    virtual std::optional<std::uint64_t> getFileSize() { return 0; }
    /// The present setting; 0.5 seconds if it is not positive. A setting of 2^32 microseconds or more is
    /// fatal.
    virtual std::chrono::microseconds pollingInterval() const;

protected:
    void main() override;

private:
    std::weak_ptr<FileMonitorOperationDelegate> delegate_;
    std::uint64_t lastFileSize_ = 0;
};

} // namespace korvane
