#include "remote/RemoteLoadLinesOperation.h"

#include "core/reader/Pages.h"
#include "remote/RemoteFile.h"
#include "remote/RemoteLogDataSource.h"
#include "remote/RemoteReader.h"

#include <utility>

namespace korvane {

RemoteLoadLinesOperation::RemoteLoadLinesOperation(std::weak_ptr<RemoteLogDataSource> dataSource,
                                                   std::shared_ptr<RemoteFile> file,
                                                   std::shared_ptr<RemoteReader> reader,
                                                   const PageRequest& request)
    : PageLoadOperation(dataSource, request), dataSource_(std::move(dataSource)), file_(std::move(file)),
      reader_(std::move(reader)) {}

std::optional<DisplayLines> RemoteLoadLinesOperation::readLines() {
    const qint64 first = pages::firstLine(request().page) + request().firstRow;
    auto piece = file_->connectForPage()
                     ? reader_->lines(first, pages::size - request().firstRow, RemoteReader::LineLimit::Shown,
                                      [this] { return isCancelled(); })
                     : std::nullopt;
    if (!piece) {
        // Only ends here: the page stays one that has been asked for.
        Operation::cancel(); // NOLINT(bugprone-parent-virtual-call)
        return std::nullopt;
    }
    linesRead_ = std::ssize(piece->lines);
    // An empty file has no row that could not be read.
    if (first == 0 && piece->lines.empty())
        return std::nullopt;
    isPartial_ = piece->isPartial;
    return DisplayLines{std::move(piece->lines), false};
}

void RemoteLoadLinesOperation::main() {
    PageLoadOperation::main();
    // They show before the server has counted.
    const auto dataSource = dataSource_.lock();
    if (dataSource && request().page == 1 && request().firstRow == 0 && linesRead_ && !isCancelled())
        dataSource->firstLinesRead(*linesRead_);
}

} // namespace korvane
