#pragma once

#include "documents/PageLoadOperation.h"

#include <memory>

namespace korvane {

class RemoteFile;

/// Loads a page of a file on a server. One that fails leaves the rows as they are, and is not tried again.
class RemoteLoadLinesOperation : public PageLoadOperation {
public:
    RemoteLoadLinesOperation(std::weak_ptr<TailDataSource> dataSource, std::shared_ptr<RemoteFile> file,
                             const PageRequest& request);

protected:
    std::optional<DisplayLines> readLines() override;

private:
    const std::shared_ptr<RemoteFile> file_;
};

} // namespace korvane
