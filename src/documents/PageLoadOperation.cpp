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
    // Before the lines are read, so that lines of a file that is gone by then are known as such.
    std::optional<LineDecorator> decorator = dataSource->lineDecorator([this] { return isCancelled(); });
    std::optional<DisplayLines> read = readLines();

    PageContent content;
    content.firstRow = request_.firstRow;
    if (read && read->lines.empty()) {
        content.kind = PageContent::Kind::Unreadable;
    } else if (read) {
        content.isShort = read->isShort;
        content.isPartial = isPartial();
        content.rows.reserve(read->lines.size());
        qint64 lineIndex = pages::firstLine(request_.page) + request_.firstRow;
        for (DisplayLine& line : read->lines) {
            if (isCancelled())
                return;
            content.hasInvalidLines |= line.isInvalid;
            content.rows.push_back(decorator->row(lineIndex++, std::move(line)));
        }
    }
    decorator.reset(); // what the rules have found is on its way before the rows show
    if (!isCancelled())
        dataSource->pageStore().store(request_, std::move(content));
}

} // namespace korvane
