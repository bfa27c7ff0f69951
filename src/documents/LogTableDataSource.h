#pragma once

#include "documents/TailDataSource.h"

namespace korvane {

class LogFileReaderProtocol;

/// The rows of a local file.
class LogTableDataSource : public TailDataSource {
public:
    /// Precondition: the document has its reader.
    explicit LogTableDataSource(const std::shared_ptr<DocumentProtocol>& document);

    const std::shared_ptr<LogFileReaderProtocol>& logReader() const { return logReader_; }
    std::shared_ptr<LogFileReaderProtocol> followedReader() const override { return logReader_; }
    qint64 rowCount() const override;

protected:
    std::shared_ptr<PageLoadOperation> makeLoadOperation(const PageRequest& request) override;

private:
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
};

} // namespace korvane
