#pragma once

#include "core/DocumentProtocol.h"
#include "core/LogFileReaderProtocol.h"
#include "documents/FileCheckOperation.h"
#include "documents/FileLoadingOperation.h"
#include "foundation/OperationQueue.h"
#include "foundation/Result.h"

#include <functional>
#include <memory>

namespace korvane {

class LineMarkLookup;
class LoadProgressController;
class LogFileObserver;
class LogTableDataSource;

/// One open local log file: owns its reader, the source of its rows and the queue of its first scan.
///
/// Held by shared pointer, by the controller and the window. Main thread, unless said otherwise. Background
/// work keeps what it needs alive, never the document.
class Document : public DocumentProtocol, public std::enable_shared_from_this<Document> {
public:
    static std::shared_ptr<Document> create();
    ~Document() override;

    /// Makes reader and data source. Fails with domain "NSURLErrorDomain" and code -1100 when there is no
    /// such file (reader and data source are made all the same), and with domain "POSIX" and EISDIR or EINVAL
    /// for what is no regular file. A file that may not be read is no failure: see `openFault`. Called once.
    Status readFromUrl(const QUrl& url);

    /// Starts the first scan in the background; the rows appear while it runs. Called once, after
    /// `readFromUrl`.
    void startLoading();
    /// The first rows are on the screen: the scan need not give way to them any longer.
    void firstScreenShown();
    /// Looks for what was added to the file since the last scan, in the background. For files that this
    /// program itself still writes. Asked for during a scan, it follows that scan; asked for again, once.
    void loadMore();
    /// Stops the first scan, and following with it, which would only go on with the scan. The scan reports
    /// "Canceled!"; the lines found so far stay.
    void cancelLoading();
    /// Starts to follow the file once the first scan is done, unless that is stopped before.
    void startTailingWhenLoaded();
    void stopTailing();
    /// Shows the file in another encoding; a reader that holds the text itself reads the file anew.
    void setEncodingChoice(EncodingChoice choice);
    /// Reads the file anew from its first byte.
    void reload();

    /// Stops everything in the background, without waiting; late reports are ignored. The file is closed when
    /// the last worker has let go of it. The document is of no use afterwards.
    void close();
    bool isClosed() const { return closed_; }

    QUrl fileUrl() const override;
    QString displayName() const override;
    /// Replaces the name made of the address (what came in by a pipe has no name of its own).
    void setDisplayName(const QString& name);
    /// There is nothing at the address that could be opened another time.
    bool isTransient() const { return !displayName_.isEmpty(); }
    std::shared_ptr<LogFileReaderProtocol> logReader() const override;
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override;
    /// Null before loading.
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override;

    /// Why the file cannot be read and what helps, for the user; empty when it can be read.
    QString openFault() const;
    /// Looks in the background whether the file at the path is still the one that was opened, and reports on
    /// the main thread unless the document has been closed. Does nothing while an earlier check is under way.
    void checkFile(std::function<void(FileFault)> report);

    /// The progress of the first scan, or of the last `reload`; never null after `readFromUrl`.
    std::shared_ptr<const LoadProgressController> loadProgress() const;

    /// Null = no line carries a mark. Before `close`.
    void setLineMarkLookup(std::shared_ptr<const LineMarkLookup> lookup);

    /// Whether long lines are wrapped in this document's window.
    bool wrapping() const { return wrapping_; }
    void setWrapping(bool wrapping) { wrapping_ = wrapping; }

private:
    Document();
    void firstScanEnded();
    void scan(std::shared_ptr<LoadProgressController> progress, FileLoadingOperation::Start start);

    QUrl fileUrl_;
    QString displayName_;
    QString openFault_;
    FileHandle::Identity identity_;
    bool wrapping_ = false;
    bool closed_ = false;
    /// The reader holds the text, not only where it lies.
    bool holdsText_ = false;
    bool isLoaded_ = false;
    bool tailsWhenLoaded_ = false;
    std::shared_ptr<LogFileReaderProtocol> logReader_;
    std::shared_ptr<LogTableDataSource> dataSource_;
    std::shared_ptr<LoadProgressController> loadProgress_;
    std::shared_ptr<LogFileObserver> logFileObserver_;
    std::weak_ptr<FileLoadingOperation> firstScan_;
    std::unique_ptr<OperationQueue> loadQueue_;
    std::unique_ptr<OperationQueue> checkQueue_;
};

} // namespace korvane
