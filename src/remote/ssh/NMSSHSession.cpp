#include "remote/ssh/NMSSHSession.h"

#include "remote/ssh/NMSFTP.h"
#include "remote/ssh/NMSSHSessionDelegate.h"
#include "remote/ssh/SshConnection.h"
#include "remote/ssh/SshError.h"
#include "remote/ssh/SshLogin.h"

namespace korvane {
NMSSHSession::NMSSHSession(QString host, std::uint16_t port, QString username, SessionSettings settings)
    : host_(std::move(host)), port_(port), username_(std::move(username)), settings_(std::move(settings)),
      lastError_(notConnected()) {}

NMSSHSession::~NMSSHSession() {
    disconnect();
}

bool NMSSHSession::connect(const std::function<bool()>& isWanted) {
    std::shared_ptr<SshConnection> made;
    {
        const std::lock_guard guard(mutex_);
        if (isWanted && !isWanted())
            return false;
        if (connection_ && isOpen_ && !connection_->hasEnded())
            return true;
        made = SshConnection::start(settings_, [delegate = delegate_](const std::optional<Error>& error) {
            if (const auto alive = delegate.lock())
                alive->didDisconnectWithError(error);
        });
        connection_ = made;
        isOpen_ = false;
    }
    const bool opened =
        isSuccess(made->login([target = LoginTarget{host_, port_, username_}, delegate = delegate_](
                                  SshLogin& login) { return login.connect(target, delegate.lock().get()); }));
    if (!opened)
        made->end();
    const std::lock_guard guard(mutex_);
    isOpen_ = opened && connection_ == made;
    return isOpen_;
}

bool NMSSHSession::isConnected() const {
    const std::lock_guard guard(mutex_);
    return connection_ && isOpen_ && !connection_->hasEnded();
}

bool NMSSHSession::authenticateByPassword(const QString& password) {
    return authenticate([password](SshLogin& login) { return login.byPassword(password); });
}

bool NMSSHSession::authenticateByKeyboardInteractive() {
    return authenticateByKeyboardInteractiveUsingBlock(
        [delegate = delegate_](const QString& request, bool isEchoed) {
            const auto alive = delegate.lock();
            return alive ? alive->keyboardInteractiveRequest(request, isEchoed) : std::nullopt;
        });
}

bool NMSSHSession::authenticateByKeyboardInteractiveUsingBlock(const Answer& answer) {
    return authenticate([answer](SshLogin& login) { return login.byKeyboardInteractive(answer); });
}

bool NMSSHSession::authenticateByPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                                           const std::optional<QString>& passPhrase) {
    return authenticate(
        [=](SshLogin& login) { return login.byPublicKey(publicKeyPath, privateKeyPath, passPhrase); });
}

bool NMSSHSession::authenticateByAgent() {
    return authenticate([](SshLogin& login) { return login.byAgentAndConfiguration(); });
}

bool NMSSHSession::authenticate(std::function<Status(SshLogin&)> step) {
    const auto current = connection();
    if (!isSuccess(current ? current->login(std::move(step)) : notConnected()))
        return false;
    current->setAuthorized();
    return true;
}

bool NMSSHSession::isAuthorized() const {
    const auto current = connection();
    return current && current->isAuthorized();
}

Error NMSSHSession::lastError() const {
    const std::lock_guard guard(mutex_);
    return lastError_;
}

Result<QByteArray> NMSSHSession::execute(const QByteArray& command,
                                         const std::function<bool()>& isCancelled) {
    const auto current = connection();
    if (!current)
        return notConnected();
    Result<QByteArray> output = current->execute(command, isCancelled);
    // Without a connection the command has not begun: there may be a login under way that is none of its
    // business.
    if (!output && !isSshError(output.error(), SshErrorCode::Cancelled) &&
        !isSshError(output.error(), SshErrorCode::NotConnected)) {
        static_cast<void>(isSuccess(output.error()));
        // This connection, and not one that another thread may have made since.
        current->end(output.error());
    }
    return output;
}

bool NMSSHSession::directoryExistsAtPath(const QByteArray& path) {
    const auto current = connection();
    if (!current)
        return false;
    const auto exists = std::make_shared<bool>(false);
    return isSuccess(current->withFiles([path, exists](NMSFTP& files) {
               *exists = files.directoryExistsAtPath(path);
               return true;
           })) &&
           *exists;
}

Result<std::vector<RemoteEntry>> NMSSHSession::contentsOfDirectoryAtPath(const QByteArray& path) {
    using Entries = Result<std::vector<RemoteEntry>>;
    const auto current = connection();
    if (!current)
        return notConnected();
    const auto entries = std::make_shared<std::optional<Entries>>();
    // The work alone owns the listing, which goes with it.
    auto work = [listing = std::make_shared<NMSFTP::Listing>(path), entries](NMSFTP& files) {
        const Result<bool> isComplete = listing->readSome(files);
        if (!isComplete)
            *entries = isComplete.error();
        else if (isComplete.value())
            *entries = listing->takeEntries();
        return entries->has_value();
    };
    if (const Status done = current->withFiles(std::move(work)); !done)
        return done.error();
    return std::move(**entries);
}

template <typename Answered, typename Ask>
Answered NMSSHSession::askFiles(Ask ask) {
    const auto current = connection();
    if (!current)
        return notConnected();
    const auto answer = std::make_shared<std::optional<Answered>>();
    const Status done = current->withFiles([ask = std::move(ask), answer](NMSFTP& files) {
        *answer = ask(files);
        return true;
    });
    if (!done)
        return done.error();
    return std::move(**answer);
}

Result<RemoteFileInfo> NMSSHSession::infoForFileAtPath(const QByteArray& path) {
    return askFiles<Result<RemoteFileInfo>>([path](NMSFTP& files) { return files.infoForFileAtPath(path); });
}

Result<std::optional<QByteArray>> NMSSHSession::linkTarget(const QByteArray& path) {
    return askFiles<Result<std::optional<QByteArray>>>(
        [path](NMSFTP& files) { return files.linkTarget(path); });
}

Status NMSSHSession::tryReading(const QByteArray& path) {
    return askFiles<Status>([path](NMSFTP& files) { return files.tryReading(path); });
}

void NMSSHSession::disconnect() {
    if (const auto current = connection())
        current->end();
}

bool NMSSHSession::isSuccess(const Status& outcome) {
    if (outcome)
        return true;
    // Exchanged and not assigned: where a text shared with other threads is let go of inside the toolkit, the
    // thread sanitizer does not see it.
    Error error = outcome.error();
    const std::lock_guard guard(mutex_);
    std::swap(lastError_, error);
    return false;
}

std::shared_ptr<SshConnection> NMSSHSession::connection() const {
    const std::lock_guard guard(mutex_);
    return connection_;
}

} // namespace korvane
