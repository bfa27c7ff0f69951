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
    std::optional<SearchMatch> searchRow(qint64 row, const SearchItem& item) override;
    SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override;
    std::optional<QStringList> readLines(qint64 first, qint64 count,
                                         const std::function<bool()>& isCancelled) override;
    std::uint64_t byteCount(qint64 first, qint64 count) const override;

protected:
    std::shared_ptr<PageLoadOperation> makeLoadOperation(const PageRequest& request) override;

private:
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
};

} // namespace korvane
