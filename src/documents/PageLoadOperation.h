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

/// Reads one page of lines, decorates them and passes them to the data source. Subclasses read the lines.
/// Keeps the data source alive only while it runs.
class PageLoadOperation : public Operation {
public:
    PageLoadOperation(std::weak_ptr<TailDataSource> dataSource, const PageRequest& request);

    const PageRequest& request() const { return request_; }

    /// Also withdraws the request, so that the page can be requested again.
    void cancel() override;

protected:
    void main() override;
    /// The page's lines; nullopt when the file has no such page. Called without any lock held.
    virtual std::optional<DisplayLines> readLines() = 0;
    /// Whether `readLines` left out lines at the end because of their size.
    virtual bool isPartial() const { return false; }
    /// Shows lines of the page from `firstRow` on while the others are being read. Any worker; does nothing
    /// after the end of the operation.
    void showSoFar(qint64 firstRow, std::vector<DisplayLine> lines);

private:
    /// Nullopt once cancelled.
    std::optional<PageContent> decorated(const LineDecorator& decorator, qint64 firstRow,
                                         std::vector<DisplayLine> lines) const;

    const std::weak_ptr<TailDataSource> dataSource_;
    const PageRequest request_;
};

} // namespace korvane
