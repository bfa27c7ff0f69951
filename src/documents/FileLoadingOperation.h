#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/work/Operation.h"

#include <atomic>
#include <memory>

namespace korvane {

class LoadProgressController;
class TailDataSource;

/// Scans a file for its lines and reports them meanwhile. When it must yield, the scan stops and is continued
/// by the next step. Keeps the reader alive, not the data source.
class FileLoadingOperation : public Operation {
public:
    enum class Start {
        AtLastScan,  ///< scan what has been appended since
        AtFirstByte, ///< forget the index first
    };

    /// `progress` may be null.
    FileLoadingOperation(std::shared_ptr<LogFileReaderProtocol> logReader,
                         std::weak_ptr<TailDataSource> dataSource,
                         std::shared_ptr<LoadProgressController> progress, Start start = Start::AtLastScan);
    ~FileLoadingOperation() override;

    /// The first rows are on the screen: continues the scan, which paused for them. Any thread.
    void firstScreenShown() { endSleep(); }
    /// Whether rows of the file are about to be shown, so that the first ones are loaded first; true at
    /// first. Any thread.
    void setShown(bool isShown) { isShown_ = isShown; }

    /// The scan stops at its next step; the progress is cancelled at once, also when the scan never started.
    void cancel() override;

protected:
    void main() override;
    bool step(const std::function<bool()>& mustYield) override;
    /// Reported through the progress.
    void failed(const std::exception& fault) override;

private:
    class ScanListener;

    /// False when nothing is to be scanned.
    bool begin();
    void showFirstPage();

    const std::shared_ptr<LogFileReaderProtocol> logReader_;
    const std::weak_ptr<TailDataSource> dataSource_;
    const std::shared_ptr<LoadProgressController> progress_;
    const Start start_;
    std::atomic<bool> isShown_{true};
    /// Since the first step. Scanning thread only.
    std::shared_ptr<ScanListener> listener_;
};

} // namespace korvane
