#include "remote/RemoteDocument.h"

#include "core/Preferences.h"
#include "documents/Discard.h"
#include "documents/LoadProgressController.h"
#include "foundation/notices/Alerts.h"
#include "foundation/work/MainThread.h"
#include "remote/Client.h"
#include "remote/RemoteErrors.h"
#include "remote/RemoteFile.h"
#include "remote/RemoteLogDataSource.h"
#include "remote/RemoteLogFileObserver.h"
#include "remote/SFTPClient.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"

#include <QCoreApplication>

#include <atomic>
#include <utility>

namespace korvane {
namespace {

constexpr qsizetype longestPrintedText = 80;

struct RemoteTexts {
    Q_DECLARE_TR_FUNCTIONS(RemoteDocument)
};

std::optional<FileInformation> informationOf(const RemoteFile& file) {
    const auto found = SFTPClient(file.client()).infoForFileAtPath(file.path());
    if (!found)
        return std::nullopt;
    return FileInformation{found.value().filename, found.value().lastAccess, found.value().modificationDate,
                           found.value().fileSize};
}

} // namespace

/// Forwards notices of the workers to the document, on the main thread.
class RemoteDocument::Listener : public RemoteFileListener {
public:
    explicit Listener(std::weak_ptr<RemoteDocument> document) : document_(std::move(document)) {}

    void connectionChanged() { post(&RemoteDocument::connectionChanged); }
    void connectionGone() override { post(&RemoteDocument::connectionGone); }
    void connectionLost() override { post(&RemoteDocument::connectionLost); }
    void serverPrintsText(const QString& text) override {
        MainThread::shared().post([weak = document_, text] {
            if (const auto open = weak.lock(); open && !open->isClosed())
                open->tellUser(RemoteTexts::tr("The server prints text at login: %1")
                                   .arg(text.simplified().left(longestPrintedText)));
        });
    }
    void fileFault(const QString& text) override {
        MainThread::shared().post([weak = document_, text] {
            if (const auto open = weak.lock(); open && !open->isClosed())
                open->setFileFault(text);
        });
    }

private:
    void post(void (RemoteDocument::*report)()) {
        MainThread::shared().post([weak = document_, report] {
            if (const auto open = weak.lock(); open && !open->isClosed())
                (open.get()->*report)();
        });
    }

    const std::weak_ptr<RemoteDocument> document_;
};

/// Connects and counts the lines of the file.
class RemoteDocument::LoadOperation : public Operation {
public:
    enum class Login { Kept, Ended };

    /// `number`: identifies the load within the document.
    LoadOperation(std::weak_ptr<RemoteDocument> document, std::uint64_t number, LoginAsked asked,
                  std::shared_ptr<RemoteFile> file, std::shared_ptr<RemoteLogDataSource> dataSource)
        : document_(std::move(document)), number_(number), asked_(asked), file_(std::move(file)),
          dataSource_(std::move(dataSource)) {}

    /// The result is no longer wanted. `login`: whether a login that still succeeds is kept.
    void abandon(Login login) {
        keepsLogin_ = login == Login::Kept;
        cancel();
    }

protected:
    void main() override {
        Client& client = *file_->client();
        const bool wasConnected = client.isConnected();
        const std::uint64_t loginBefore = client.loginNumber();
        const auto connection = client.logIn(asked_);
        if (isCancelled()) {
            // The login may have succeeded although it is no longer wanted.
            if (!keepsLogin_)
                client.endLogin(client.loginNumber());
            return;
        }
        if (!connection || !connection.value().isAuthorised) {
            const std::uint64_t login = client.loginNumber();
            // A user who was logged in for a moment may already have seen the alert of the loss.
            const bool isTold =
                asked_ == LoginAsked::ByProgram ||
                (connection && (wasConnected || login > loginBefore) && !client.claimLoss(login));
            report([isTold, error = connection ? remoteerror::cannotConnect(client.fault())
                                               : connection.error()](RemoteDocument& document) {
                document.connectionFailed();
                if (!isTold)
                    document.present(error);
            });
            return;
        }
        report([](RemoteDocument& document) { document.connected(); });
        file_->lookBeforeReading();
        dataSource_->countLines([this] { return isCancelled(); });
        if (!isCancelled())
            report([](RemoteDocument& document) { document.loadEnded(); });
    }

private:
    template <typename Report>
    void report(Report report) {
        MainThread::shared().post([weak = document_, number = number_, report] {
            const auto open = weak.lock();
            if (open && !open->isClosed() && open->load_ && open->loadNumber_ == number)
                report(*open);
        });
    }

