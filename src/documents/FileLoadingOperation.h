#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/work/Operation.h"

#include <memory>

namespace korvane {

class LoadProgressController;
class TailDataSource;

/// Scans a file for its lines and makes them known while it does. Keeps the reader, not the data source.
class FileLoadingOperation : public Operation {
public:
    enum class Start {
        AtLastScan,  ///< scan what has come since
        AtFirstByte, ///< forget the index first
    };

    /// `progress` may be null.
    FileLoadingOperation(std::shared_ptr<LogFileReaderProtocol> logReader,
                         std::weak_ptr<TailDataSource> dataSource,
                         std::shared_ptr<LoadProgressController> progress, Start start = Start::AtLastScan);

    /// The first rows are on the screen: the scan, which gave way to them, goes on. Any thread.
    void firstScreenShown() { endSleep(); }

    /// The scan stops at its next step; the progress is cancelled at once, also when the scan never started.
    void cancel() override;

protected:
    void main() override;

private:
    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    const std::weak_ptr<TailDataSource> dataSource_;
    const std::shared_ptr<LoadProgressController> progress_;
    const Start start_;
};

} // namespace korvane
