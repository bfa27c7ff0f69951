#include "remote/RemoteFileMonitorOperation.h"

#include "remote/RemoteFile.h"
#include "remote/ssh/RemoteLog.h"

namespace korvane {

void RemoteFileMonitorOperation::main() {
    qCInfo(logRemote, "Remote FileMonitor op connecting...");
    const auto connection = file_->connect();
    if (!connection)
        qCWarning(logRemote, "Error starting client: %ls", qUtf16Printable(connection.error().userText));
    if (!connection || !connection.value().isAuthorised) {
        cancel();
        return;
    }
    FileMonitorOperation::main();
}

std::optional<std::uint64_t> RemoteFileMonitorOperation::getFileSize() {
    const auto size = file_->size([this] { return isCancelled(); });
    // A cancelled request gives no size.
    if (isCancelled())
        return std::nullopt;
    return lastSize_ = size.value_or(lastSize_);
}

} // namespace korvane
