#pragma once

#include "foundation/Result.h"
#include "foundation/notices/Alerts.h"
#include "foundation/notices/Notice.h"

#include <QCoreApplication>
#include <QHash>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

namespace korvane {

class Document;

/// Makes and finds the windows of documents; implemented by the user interface. Main thread.
class DocumentWindowFactory {
public:
    virtual ~DocumentWindowFactory() = default;
    /// Documents are opened and closed between here and `changesEnd`, perhaps many; the windows are updated
    /// at `changesEnd`.
    virtual void changesBegin() {}
    /// `front`: the document whose window is brought to the front; null leaves the windows in their order.
    virtual void changesEnd(const std::shared_ptr<Document>& front) = 0;
    /// Makes the document's window (or tab), behind the others until the changes end.
    virtual void makeWindow(const std::shared_ptr<Document>& document) = 0;
    /// Makes a tab for a file that does not exist yet; it is opened as soon as the file is there. `reason`:
    /// why it cannot be opened now. `lineNumber`: one-based.
    virtual void waitForFile(const QUrl& url, std::optional<qint64> lineNumber, const QString& reason) = 0;
    /// Closes the document's window.
    virtual void closeWindow(const std::shared_ptr<Document>& document) = 0;
    /// Shows and selects a one-based line, as soon as it is known.
    virtual void goToLine(const std::shared_ptr<Document>& document, qint64 lineNumber) = 0;
};

/// Decides from an address which kind of document opens, and keeps the open ones. Main thread.
class AppDocumentController {
    Q_DECLARE_TR_FUNCTIONS(korvane::AppDocumentController)

public:
    inline static const QString localDocumentType = QStringLiteral("Local Korvane Document");
    inline static const QString remoteDocumentType = QStringLiteral("Remote Korvane Document");

    /// Makes an unloaded document for the address, or returns why that is impossible.
    using DocumentClass = std::function<Result<std::shared_ptr<Document>>(const QUrl& url)>;

    /// `windows` and `alerts` must outlive the controller.
    AppDocumentController(DocumentWindowFactory& windows, AlertPresenter& alerts);
    ~AppDocumentController();

    /// The remote type for the scheme "ssh", the local one for everything else; the content is not read.
    QString typeForContentsOfUrl(const QUrl& url) const;
    /// Empty for an unknown type, and for the remote one before its class is set.
    DocumentClass documentClassForType(const QString& type) const;
    void setRemoteDocumentClass(DocumentClass remote) { remoteDocumentClass_ = std::move(remote); }
    /// Creates the document of the class for the type and loads it. No window yet.
    Result<std::shared_ptr<Document>> makeDocument(const QUrl& url, const QString& type) const;

    /// Opens the address. If its document is open already, raises its window, and connects it if it has no
    /// connection yet; otherwise makes document and window and starts the load. `documentLoaded` is posted
    /// once the window is made. A failure is shown as an alert. `lineNumber`: the one-based line to go to.
    /// `displayName`: as for Document::setDisplayName. Returns the document, null on failure.
    std::shared_ptr<Document> openDocument(const QUrl& url, std::optional<qint64> lineNumber = std::nullopt,
                                           const QString& displayName = {});

    /// Opens the document of an existing tab: no window is raised, a remote document stays unconnected, and a
    /// failure is returned. `isShown`: whether the tab is in front.
    Result<std::shared_ptr<Document>> reopenDocument(const QUrl& url, bool isShown);

    /// The user clicked a notification about a line of a file: brings the file to the front, opening it where
    /// needed, and the line into view. `lineNum` is one-based.
    void userNotificationActivated(const QString& fileUrl, qint64 lineNum);

    void addDocument(const std::shared_ptr<Document>& document);
    const std::vector<std::shared_ptr<Document>>& documents() const { return documents_; }
    /// A document has been opened and has its window. Main thread.
    Notice<std::shared_ptr<Document>>& documentLoaded() { return documentLoaded_; }
    /// The open document of that address, null if not open.
    std::shared_ptr<Document> documentForUrl(const QUrl& url) const;

    /// Closes the document and its window.
    void closeDocument(const std::shared_ptr<Document>& document);
    void closeAllDocuments();
    /// Like `openDocument`, for files that must be copied before they can be shown (`PipeCopier::isMadeUp`).
    using CopyOpener =
        std::function<std::shared_ptr<Document>(const QUrl&, std::optional<qint64> lineNumber)>;
    void setCopyOpener(CopyOpener open) { openCopy_ = std::move(open); }
    /// Called after the last document has been closed.
    void setDidCloseAll(std::function<void()> action) { didCloseAll_ = std::move(action); }

private:
    friend class DocumentBatch;
    /// A document that could not be opened.
    struct Failure {
        QUrl url;
        QString name;
        Error error;
        std::optional<qint64> lineNumber;
    };

    void beginBatch();
    void endBatch();
    void presentFailures();
    void waitForFiles(const std::vector<Failure>& failures);
    static Alert alertFor(const std::vector<Failure>& failures);

    DocumentWindowFactory& windows_;
    AlertPresenter& alerts_;
    DocumentClass remoteDocumentClass_;
    std::vector<std::shared_ptr<Document>> documents_;
    /// `documents_` by their absolute addresses.
    QHash<QString, std::shared_ptr<Document>> documentsByAddress_;
    Notice<std::shared_ptr<Document>> documentLoaded_{"DocumentLoadedNotificationKey"};
    /// To `DocumentNotices::loaded` of each document.
    std::unordered_map<const Document*, Subscription> loadedSubscriptions_;
    std::function<void()> didCloseAll_;
    CopyOpener openCopy_;

    int batchDepth_ = 0;
    /// Documents that the batch will still open; the last one is shown in front.
    std::size_t expected_ = 0;
    std::shared_ptr<Document> front_;
    std::vector<std::shared_ptr<Document>> made_;
    std::vector<Failure> failures_;
    /// For alerts that outlive the controller.
    std::shared_ptr<const bool> owner_ = std::make_shared<const bool>(true);
};

/// Opens or closes many documents as one change: when the outermost batch ends, the windows are updated, the
/// document opened last is brought to the front, and one alert reports all failures. Main thread.
class DocumentBatch {
public:
    /// `count`: number of documents to be opened, as far as known.
    explicit DocumentBatch(AppDocumentController& documents, std::size_t count = 0);
    ~DocumentBatch() { documents_.endBatch(); }
    DocumentBatch(const DocumentBatch&) = delete;
    DocumentBatch& operator=(const DocumentBatch&) = delete;

private:
    AppDocumentController& documents_;
};

} // namespace korvane
