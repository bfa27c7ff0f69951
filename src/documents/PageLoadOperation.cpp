#include "documents/PageLoadOperation.h"

#include "core/reader/Pages.h"
#include "documents/TailDataSource.h"

#include <utility>

namespace korvane {

PageLoadOperation::PageLoadOperation(std::weak_ptr<TailDataSource> dataSource, const PageRequest& request)
    : dataSource_(std::move(dataSource)), request_(request) {}

void PageLoadOperation::cancel() {
    if (const auto dataSource = dataSource_.lock())
        dataSource->pageStore().withdraw(request_);
    Operation::cancel();
}

void PageLoadOperation::main() {
    if (isCancelled())
        return;
    const auto dataSource = dataSource_.lock();
    if (!dataSource)
        return;
    // Before the lines are read, so that lines of an older file generation are recognised.
    std::optional<LineDecorator> decorator = dataSource->lineDecorator([this] { return isCancelled(); });
    std::optional<DisplayLines> read = readLines();

    std::optional<PageContent> content =
        decorated(*decorator, request_.firstRow, read ? std::move(read->lines) : std::vector<DisplayLine>());
    if (content && read && content->rows.empty()) {
        content->kind = PageContent::Kind::Unreadable;
    } else if (content && read) {
        content->isShort = read->isShort;
        content->isPartial = isPartial();
    }
    decorator.reset(); // queues the reports of the rules before the rows are shown
    if (content && !isCancelled())
        dataSource->pageStore().store(request_, *std::move(content));
}

std::optional<PageContent> PageLoadOperation::decorated(const LineDecorator& decorator, qint64 firstRow,
                                                        std::vector<DisplayLine> lines) const {
    PageContent content;
    content.firstRow = firstRow;
    content.rows.reserve(lines.size());
    qint64 lineIndex = pages::firstLine(request_.page) + firstRow;
    for (DisplayLine& line : lines) {
        if (isCancelled())
            return std::nullopt;
        content.hasInvalidLines |= line.isInvalid;
        content.rows.push_back(decorator.row(lineIndex++, std::move(line)));
    }
    return content;
}

void PageLoadOperation::showSoFar(qint64 firstRow, std::vector<DisplayLine> lines) {
    const auto dataSource = dataSource_.lock();
    if (!dataSource || isCancelled() || isFinished())
        return;
    auto content =
        decorated(dataSource->lineDecorator([this] { return isCancelled(); }), firstRow, std::move(lines));
    if (content && dataSource->pageStore().storeSoFar(request_, *std::move(content)))
        dataSource->announcePage(request_.page);
}

} // namespace korvane
