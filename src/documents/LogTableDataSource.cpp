#include "documents/LogTableDataSource.h"

#include "core/DocumentProtocol.h"
#include "documents/LoadLinesOperation.h"
#include "foundation/FatalError.h"

#include <algorithm>

namespace korvane {

LogTableDataSource::LogTableDataSource(const std::shared_ptr<DocumentProtocol>& document)
    : TailDataSource(document, "Local log load line operation queue"), logReader_(document->logReader()) {
    if (!logReader_)
        fatalError("a table of lines without a reader");
}

qint64 LogTableDataSource::rowCount() const {
    return logReader_->lineCount();
}

std::optional<SearchMatch> LogTableDataSource::searchRow(qint64 row, const SearchItem& item) {
    return findNextMatch(row, row, item, [] { return false; }).match;
}

SearchOutcome LogTableDataSource::findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                                const std::function<bool()>& isCancelled) {
    // Lines before the first row exist, but are not in the table.
    const qint64 start = rowStart();
    if (firstRow < 0 && lastRow < 0)
        return {};
    return logReader_->findNextMatch(start + std::max<qint64>(firstRow, 0),
                                     start + std::max<qint64>(lastRow, 0), item, isCancelled);
}

std::optional<QStringList> LogTableDataSource::readLines(qint64 first, qint64 count,
                                                         const std::function<bool()>& isCancelled) {
    if (isCancelled())
        return std::nullopt;
    QStringList texts;
    for (DisplayLine& line : logReader_->readRows(first + 1, count, RowLength::Whole).lines)
        texts.append(std::move(line.text));
    return texts;
}

std::uint64_t LogTableDataSource::byteCount(qint64 first, qint64 count) const {
    return logReader_->byteCount(first + 1, count);
}

std::shared_ptr<PageLoadOperation> LogTableDataSource::makeLoadOperation(const PageRequest& request) {
    return std::make_shared<LoadLinesOperation>(weak_from_this(), logReader_, request);
}

} // namespace korvane
