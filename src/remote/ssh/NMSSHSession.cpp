#include "remote/ssh/NMSSHSession.h"

#include "remote/ssh/NMSFTP.h"
#include "remote/ssh/NMSSHSessionDelegate.h"
#include "remote/ssh/SshConnection.h"
#include "remote/ssh/SshError.h"
#include "remote/ssh/SshLogin.h"

namespace korvane {
NMSSHSession::NMSSHSession(QString host, std::uint16_t port, QString username, SessionSettings settings)
    : host_(std::move(host)), port_(port), username_(std::move(username)), settings_(std::move(settings)),
      lastOutcome_(notConnected()) {}

NMSSHSession::~NMSSHSession() {
    disconnect();
}

bool NMSSHSession::connect(const std::function<bool()>& isWanted) {
    // A report of the end of the last login must not be taken for one of the next.
    if (const auto last = connection(); last && last->hasEnded())
        last->waitUntilTold();
    std::shared_ptr<SshConnection> made;
    {
        const MutexLock guard(mutex_);
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
                                  SshLogin& login) { return login.connect(target, delegate); }));
    if (!opened)
        made->end();
    const MutexLock guard(mutex_);
    isOpen_ = opened && connection_ == made;
    return isOpen_;
}

bool NMSSHSession::isConnected() const {
    const MutexLock guard(mutex_);
    return connection_ && isOpen_ && !connection_->hasEnded();
}

bool NMSSHSession::stopsOnlyShells() const {
    const auto current = connection();
    return current && current->stopsOnlyShells();
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

bool NMSSHSession::authenticateByFurtherQuestions() {
    return authenticate([](SshLogin& login) { return login.byFurtherQuestions(); });
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
    const MutexLock guard(mutex_);
    return lastOutcome_.error();
}

Status NMSSHSession::execute(const QByteArray& command, CommandUse use, OutputSink sink,
                             std::function<bool()> isCancelled) {
    const auto current = connection();
    if (!current)
        return notConnected();
    Status output = current->execute(command, use, std::move(sink), std::move(isCancelled));
    if (!output && !isSshError(output.error(), SshErrorCode::Cancelled) &&
        !isSshError(output.error(), SshErrorCode::NotConnected))
        static_cast<void>(isSuccess(output.error()));
    return output;
}

template <typename Outcome, typename Ask>
Outcome NMSSHSession::askFiles(Ask ask) {
    const auto current = connection();
    if (!current)
        return notConnected();
    const auto reply = std::make_shared<Reply<Outcome>>();
    const auto done = [reply](Outcome outcome) { reply->set(std::move(outcome)); };
    current->withFiles({[ask = std::move(ask), done](NMSFTP& files) { ask(files, done); }, done});
    return reply->wait();
}

bool NMSSHSession::directoryExistsAtPath(const QByteArray& path) {
    const auto exists = askFiles<Result<bool>>(
        [path](NMSFTP& files, auto done) { files.directoryExistsAtPath(path, std::move(done)); });
    return exists && exists.value();
}

Result<std::vector<RemoteEntry>> NMSSHSession::contentsOfDirectoryAtPath(const QByteArray& path) {
    return askFiles<Result<std::vector<RemoteEntry>>>(
        [path](NMSFTP& files, auto done) { files.contentsOfDirectoryAtPath(path, std::move(done)); });
}

Result<std::vector<RemoteLinkTarget>> NMSSHSession::followLinks(const std::vector<QByteArray>& paths) {
    return askFiles<Result<std::vector<RemoteLinkTarget>>>(
        [paths](NMSFTP& files, auto done) { files.followLinks(paths, std::move(done)); });
}

Result<RemoteFileInfo> NMSSHSession::infoForFileAtPath(const QByteArray& path) {
    return askFiles<Result<RemoteFileInfo>>(
        [path](NMSFTP& files, auto done) { files.infoForFileAtPath(path, std::move(done)); });
}

Result<std::optional<QByteArray>> NMSSHSession::linkTarget(const QByteArray& path) {
    return askFiles<Result<std::optional<QByteArray>>>(
        [path](NMSFTP& files, auto done) { files.linkTarget(path, std::move(done)); });
}

Status NMSSHSession::tryReading(const QByteArray& path) {
    return askFiles<Status>([path](NMSFTP& files, auto done) { files.tryReading(path, std::move(done)); });
}

void NMSSHSession::disconnect() {
    if (const auto current = connection())
        current->end();
}

bool NMSSHSession::isSuccess(const Status& outcome) {
    if (outcome)
        return true;
    // Swap instead of assign so that QString's reference count is dropped in our instrumented code; avoids a
    // false positive of the thread sanitizer.
    Status kept = outcome;
    const MutexLock guard(mutex_);
    std::swap(lastOutcome_, kept);
    return false;
}

std::shared_ptr<SshConnection> NMSSHSession::connection() const {
    const MutexLock guard(mutex_);
    return connection_;
}

} // namespace korvane
