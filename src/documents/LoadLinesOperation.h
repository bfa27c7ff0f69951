#pragma once

#include "documents/PageLoadOperation.h"

namespace korvane {

/// Loads one page of a local file.
class LoadLinesOperation : public PageLoadOperation {
public:
    LoadLinesOperation(std::weak_ptr<TailDataSource> dataSource,
                       std::shared_ptr<LogFileReaderProtocol> logReader, const PageRequest& request);

protected:
    std::optional<DisplayLines> readLines() override;

private:
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
};

} // namespace korvane
