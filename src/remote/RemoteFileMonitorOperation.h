#pragma once

#include "tail/FileMonitorOperation.h"

#include <memory>

namespace korvane {

class RemoteFile;

/// Asks the server for the size of a file. Connects first, and ends at once where that fails; later on it
/// makes no connection of its own. The login stays when it ends.
class RemoteFileMonitorOperation : public FileMonitorOperation {
public:
    explicit RemoteFileMonitorOperation(std::shared_ptr<RemoteFile> file) : file_(std::move(file)) {}

    /// As it was before while it cannot be asked for. Nothing once cancelled.
    std::optional<std::uint64_t> getFileSize() override;

protected:
    void main() override;

private:
    const std::shared_ptr<RemoteFile> file_;
    std::uint64_t lastSize_ = 0; // of the operation's thread
};

} // namespace korvane
