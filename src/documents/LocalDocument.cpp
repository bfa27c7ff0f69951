#include "documents/LocalDocument.h"

#include "core/Preferences.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "documents/ChosenEncodings.h"
#include "documents/Discard.h"
#include "documents/LoadProgressController.h"
#include "documents/LogTableDataSource.h"
#include "foundation/AvailableMemory.h"
#include "foundation/FatalError.h"
#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "tail/LogFileObserver.h"

#include <QCoreApplication>
#include <QLocale>

#include <cerrno>
#include <cstring>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace korvane {
namespace {

constexpr int fileDoesNotExist = -1100;
const QString urlErrorDomain = QStringLiteral("NSURLErrorDomain");
const QString systemErrorDomain = QStringLiteral("POSIX");

QString textFor(const QUrl& url, const char* text) {
    return QCoreApplication::translate("Document", text).arg(displayPath(url));
}

/// Why an existing file cannot be shown; nullopt for a regular file.
std::optional<Error> refusalOf(const QUrl& url, mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFREG:
        return std::nullopt;
    case S_IFDIR:
        return Error{
            EISDIR, systemErrorDomain,
            textFor(url, QT_TRANSLATE_NOOP("Document", "“%1” is a folder. Open one of the files in it."))};
    case S_IFIFO:
        return Error{
            EINVAL, systemErrorDomain,
            textFor(url, QT_TRANSLATE_NOOP("Document", "“%1” is a pipe, not a file. To see what comes out of "
                                                       "it, open it from the command line."))};
    case S_IFSOCK:
        return Error{
            EINVAL, systemErrorDomain,
            textFor(url, QT_TRANSLATE_NOOP("Document", "“%1” is a socket, not a file, and has no lines to "
                                                       "show."))};
    default:
        return Error{
            EINVAL, systemErrorDomain,
            textFor(url, QT_TRANSLATE_NOOP("Document", "“%1” is a device, not a file, and has no lines to "
                                                       "show."))};
    }
}

/// Empty when the file can be opened for reading.
QString openFaultOf(const QUrl& url) {
    const auto handle = FileHandle::openForReading(url);
    if (handle)
        return {};
    const int code = handle.error().code;
    const char* const remedy =
        code == EACCES || code == EPERM
            ? QT_TRANSLATE_NOOP("Document",
                                "Ask for permission to read it, or start the program as a user who has it.")
            : QT_TRANSLATE_NOOP("Document", "Open it again when the cause is removed.");
    return QCoreApplication::translate("Document", "%1: “%2” cannot be read. %3")
        .arg(QString::fromLocal8Bit(std::strerror(code)), displayPath(url),
             QCoreApplication::translate("Document", remedy));
}

} // namespace

std::shared_ptr<LocalDocument> LocalDocument::create() {
    return std::shared_ptr<LocalDocument>(new LocalDocument);
}

bool LocalDocument::isMissing(const Error& error) {
    return error.domain == urlErrorDomain && error.code == fileDoesNotExist;
}

LocalDocument::LocalDocument()
    : loadQueue_(std::make_unique<ScanQueue>("Load log file operation queue", ScanPool::ofLoads(),
                                             ScanPool::Priority::Visible)),
      checkQueue_(std::make_unique<OperationQueue>("Check log file operation queue", 1)),
      informationQueue_(std::make_unique<OperationQueue>("File information", 1)) {}

std::shared_ptr<LocalDocument> LocalDocument::self() {
    return std::static_pointer_cast<LocalDocument>(shared_from_this());
}

LocalDocument::~LocalDocument() {
    close();
}

