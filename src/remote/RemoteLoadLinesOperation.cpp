#include "remote/RemoteLoadLinesOperation.h"

#include "core/reader/Pages.h"
#include "remote/RemoteFile.h"
#include "remote/RemoteLogDataSource.h"
#include "remote/RemoteReader.h"

#include <utility>

namespace korvane {
namespace {

/// Number of rows on each side of the wanted row that are loaded first over a slow link.
constexpr qint64 rowsAround = 100;

} // namespace

RemoteLoadLinesOperation::RemoteLoadLinesOperation(std::weak_ptr<RemoteLogDataSource> dataSource,
                                                   std::shared_ptr<RemoteFile> file,
                                                   std::shared_ptr<RemoteReader> reader,
                                                   const PageRequest& request)
    : PageLoadOperation(dataSource, request), dataSource_(std::move(dataSource)), file_(std::move(file)),
      reader_(std::move(reader)) {}

std::optional<DisplayLines> RemoteLoadLinesOperation::readLines() {
    const qint64 first = pages::firstLine(request().page) + request().firstRow;
    const bool isConnected = file_->connectForPage();
    if (isConnected)
        showWantedFirst();
    auto piece = isConnected ? reader_->lines(
                                   first, pages::size - request().firstRow, RemoteReader::LineLimit::Shown,
                                   [this] { return isCancelled(); }, showingSoFar())
                             : std::nullopt;
    if (!piece) {
        // Only ends the operation: the page stays marked as requested.
        Operation::cancel(); // NOLINT(bugprone-parent-virtual-call)
        return std::nullopt;
    }
    linesRead_ = std::ssize(piece->lines);
    // An empty file has no unreadable row.
    if (first == 0 && piece->lines.empty())
        return std::nullopt;
    isPartial_ = piece->isPartial;
    return DisplayLines{std::move(piece->lines), false};
}

void RemoteLoadLinesOperation::showWantedFirst() {
    const qint64 wanted = request().wantedRow;
    if (wanted <= rowsAround || !reader_->isSlow(wanted))
        return;
    auto around = reader_->lines(pages::firstLine(request().page) + wanted - rowsAround, 2 * rowsAround,
                                 RemoteReader::LineLimit::Shown, [this] { return isCancelled(); });
    if (around && !around->lines.empty())
        PageLoadOperation::showSoFar(wanted - rowsAround, std::move(around->lines));
}

std::function<void(const std::vector<DisplayLine>&)> RemoteLoadLinesOperation::showingSoFar() {
    if (request().firstRow > 0)
        return nullptr;
    const auto self = std::static_pointer_cast<RemoteLoadLinesOperation>(shared_from_this());
    return [this, weak = std::weak_ptr(self)](const std::vector<DisplayLine>& lines) {
        if (const auto dataSource = dataSource_.lock())
            dataSource->showSoFar(weak, lines);
    };
}

void RemoteLoadLinesOperation::showSoFar(const std::vector<DisplayLine>& lines) {
    const auto dataSource = dataSource_.lock();
    if (dataSource && request().page == 1 && !isCancelled())
        dataSource->firstLinesShown(std::ssize(lines));
    PageLoadOperation::showSoFar(0, lines);
}

void RemoteLoadLinesOperation::main() {
    PageLoadOperation::main();
    // The lines are shown before the server has counted.
    const auto dataSource = dataSource_.lock();
    if (dataSource && request().page == 1 && request().firstRow == 0 && linesRead_ && !isCancelled())
        dataSource->firstLinesRead(*linesRead_);
}

} // namespace korvane
