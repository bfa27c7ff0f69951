#pragma once

#include "tail/FileMonitorOperation.h"

#include <memory>

namespace korvane {

class RemoteFile;

/// Polls the size of a file on a server. Connects first, and ends at once if that fails; it never reconnects
/// later. Does not log out when it ends.
class RemoteFileMonitorOperation : public FileMonitorOperation {
public:
    explicit RemoteFileMonitorOperation(std::shared_ptr<RemoteFile> file) : file_(std::move(file)) {}

    /// The last known size while it cannot be requested. Nullopt once cancelled.
    std::optional<std::uint64_t> getFileSize() override;

protected:
    void main() override;

private:
    const std::shared_ptr<RemoteFile> file_;
    std::uint64_t lastSize_ = 0; // operation's thread only
};

} // namespace korvane
