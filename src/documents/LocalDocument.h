#pragma once

#include "documents/Document.h"
#include "documents/FileLoadingOperation.h"
#include "foundation/work/OperationQueue.h"
#include "foundation/work/ScanQueue.h"

#include <memory>

namespace korvane {

class LogFileObserver;
class LogTableDataSource;

/// One open log file of this computer: owns its reader, the source of its rows and the queue of its
/// scans.
class LocalDocument : public Document {
public:
    static std::shared_ptr<LocalDocument> create();
    /// Whether the error of `readFromUrl` says that there is no such file.
    static bool isMissing(const Error& error);
    ~LocalDocument() override;

    /// Makes reader and data source. Fails with domain "NSURLErrorDomain" and code -1100 when the file does
    /// not exist (reader and data source are made nevertheless), and with domain "POSIX" and EISDIR or EINVAL
    /// if it is not a regular file. A missing read permission is not a failure: see `openFault`.
    Status readFromUrl(const QUrl& url) override;

    /// Starts the first scan.
    void startLoading() override;
    void windowMade() override;
    void setShown(bool isShown) override;
    void firstScreenShown() override;
    /// Requested during a scan, it runs after that scan; further requests are merged.
    void loadMore() override;
    void cancelLoading() override;
    void startTailingWhenLoaded() override;
    void stopTailing() override;
    void reload() override;

    /// The file is closed when the last worker has released it.
    void close() override;
    bool isClosed() const override { return closed_; }

    QUrl fileUrl() const override;
    std::shared_ptr<LogFileReaderProtocol> logReader() const override;
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override;
    /// Null before loading.
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override;

    bool hasEncodingChoice() const override { return true; }
    EncodingChoice encodingChoice() const override;
    /// Reads the file again if the index has another line terminator than the chosen encoding.
    void setEncodingChoice(EncodingChoice choice) override;
    StringEncoding fileEncoding() const override;

    QString openFault() const override;
    QString readingNote() const override { return readingNote_; }
    void checkFile(std::function<void(FileFault)> report) override;
    /// From the index or the scan under way; never waits for a dead network drive.
    std::optional<quint64> knownFileSize() const override;
    void askFileInformation(FileInformationReport report) override;
    std::shared_ptr<const LoadProgressController> loadProgress() const override;
    void setLineMarkLookup(std::shared_ptr<const LineMarkLookup> lookup) override;

private:
    LocalDocument();
    std::shared_ptr<LocalDocument> self();
    std::shared_ptr<LogFileReaderProtocol> makeReader();
    /// Scans the file with the present progress.
    void load(FileLoadingOperation::Start start);
    void loadEnded();

    QUrl fileUrl_;
    QString openFault_;
    QString readingNote_;
    FileHandle::Identity identity_;
    bool closed_ = false;
    bool isShown_ = true;
    bool tailsWhenLoaded_ = false;
    std::shared_ptr<LogFileReaderProtocol> logReader_;
    std::shared_ptr<LogTableDataSource> dataSource_;
    std::shared_ptr<LoadProgressController> loadProgress_;
    std::shared_ptr<LogFileObserver> logFileObserver_;
    std::weak_ptr<FileLoadingOperation> load_; // the last one; a reload replaces the load before it
    std::unique_ptr<ScanQueue> loadQueue_;
    std::unique_ptr<OperationQueue> checkQueue_;
    std::unique_ptr<OperationQueue> informationQueue_;
};

} // namespace korvane
