#include "documents/LogTableDataSource.h"

#include "core/DocumentProtocol.h"
#include "documents/LoadLinesOperation.h"
#include "foundation/FatalError.h"

namespace korvane {

LogTableDataSource::LogTableDataSource(const std::shared_ptr<DocumentProtocol>& document)
    : TailDataSource(document, "Local log load line operation queue"), logReader_(document->logReader()) {
    if (!logReader_)
        fatalError("a table of lines without a reader");
}

qint64 LogTableDataSource::rowCount() const {
    return logReader_->lineCount();
}

std::shared_ptr<PageLoadOperation> LogTableDataSource::makeLoadOperation(const PageRequest& request) {
    return std::make_shared<LoadLinesOperation>(weak_from_this(), logReader_, request);
}

} // namespace korvane
