#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "tail/FileMonitorOperation.h"

namespace korvane {

/// Measures the size of a local file through its reader.
class LocalFileMonitorOperation : public FileMonitorOperation {
public:
    explicit LocalFileMonitorOperation(std::shared_ptr<LogFileReaderProtocol> logReader)
        : logReader_(std::move(logReader)) {}

    std::optional<std::uint64_t> getFileSize() override { return isCancelled() ? 0 : logReader_->fileSize(); }

private:
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
};

} // namespace korvane
