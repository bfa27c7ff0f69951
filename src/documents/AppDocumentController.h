#pragma once

#include "foundation/Result.h"
#include "foundation/notices/Alerts.h"

#include <QCoreApplication>
#include <QUrl>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class Document;

/// Makes and finds the windows of documents; implemented by the user interface. Main thread.
class DocumentWindowFactory {
public:
    virtual ~DocumentWindowFactory() = default;
    /// Makes the document's window (or tab) and shows it in front.
    virtual void makeWindow(const std::shared_ptr<Document>& document) = 0;
    /// Brings the document's window to the front.
    virtual void raiseWindow(const std::shared_ptr<Document>& document) = 0;
    /// Takes the document's window away.
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

    /// Makes an unloaded document for the address, or says why there can be none.
    using DocumentClass = std::function<Result<std::shared_ptr<Document>>(const QUrl& url)>;

    /// `windows` and `alerts` must outlive the controller.
    AppDocumentController(DocumentWindowFactory& windows, AlertPresenter& alerts);
    ~AppDocumentController();

    /// The remote type for the scheme "ssh", the local one for everything else; the content is not looked at.
    QString typeForContentsOfUrl(const QUrl& url) const;
    /// None for an unknown type, or one whose class has not been handed in.
    DocumentClass documentClassForType(const QString& type) const;
    void registerDocumentClass(const QString& type, DocumentClass documentClass);
    /// Creates the document of the class for the type and loads it. No window yet.
    Result<std::shared_ptr<Document>> makeDocument(const QUrl& url, const QString& type) const;

    /// Opens the address: raises the window of a document that is open already, and connects it if it has no
    /// connection yet, otherwise makes document and
    /// window and starts the load, which the document announces by `notification::documentLoaded`. A failure
    /// is shown as an alert. `lineNumber`: the one-based line to go to. `displayName`: as for
    /// Document::setDisplayName. Returns the document, null on failure.
    std::shared_ptr<Document> openDocument(const QUrl& url, std::optional<qint64> lineNumber = std::nullopt,
                                           const QString& displayName = {});

    /// As above for a document that was open at the last time: one on a server comes back unconnected, and
    /// what cannot be opened any more is no alert worth.
    std::shared_ptr<Document> reopenDocument(const QUrl& url);

    /// The user clicked a notification about a line of a file: brings the file to the front, opening it where
    /// needed, and the line into view. `lineNum` is one-based.
    void userNotificationActivated(const QString& fileUrl, qint64 lineNum);

    void addDocument(const std::shared_ptr<Document>& document);
    const std::vector<std::shared_ptr<Document>>& documents() const { return documents_; }
    /// The open document of that address, null if there is none.
    std::shared_ptr<Document> documentForUrl(const QUrl& url) const;

    /// Closes the document and takes its window away.
    void closeDocument(const std::shared_ptr<Document>& document);
    void closeAllDocuments();
    /// Called after the last document has gone.
    void setDidCloseAll(std::function<void()> action) { didCloseAll_ = std::move(action); }

private:
    void showDocument(const std::shared_ptr<Document>& document, std::optional<qint64> lineNumber);

    DocumentWindowFactory& windows_;
    AlertPresenter& alerts_;
    std::map<QString, DocumentClass> classes_;
    std::vector<std::shared_ptr<Document>> documents_;
    std::function<void()> didCloseAll_;
};

} // namespace korvane