    const std::weak_ptr<RemoteDocument> document_;
    const std::uint64_t number_;
    const LoginAsked asked_;
    std::atomic<bool> keepsLogin_{false};
    const std::shared_ptr<RemoteFile> file_;
    const std::shared_ptr<RemoteLogDataSource> dataSource_;
};

// ---- Opening

Result<std::shared_ptr<Document>>
RemoteDocument::createForUrl(const QUrl& url, const RemoteHostsManager& hosts, AlertPresenter& alerts) {
    const auto address = RemoteUrl::fromUrl(url);
    const auto host = address ? address->hostIn(hosts) : nullptr;
    if (!host)
        return remoteerror::unknownHost(url);
    return std::shared_ptr<Document>(create(host, [&alerts](const std::shared_ptr<RemoteHost>& configured) {
        return Client::create(configured, alerts);
    }));
}

std::shared_ptr<RemoteDocument> RemoteDocument::create(std::shared_ptr<RemoteHost> host,
                                                       const MakeClient& makeClient) {
    auto client = makeClient(host);
    return std::shared_ptr<RemoteDocument>(new RemoteDocument(std::move(host), std::move(client)));
}

RemoteDocument::RemoteDocument(std::shared_ptr<RemoteHost> host, std::shared_ptr<Client> client)
    : host_(std::move(host)), client_(std::move(client)),
      loadQueue_(std::make_unique<OperationQueue>("Load remote log file operation queue", 1)),
      informationQueue_(std::make_unique<OperationQueue>("Remote file information", 1)) {}

RemoteDocument::~RemoteDocument() {
    close();
}

std::shared_ptr<RemoteDocument> RemoteDocument::self() {
    return std::static_pointer_cast<RemoteDocument>(shared_from_this());
}

Status RemoteDocument::readFromUrl(const QUrl& url) {
    const auto address = RemoteUrl::fromUrl(url);
    if (!address)
        return remoteerror::unknownHost(url);
    fileUrl_ = url;
    loadProgress_ = std::make_shared<LoadProgressController>(displayName());
    listener_ = std::make_shared<Listener>(self());
    client_->setFileName(displayName());
    client_->setOnChange([listener = listener_] { listener->connectionChanged(); });
    file_ = std::make_shared<RemoteFile>(client_, address->path(), listener_);
    dataSource_ = RemoteLogDataSource::create(shared_from_this(), file_);
    return success();
}

void RemoteDocument::startLoading() {
    follows_ = follows_ || Preferences::shared().startTailingOnFileOpen();
    connectInBackground(LoginAsked::ByUser);
}

void RemoteDocument::connectInBackground(LoginAsked asked) {
    if (isClosed())
        return;
    if (load_)
        load_->abandon(LoadOperation::Login::Kept);
    load_ = std::make_shared<LoadOperation>(self(), ++loadNumber_, asked, file_, dataSource_);
    setState(stateOfAttempt(state_.state()));
    loadProgress_->readerDidStart(0);
    setLoadState(LoadState::Loading);
    loadQueue_->addOperation(load_);
}

void RemoteDocument::setState(RemoteState state) {
    if (state_.enter(state))
        announceState();
}

void RemoteDocument::announceState() {
    notices().connectionStateChanged.post();
}

void RemoteDocument::connected() {
    setState(RemoteState::Connected);
    if (std::exchange(asksAgain_, false)) {
        // The old rows stay until the new ones have been loaded.
        dataSource_->linesChanged(0);
        dataSource_->notices().rowsStale.post();
    }
    if (follows_)
        follow();
    // On a server that gives no information about files this has no other effect.
    informationQueue_->run([file = file_] {
        file->lookForLink();
        file->lookWhatItIs();
    });
    if (std::exchange(isAnnounced_, true))
        return;
    // The first page does not need the count.
    dataSource_->loadPage(1, true);
    if (RemoteRecentFilesManager::hasShared())
        RemoteRecentFilesManager::shared().add(fileUrl_);
    notices().loaded.post();
}

void RemoteDocument::connectionFailed() {
    load_.reset();
    loadProgress_->readerDidCancel();
    attemptEnded(RemoteState::Failed);
    setLoadState(LoadState::Cancelled);
}

void RemoteDocument::attemptEnded(RemoteState end) {
    setState(state_.state() == RemoteState::Returning ? RemoteState::Lost : end);
}

void RemoteDocument::loadEnded() {
    load_.reset();
    loadProgress_->readerDidFinish();
    setLoadState(LoadState::Loaded);
}

void RemoteDocument::present(const Error& error) {
    client_->tell({Alert::Kind::Error, error.userText, error.recoverySuggestion, {}});
}

void RemoteDocument::tellUser(const QString& text) {
    notices().userUpdate.post(text);
}

void RemoteDocument::setFileFault(const QString& text) {
    if (std::exchange(fileFault_, text) != text)
        announceState();
}

// ---- The connection

void RemoteDocument::connectionChanged() {
    if (isConnecting())
        return;
    if (!client_->isConnected()) {
        connectionGone();
        announceState(); // the user may now be allowed to reconnect
    } else if (state_.state() != RemoteState::Connected)
        comeBack(LoginAsked::ByProgram);
}

void RemoteDocument::stayConnected() {
    if (!isClosed() && triesToConnect())
        client_->tryAgain();
}

void RemoteDocument::connectionGone() {
    if (state_.state() == RemoteState::Connected && !client_->isConnected())
        setState(RemoteState::Lost);
}

void RemoteDocument::connectionLost() {
    // No other part reports this loss, whatever the state is already.
    connectionGone();
    present(remoteerror::connectionLost());
}

void RemoteDocument::reconnect() {
    if (isClosed() || isConnecting() || client_->isConnected())
        return;
    if (state_.state() == RemoteState::Unopened)
        startLoading();
    else
        comeBack(LoginAsked::ByUser);
}

void RemoteDocument::comeBack(LoginAsked asked) {
    if (logFileObserver_)
        logFileObserver_->stopTailing();
    asksAgain_ = true;
    loadProgress_ = std::make_shared<LoadProgressController>(displayName());
    connectInBackground(asked);
}

void RemoteDocument::checkFile(std::function<void(FileFault)> report) {
    if (isClosed())
        return;
    connectionGone();
    // A file that was missing or empty may have lines by now.
    dataSource_->ensureCounted();
    report(FileFault::None);
}

QString RemoteDocument::openFault() const {
    if (state_.state() == RemoteState::Lost)
        return (dataSource_->rowCount() > 0
                    ? RemoteTexts::tr("The connection to %1 is lost: these are the lines loaded before")
                    : RemoteTexts::tr(
                          "The connection to %1 is lost: there is nothing to show until it is back"))
            .arg(host_->host());
    if (state_.state() == RemoteState::Failed)
        return RemoteTexts::tr("There is no connection to %1").arg(host_->host());
    return fileFault_;
}

bool RemoteDocument::triesToConnect() const {
    return (state_.state() == RemoteState::Lost || state_.state() == RemoteState::Failed) &&
           !client_->wasRefused();
}

void RemoteDocument::setWindow(WindowId window) {
    client_->setWindow(window);
}

// ---- Following

void RemoteDocument::follow() {
    if (!logFileObserver_)
        logFileObserver_ = std::make_shared<RemoteLogFileObserver>(dataSource_, file_);
    logFileObserver_->startTailing();
}

void RemoteDocument::startTailingWhenLoaded() {
    if (isClosed())
        return;
    follows_ = true;
    // Without a connection a monitor would try to connect itself, once, and fail.
    if (state_.state() == RemoteState::Connected || state_.state() == RemoteState::Lost)
        follow();
}

void RemoteDocument::stopTailing() {
    follows_ = false;
    if (dataSource_)
        dataSource_->followingEnded();
    if (logFileObserver_)
        logFileObserver_->stopTailing();
}

// ---- Reading again and closing

void RemoteDocument::cancelLoading() {
    if (isClosed() || !load_)
        return;
    stopTailing();
    // A completed login may be of use to other documents.
    const bool isLoggedIn = client_->isConnected();
    std::exchange(load_, nullptr)
        ->abandon(isLoggedIn ? LoadOperation::Login::Kept : LoadOperation::Login::Ended);
    dataSource_->cancelCount();
    loadProgress_->readerDidCancel();
    if (isConnecting()) {
        if (!isLoggedIn)
            client_->disconnect();
        if (isLoggedIn)
            setState(RemoteState::Connected);
        else
            attemptEnded(RemoteState::Cancelled);
    }
    setLoadState(LoadState::Cancelled);
}

void RemoteDocument::reload() {
    if (isClosed() || !client_->isConnected())
        return;
    dataSource_->forgetPlaces();
    dataSource_->invalidateRows();
    loadProgress_ = std::make_shared<LoadProgressController>(displayName());
    connectInBackground(LoginAsked::ByProgram);
}

void RemoteDocument::close() {
    if (isClosed())
        return;
    stopTailing();
    state_.enter(RemoteState::Closed);
    load_.reset();
    loadQueue_->cancelAllOperations();
    informationQueue_->cancelAllOperations();
    if (dataSource_)
        dataSource_->close();
    client_->setWindow({});
    if (file_)
        file_->close();
    logFileObserver_.reset();
    discardInBackground(std::move(dataSource_));
}

std::shared_ptr<TailDataSourceProtocol> RemoteDocument::dataSource() const {
    return dataSource_;
}

std::shared_ptr<FileObserverProtocol> RemoteDocument::logFileObserver() const {
    return logFileObserver_;
}

EncodingChoice RemoteDocument::encodingChoice() const {
    return {EncodingChoice::Kind::LenientUtf8, encoding::utf8};
}

std::optional<quint64> RemoteDocument::knownFileSize() const {
    return dataSource_ ? dataSource_->knownFileSize() : std::nullopt;
}

void RemoteDocument::askFileInformation(FileInformationReport report) {
    if (isClosed())
        return;
    informationQueue_->run([file = file_] { return informationOf(*file); })
        .then(weak_from_this(),
              [this, report = std::move(report)](const std::optional<FileInformation>& information) {
                  if (!isClosed())
                      report(information);
              });
}

std::shared_ptr<const LoadProgressController> RemoteDocument::loadProgress() const {
    return loadProgress_;
}

void RemoteDocument::setLineMarkLookup(std::shared_ptr<const LineMarkLookup> lookup) {
    dataSource_->setLineMarkLookup(std::move(lookup));
}

} // namespace korvane