Status LocalDocument::readFromUrl(const QUrl& url) {
    if (url.isEmpty())
        fatalError("a document without an address");
    fileUrl_ = url;
    loadProgress_ = std::make_shared<LoadProgressController>(displayName());
    if (!url.isLocalFile())
        return Error{
            EINVAL, systemErrorDomain,
            QCoreApplication::translate("Document", "“%1” is not the address of a file on this computer.")
                .arg(absoluteString(url))};

    struct stat status {};
    const int fault = ::stat(localPath(url).constData(), &status) == 0 ? 0 : errno;
    if (fault == 0) {
        // Opening a device or a pipe can change its state, so they are not opened.
        if (auto refusal = refusalOf(url, status.st_mode))
            return *std::move(refusal);
        identity_ = {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
    }
    logReader_ = makeReader();
    if (const EncodingChoice choice = ChosenEncodings::choiceFor(url); choice != EncodingChoice())
        logReader_->setEncodingChoice(choice);
    dataSource_ = std::make_shared<LogTableDataSource>(shared_from_this());
    logFileObserver_ = LogFileObserver::create(dataSource_);
    if (fault == ENOENT || fault == ENOTDIR)
        return Error{
            fileDoesNotExist, urlErrorDomain,
            textFor(url, QT_TRANSLATE_NOOP("Document", "“%1” does not exist. Check its name, and whether it "
                                                       "has been moved or deleted."))};
    openFault_ = openFaultOf(url);
    return success();
}

std::shared_ptr<LogFileReaderProtocol> LocalDocument::makeReader() {
    if (Preferences::shared().lazyLoadFile())
        return LogReader::create(fileUrl_);
    if (const auto handle = FileHandle::openForReading(fileUrl_)) {
        const std::uint64_t needed = handle.value()->size().value_or(0);
        // Leave some free memory for everything else.
        const std::uint64_t most = availableMemory() / 10 * 9;
        if (needed > most) {
            const QLocale locale;
            readingNote_ =
                QCoreApplication::translate(
                    "Document", "“%1” does not fit into memory (it would take %2, and %3 can be had): "
                                "it is read from the disk as it is needed.")
                    .arg(displayName(), locale.formattedDataSize(static_cast<qint64>(needed)),
                         locale.formattedDataSize(static_cast<qint64>(most)));
            return LogReader::create(fileUrl_);
        }
    }
    return InMemoryFileLogReader::create(fileUrl_);
}

void LocalDocument::load(FileLoadingOperation::Start start) {
    const auto operation =
        std::make_shared<FileLoadingOperation>(logReader_, dataSource_, loadProgress_, start);
    operation->setShown(isShown_);
    load_ = operation;
    setLoadState(LoadState::Loading);
    operation->setCompletion([weak = std::weak_ptr(self()), progress = loadProgress_] {
        MainThread::shared().post([weak, progress] {
            // A load that a reload has replaced may end before the file is known.
            if (const auto self = weak.lock(); self && !self->isClosed() && self->loadProgress_ == progress)
                self->loadEnded();
        });
    });
    loadQueue_->addOperation(operation);
}

void LocalDocument::startLoading() {
    if (!closed_)
        load(FileLoadingOperation::Start::AtLastScan);
}

void LocalDocument::windowMade() {
    if (Preferences::shared().startTailingOnFileOpen())
        startTailingWhenLoaded();
    notices().loaded.post();
}

void LocalDocument::loadEnded() {
    using State = LoadProgressController::State;
    if (isLoading()) { // else it was cancelled
        const State end = loadProgress_->state();
        setLoadState(end == State::Completed  ? LoadState::Loaded
                     : end == State::Canceled ? LoadState::Cancelled
                                              : LoadState::Failed);
    }
    // Following would only fail in the same way.
    if (loadState() != LoadState::Failed && std::exchange(tailsWhenLoaded_, false))
        logFileObserver_->startTailingAfterLoad();
}

void LocalDocument::startTailingWhenLoaded() {
    if (closed_ || !logFileObserver_)
        return;
    if (isLoading())
        tailsWhenLoaded_ = true;
    else
        logFileObserver_->startTailing();
}

void LocalDocument::setShown(bool isShown) {
    if (std::exchange(isShown_, isShown) == isShown)
        return;
    loadQueue_->setPriority(isShown ? ScanPool::Priority::Visible : ScanPool::Priority::Background);
    if (const auto operation = load_.lock())
        operation->setShown(isShown);
}

void LocalDocument::firstScreenShown() {
    if (const auto operation = load_.lock())
        operation->firstScreenShown();
}

void LocalDocument::loadMore() {
    // An operation that is already queued will see everything appended until it runs.
    if (!closed_ && loadQueue_->operations().size() < 2)
        loadQueue_->addOperation(std::make_shared<FileLoadingOperation>(logReader_, dataSource_, nullptr));
}

void LocalDocument::cancelLoading() {
    if (closed_ || loadQueue_->isEmpty())
        return;
    stopTailing();
    loadQueue_->cancelAllOperations();
    if (loadState() == LoadState::Loading)
        setLoadState(LoadState::Cancelled);
}

void LocalDocument::stopTailing() {
    tailsWhenLoaded_ = false;
    if (logFileObserver_)
        logFileObserver_->stopTailing();
}

EncodingChoice LocalDocument::encodingChoice() const {
    return logReader_->encodingChoice();
}

StringEncoding LocalDocument::fileEncoding() const {
    return logReader_->fileEncoding();
}

void LocalDocument::setEncodingChoice(EncodingChoice choice) {
    if (closed_)
        return;
    logReader_->setEncodingChoice(choice);
    if (!isTransient())
        ChosenEncodings::set(fileUrl_, choice);
    if (logReader_->needsNewScan())
        reload();
    else
        dataSource_->invalidateRows();
}

void LocalDocument::reload() {
    if (closed_)
        return;
    loadQueue_->cancelAllOperations();
    dataSource_->invalidateRows();
    loadProgress_ = std::make_shared<LoadProgressController>(displayName());
    load(FileLoadingOperation::Start::AtFirstByte);
}

void LocalDocument::close() {
    if (closed_)
        return;
    closed_ = true;
    stopTailing();
    loadQueue_->cancelAllOperations();
    checkQueue_->cancelAllOperations();
    informationQueue_->cancelAllOperations();
    if (dataSource_)
        dataSource_->close();
    if (logReader_) {
        logReader_->cancel();
        logReader_->close();
    }
    // Freeing a big index or cache takes a noticeable time.
    logFileObserver_.reset();
    discardInBackground(std::move(dataSource_));
    discardInBackground(std::move(logReader_));
}

QString LocalDocument::openFault() const {
    if (loadState() == LoadState::Failed)
        return loadProgress_->fault();
    // Following may have opened the file since.
    return logReader_ && logReader_->fileIdentity() ? QString() : openFault_;
}

QUrl LocalDocument::fileUrl() const {
    return fileUrl_;
}

std::shared_ptr<LogFileReaderProtocol> LocalDocument::logReader() const {
    return logReader_;
}

std::shared_ptr<TailDataSourceProtocol> LocalDocument::dataSource() const {
    return dataSource_;
}

std::shared_ptr<FileObserverProtocol> LocalDocument::logFileObserver() const {
    return logFileObserver_;
}

void LocalDocument::setLineMarkLookup(std::shared_ptr<const LineMarkLookup> lookup) {
    dataSource_->setLineMarkLookup(std::move(lookup));
}

std::shared_ptr<const LoadProgressController> LocalDocument::loadProgress() const {
    return loadProgress_;
}

void LocalDocument::checkFile(std::function<void(FileFault)> report) {
    if (closed_ || !logReader_ || !checkQueue_->isEmpty())
        return;
    checkQueue_
        ->run([path = localPath(fileUrl_), opened = logReader_->fileIdentity().value_or(identity_),
               reader = logReader_] { return korvane::checkFile(path, opened, *reader); })
        .then(weak_from_this(), [this, report = std::move(report)](FileFault fault) {
            if (!isClosed())
                report(fault);
        });
}

std::optional<quint64> LocalDocument::knownFileSize() const {
    if (isLoading())
        return loadProgress_->totalBytes();
    return logReader_->byteCount(1, logReader_->lineCount());
}

void LocalDocument::askFileInformation(FileInformationReport report) {
    if (closed_)
        return;
    informationQueue_->run([path = localPath(fileUrl_)] { return fileInformation(path); })
        .then(weak_from_this(),
              [this, report = std::move(report)](const std::optional<FileInformation>& information) {
                  if (!isClosed())
                      report(information);
              });
}

} // namespace korvane
