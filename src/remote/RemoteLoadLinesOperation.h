#pragma once

#include "documents/PageLoadOperation.h"

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class RemoteFile;
class RemoteLogDataSource;
class RemoteReader;

/// Loads a page of a file on a server, or a part of one. A failed load leaves the rows unchanged and is not
/// retried.
class RemoteLoadLinesOperation : public PageLoadOperation {
public:
    RemoteLoadLinesOperation(std::weak_ptr<RemoteLogDataSource> dataSource, std::shared_ptr<RemoteFile> file,
                             std::shared_ptr<RemoteReader> reader, const PageRequest& request);

    /// As the base class, and adds the lines to the known line count. On a worker.
    void showSoFar(const std::vector<DisplayLine>& lines);

protected:
    std::optional<DisplayLines> readLines() override;
    bool isPartial() const override { return isPartial_; }
    void main() override;

private:
    const std::weak_ptr<RemoteLogDataSource> dataSource_;
    const std::shared_ptr<RemoteFile> file_;
    const std::shared_ptr<RemoteReader> reader_;
    bool isPartial_ = false;
    std::optional<qint64> linesRead_;

    std::function<void(const std::vector<DisplayLine>&)> showingSoFar();
    /// Over a slow link: loads and shows the rows around the wanted one before the page.
    void showWantedFirst();
};

} // namespace korvane
