#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "tail/FileMonitorOperation.h"

namespace korvane {

/// Asks the reader of a local file for the size.
class LocalFileMonitorOperation : public FileMonitorOperation {
public:
    explicit LocalFileMonitorOperation(std::shared_ptr<LogFileReaderProtocol> logReader)
        : logReader_(std::move(logReader)) {}

    std::optional<std::uint64_t> getFileSize() override { return isCancelled() ? 0 : logReader_->fileSize(); }

private:
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
};

} // namespace korvane
