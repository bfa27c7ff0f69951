#include "documents/AppDocumentController.h"

#include "documents/LocalDocument.h"
#include "documents/PipeCopier.h"
#include "foundation/FilePath.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace korvane {
namespace {

Result<std::shared_ptr<Document>> makeLocalDocument(const QUrl& /*url*/) {
    return std::shared_ptr<Document>(LocalDocument::create());
}

/// Maximum number of failures that an alert lists, so that it fits the screen.
constexpr std::size_t longestFailureList = 10;

} // namespace

AppDocumentController::AppDocumentController(DocumentWindowFactory& windows, AlertPresenter& alerts)
    : windows_(windows), alerts_(alerts) {}

AppDocumentController::~AppDocumentController() {
    for (const auto& document : documents_)
        document->close();
}

QString AppDocumentController::typeForContentsOfUrl(const QUrl& url) const {
    return url.scheme() == QStringLiteral("ssh") ? remoteDocumentType : localDocumentType;
}

AppDocumentController::DocumentClass AppDocumentController::documentClassForType(const QString& type) const {
    if (type == localDocumentType)
        return makeLocalDocument;
    return type == remoteDocumentType ? remoteDocumentClass_ : DocumentClass();
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
    const bool isCopy = !displayName.isEmpty();
    if (openCopy_ && !isCopy && url.isLocalFile() && PipeCopier::isMadeUp(localPath(url)))
        return openCopy_(url, lineNumber);
    const DocumentBatch batch(*this, 1);
    const bool isLast = expected_ > 0 && --expected_ == 0;
    std::shared_ptr<Document> document = documentForUrl(url);
    if (document) {
        if (document->connectionState() == ConnectionState::Unconnected)
            document->reconnect();
    } else {
        const auto made = makeDocument(url, typeForContentsOfUrl(url));
        if (!made) {
            const QString name = displayName.isEmpty() ? korvane::displayName(url) : displayName;
            failures_.push_back({url, name, made.error(), lineNumber});
            return nullptr;
        }
        document = made.value();
        document->setDisplayName(displayName);
        document->setShown(isLast);
        addDocument(document);
        // Before the window is made, so that the first lines are loaded when it is painted.
        document->startLoading();
        windows_.makeWindow(document);
        made_.push_back(document);
    }
    if (lineNumber)
        windows_.goToLine(document, *lineNumber);
    front_ = document;
    return document;
}

Result<std::shared_ptr<Document>> AppDocumentController::reopenDocument(const QUrl& url, bool isShown) {
    if (auto open = documentForUrl(url))
        return open;
    auto made = makeDocument(url, typeForContentsOfUrl(url));
    if (!made)
        return made;
    const DocumentBatch batch(*this);
    const std::shared_ptr<Document>& document = made.value();
    document->setShown(isShown);
    addDocument(document);
    const bool isLocal = document->connectionState() == ConnectionState::Local;
    if (isLocal)
        document->startLoading();
    windows_.makeWindow(document);
    if (isLocal)
        made_.push_back(document);
    return made;
}

// ---- Many at once

DocumentBatch::DocumentBatch(AppDocumentController& documents, std::size_t count) : documents_(documents) {
    if (documents_.batchDepth_ == 0)
        documents_.expected_ = count;
    documents_.beginBatch();
}

void AppDocumentController::beginBatch() {
    if (batchDepth_++ == 0)
        windows_.changesBegin();
}

void AppDocumentController::endBatch() {
    if (--batchDepth_ > 0)
        return;
    expected_ = 0;
    auto front = std::exchange(front_, nullptr);
    if (front && front->isClosed())
        front.reset();
    const auto made = std::exchange(made_, {});
    windows_.changesEnd(front);
    for (const auto& document : made) {
        if (!document->isClosed())
            document->windowMade();
    }
    presentFailures();
}

void AppDocumentController::presentFailures() {
    const std::vector<Failure> failures = std::exchange(failures_, {});
    if (failures.empty())
        return;
    alerts_.present(alertFor(failures), {}, [this, owner = std::weak_ptr(owner_), failures](int button) {
        if (!owner.expired() && button == 0)
            waitForFiles(failures);
    });
}

Alert AppDocumentController::alertFor(const std::vector<Failure>& failures) {
    Alert alert{Alert::Kind::Error, {}, {}, {}};
    const auto missing = std::ranges::count_if(
        failures, [](const Failure& failure) { return LocalDocument::isMissing(failure.error); });
    if (missing > 0) {
        alert.buttons = {tr("&Wait for Them", nullptr, static_cast<int>(missing)), tr("Close")};
        alert.defaultButton = 1;
    }
    const Error& first = failures.front().error;
    if (failures.size() > 1) {
        alert.message = tr("%1 file(s) cannot be opened.", nullptr, static_cast<int>(failures.size()))
                            .arg(failures.size());
        QStringList reasons;
        for (const Failure& failure : failures) {
            if (reasons.size() == static_cast<qsizetype>(longestFailureList)) {
                reasons.append(tr("And %1 more.").arg(failures.size() - longestFailureList));
                break;
            }
            reasons.append(failure.error.userText);
        }
        alert.informativeText = reasons.join(QStringLiteral("\n\n"));
    } else if (!first.recoverySuggestion.isEmpty()) {
        // An error with its own remedy is shown in its own words.
        alert.message = first.userText;
        alert.informativeText = first.recoverySuggestion;
    } else {
        alert.message = tr("“%1” cannot be opened.").arg(failures.front().name);
        alert.informativeText = first.userText;
    }
    return alert;
}

void AppDocumentController::waitForFiles(const std::vector<Failure>& failures) {
    const DocumentBatch batch(*this);
    for (const Failure& failure : failures) {
        if (LocalDocument::isMissing(failure.error))
            windows_.waitForFile(failure.url, failure.lineNumber, failure.error.userText);
    }
}

void AppDocumentController::userNotificationActivated(const QString& fileUrl, qint64 lineNum) {
    openDocument(QUrl::fromEncoded(fileUrl.toUtf8(), QUrl::StrictMode), lineNum);
}

void AppDocumentController::addDocument(const std::shared_ptr<Document>& document) {
    documents_.push_back(document);
    documentsByAddress_.insert(absoluteString(document->fileUrl()), document);
    loadedSubscriptions_[document.get()] =
        document->notices().loaded.subscribe([this, weak = std::weak_ptr(document)] {
            if (const auto loaded = weak.lock())
                documentLoaded_.post(loaded);
        });
}

std::shared_ptr<Document> AppDocumentController::documentForUrl(const QUrl& url) const {
    return documentsByAddress_.value(absoluteString(url));
}

void AppDocumentController::closeDocument(const std::shared_ptr<Document>& document) {
    // Keep a copy: closing the window may call this function again.
    const std::shared_ptr<Document> closing = document; // NOLINT(performance-unnecessary-copy-initialization)
    if (std::erase(documents_, closing) == 0)
        return;
    documentsByAddress_.remove(absoluteString(closing->fileUrl()));
    loadedSubscriptions_.erase(closing.get());
    windows_.closeWindow(closing);
    closing->close();
    if (documents_.empty() && didCloseAll_)
        didCloseAll_();
}

void AppDocumentController::closeAllDocuments() {
    const DocumentBatch batch(*this);
    const std::vector<std::shared_ptr<Document>> closing = documents_;
    for (const auto& document : closing)
        closeDocument(document);
}

} // namespace korvane
