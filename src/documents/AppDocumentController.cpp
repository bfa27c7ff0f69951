#include "documents/AppDocumentController.h"

#include "documents/LocalDocument.h"
#include "foundation/FilePath.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace korvane {
namespace {

Result<std::shared_ptr<Document>> makeLocalDocument(const QUrl& /*url*/) {
    return std::shared_ptr<Document>(LocalDocument::create());
}

/// An error that brings its own remedy is told in its own words.
Alert alertFor(const Error& error, const QString& name) {
    if (!error.recoverySuggestion.isEmpty())
        return {Alert::Kind::Error, error.userText, error.recoverySuggestion, {}};
    return {Alert::Kind::Error,
            AppDocumentController::tr("“%1” cannot be opened.").arg(name),
            error.userText,
            {}};
}

} // namespace

AppDocumentController::AppDocumentController(DocumentWindowFactory& windows, AlertPresenter& alerts)
    : windows_(windows), alerts_(alerts), classes_{{localDocumentType, makeLocalDocument}} {}

AppDocumentController::~AppDocumentController() {
    for (const auto& document : documents_)
        document->close();
}

QString AppDocumentController::typeForContentsOfUrl(const QUrl& url) const {
    return url.scheme() == QStringLiteral("ssh") ? remoteDocumentType : localDocumentType;
}

AppDocumentController::DocumentClass AppDocumentController::documentClassForType(const QString& type) const {
    const auto found = classes_.find(type);
    return found == classes_.end() ? DocumentClass() : found->second;
}

void AppDocumentController::registerDocumentClass(const QString& type, DocumentClass documentClass) {
    classes_[type] = std::move(documentClass);
}

Result<std::shared_ptr<Document>> AppDocumentController::makeDocument(const QUrl& url,
                                                                      const QString& type) const {
    const DocumentClass documentClass = documentClassForType(type);
    if (!documentClass)
        return Error{ENOTSUP, QStringLiteral("POSIX"),
                     tr("“%1” lies on another computer. This version of the program opens only files on this "
                        "one.")
                         .arg(absoluteString(url))};
    auto made = documentClass(url);
    if (!made)
        return made.error();
    const std::shared_ptr<Document> document = std::move(made).value();
    const Status status = document->readFromUrl(url);
    if (!status) {
        document->close();
        return status.error();
    }
    return document;
}

std::shared_ptr<Document> AppDocumentController::openDocument(const QUrl& url,
                                                              std::optional<qint64> lineNumber,
                                                              const QString& displayName) {
    if (auto open = documentForUrl(url)) {
        windows_.raiseWindow(open);
        if (open->connectionState() == ConnectionState::Unconnected)
            open->reconnect();
        if (lineNumber)
            windows_.goToLine(open, *lineNumber);
        return open;
    }
    const auto made = makeDocument(url, typeForContentsOfUrl(url));
    if (!made) {
        const QString name = displayName.isEmpty() ? korvane::displayName(url) : displayName;
        alerts_.present(alertFor(made.error(), name), nullptr, [](int) {});
        return nullptr;
    }
    const std::shared_ptr<Document>& document = made.value();
    document->setDisplayName(displayName);
    showDocument(document, lineNumber);
    return document;
}

std::shared_ptr<Document> AppDocumentController::reopenDocument(const QUrl& url) {
    if (auto open = documentForUrl(url)) {
        windows_.raiseWindow(open);
        return open;
    }
    const auto made = makeDocument(url, typeForContentsOfUrl(url));
    if (!made)
        return nullptr;
    if (made.value()->connectionState() == ConnectionState::Local) {
        showDocument(made.value(), {});
    } else {
        addDocument(made.value());
        windows_.makeWindow(made.value());
    }
    return made.value();
}

void AppDocumentController::showDocument(const std::shared_ptr<Document>& document,
                                         std::optional<qint64> lineNumber) {
    addDocument(document);
    // Before the window is made: by the time it is painted the first lines are there.
    document->startLoading();
    windows_.makeWindow(document);
    if (lineNumber)
        windows_.goToLine(document, *lineNumber);
    document->windowMade();
}

void AppDocumentController::userNotificationActivated(const QString& fileUrl, qint64 lineNum) {
    openDocument(QUrl::fromEncoded(fileUrl.toUtf8(), QUrl::StrictMode), lineNum);
}

void AppDocumentController::addDocument(const std::shared_ptr<Document>& document) {
    documents_.push_back(document);
}

std::shared_ptr<Document> AppDocumentController::documentForUrl(const QUrl& url) const {
    const QString address = absoluteString(url);
    const auto found = std::find_if(documents_.begin(), documents_.end(), [&](const auto& document) {
        return absoluteString(document->fileUrl()) == address;
    });
    return found == documents_.end() ? nullptr : *found;
}

void AppDocumentController::closeDocument(const std::shared_ptr<Document>& document) {
    // The window going away may ask for the same again.
    const std::shared_ptr<Document> closing = document; // NOLINT(performance-unnecessary-copy-initialization)
    if (std::erase(documents_, closing) == 0)
        return;
    windows_.closeWindow(closing);
    closing->close();
    if (documents_.empty() && didCloseAll_)
        didCloseAll_();
}

void AppDocumentController::closeAllDocuments() {
    const std::vector<std::shared_ptr<Document>> closing = documents_;
    for (const auto& document : closing)
        closeDocument(document);
}

} // namespace korvane
