#include "documents/LoadLinesOperation.h"

#include "core/reader/Pages.h"

#include <algorithm>
#include <utility>

namespace korvane {

LoadLinesOperation::LoadLinesOperation(std::weak_ptr<TailDataSource> dataSource,
                                       std::shared_ptr<LogFileReaderProtocol> logReader,
                                       const PageRequest& request)
    : PageLoadOperation(std::move(dataSource), request), logReader_(std::move(logReader)) {}

std::optional<DisplayLines> LoadLinesOperation::readLines() {
    const qint64 first = pages::firstLine(request().page);
    // For lines beyond the last one the reader returns the last one.
    const auto isThere = [&] { return first < logReader_->lineCount(); };
    const qint64 expected = std::min(pages::size, logReader_->lineCount() - first);
    if (expected <= 0 || logReader_->isUnread())
        return std::nullopt;
    DisplayLines read = logReader_->readRows(first + 1, pages::size, RowLength::Shown);
    read.isShort = static_cast<qint64>(read.lines.size()) < expected;
    // The file may have become shorter meanwhile.
    return isThere() ? std::optional(std::move(read)) : std::nullopt;
}

} // namespace korvane
