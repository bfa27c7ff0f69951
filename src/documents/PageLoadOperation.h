#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "documents/LineDecorator.h"
#include "documents/PageLoad.h"
#include "foundation/work/Operation.h"

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class TailDataSource;

/// Reads one page of lines, decorates them and hands them to the data source. Subclasses know where lines
/// come from. Keeps the data source only while it runs.
class PageLoadOperation : public Operation {
public:
    PageLoadOperation(std::weak_ptr<TailDataSource> dataSource, const PageRequest& request);

    const PageRequest& request() const { return request_; }

    /// Also withdraws the request, so that the page can be asked for again.
    void cancel() override;

protected:
    void main() override;
    /// The page's lines, without any lock held; nothing when the file has no such page.
    virtual std::optional<DisplayLines> readLines() = 0;
    /// Whether there are more behind the lines that were read last, which were left for their size.
    virtual bool isPartial() const { return false; }
    /// Shows lines of the page from a row on while the others are on their way. On any worker; also after the
    /// end, and then it does nothing.
    void showSoFar(qint64 firstRow, std::vector<DisplayLine> lines);

private:
    /// Nothing once cancelled.
    std::optional<PageContent> decorated(const LineDecorator& decorator, qint64 firstRow,
                                         std::vector<DisplayLine> lines) const;

    const std::weak_ptr<TailDataSource> dataSource_;
    const PageRequest request_;
};

} // namespace korvane
