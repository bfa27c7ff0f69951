#include "remote/HostLogin.h"

#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "foundation/work/Reply.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/ssh/NMSSHSession.h"
#include "remote/ssh/SshError.h"

#include <QFile>

#include <utility>

#include <QCoreApplication>

namespace korvane {
namespace {

struct LoginTexts {
    Q_DECLARE_TR_FUNCTIONS(HostLogin)
};

/// Maximum number of further authentication methods that a server may require.
constexpr int mostFurtherProofs = 3;

/// The file remembered in the settings, otherwise the one at the stored path.
std::optional<QUrl> keyFile(std::optional<QUrl> remembered, const std::optional<QString>& path) {
    if (remembered || !path || path->isEmpty())
        return remembered;
    return fileUrlFromPath(QFile::encodeName(*path));
}

QString filePath(const QUrl& url) {
    return QFile::decodeName(localPath(url));
}

/// Main thread.
bool isStored(const RemoteHost& host) {
    return RemoteHostsManager::hasShared() && RemoteHostsManager::shared().current(host);
}

QString passwordRequest(const QString& username, const QString& hostName) {
    return username.isEmpty()
               ? LoginTexts::tr("Enter password on server: %1").arg(hostName)
               : LoginTexts::tr("Enter password for user '%1' on server: %2").arg(username, hostName);
}

} // namespace

HostLogin::HostLogin(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, FindWindow findWindow,
                     Ended ended)
    : host_(std::move(host)), alerts_(alerts), findWindow_(std::move(findWindow)), ended_(std::move(ended)),
      hostName_(host_->host()), port_(host_->port()), username_(host_->username()), proof_(proofOf(*host_)) {}

bool HostLogin::Proof::operator==(const Proof& other) const {
    return kind == other.kind && password == other.password && pubKeyUrl == other.pubKeyUrl &&
           pvtKeyUrl == other.pvtKeyUrl && passPhrase == other.passPhrase;
}

HostLogin::Proof HostLogin::proofOf(const RemoteHost& host) {
    Proof proof;
    if (const auto password = std::dynamic_pointer_cast<PasswordAuthnType>(host.authnType())) {
        proof.kind = Proof::Kind::Password;
        proof.password = password->password.value_or(QString());
    } else if (auto keyboard = std::dynamic_pointer_cast<KeyboardAuthnType>(host.authnType())) {
        proof.kind = Proof::Kind::Keyboard;
        proof.keyboard = std::move(keyboard);
    } else if (const auto keys = std::dynamic_pointer_cast<PublicKeyAuthnType>(host.authnType())) {
        const bool hasStore = RemoteHostsManager::hasShared();
        proof.kind = Proof::Kind::PublicKey;
        proof.pubKeyUrl = keyFile(hasStore ? RemoteHostsManager::shared().publicKeyUrl(host) : std::nullopt,
                                  keys->publicKeyFilePath);
        proof.pvtKeyUrl = keyFile(hasStore ? RemoteHostsManager::shared().privateKeyUrl(host) : std::nullopt,
                                  keys->privateKeyFilePath);
        proof.passPhrase = keys->privateKeyPwd;
    }
    return proof;
}

bool HostLogin::isSameFor(const RemoteHost& host) const {
    if (host.host() != hostName_ || host.port() != port_ || host.username() != username_)
        return false;
    const Proof proof = proofOf(host);
    const MutexLock guard(mutex_);
    return proof == proof_;
}

void HostLogin::begin(bool mayAsk) {
    mayAsk_ = mayAsk;
    wasSilent_ = false;
    isProving_ = false;
    const MutexLock guard(mutex_);
    isUnderWay_ = true;
    keptSecret_.reset();
}

void HostLogin::cancel() {
    std::vector<std::weak_ptr<Question>> questions;
    {
        const MutexLock guard(mutex_);
        isUnderWay_ = false;
        questions.swap(questions_);
    }
    for (const auto& weak : questions) {
        if (const auto question = weak.lock())
            question->set(std::nullopt);
    }
}

HostLogin::Outcome HostLogin::prove(NMSSHSession& session) {
    isProving_ = true;
    Outcome login = proveByWhatIsKnown(session);
    for (int further = 0; further < mostFurtherProofs && login == Outcome::Refused &&
                          isSshError(session.lastError(), SshErrorCode::Incomplete);
         ++further)
        login = session.authenticateByFurtherQuestions() ? Outcome::Done : Outcome::Refused;
    if (login == Outcome::Done)
        keepSecret();
    return login;
}

HostLogin::Outcome HostLogin::proveByWhatIsKnown(NMSSHSession& session) {
    const bool canBeTyped = proof_.kind == Proof::Kind::Password || proof_.kind == Proof::Kind::Keyboard;
    if (session.usesSshConfig()) {
        if (session.authenticateByAgent())
            return Outcome::Done;
        const Error error = session.lastError();
        // No time is left for another method, or the user has declined.
        if (isSshError(error, SshErrorCode::TimedOut) || isSshError(error, SshErrorCode::NotAnswered))
            return Outcome::Refused;
        if (isSshError(error, SshErrorCode::Incomplete) && !canBeTyped)
            return Outcome::Refused;
    }
    const auto result = [](bool isDone) { return isDone ? Outcome::Done : Outcome::Refused; };
    switch (proof_.kind) {
    case Proof::Kind::Password:
        return result(session.authenticateByPassword(proof_.password));
    case Proof::Kind::Keyboard:
        return result(proveByKeyboard(session));
    case Proof::Kind::PublicKey:
        if (proof_.pvtKeyUrl)
            return result(
                session.authenticateByPublicKey(proof_.pubKeyUrl ? filePath(*proof_.pubKeyUrl) : QString(),
                                                filePath(*proof_.pvtKeyUrl), proof_.passPhrase));
        break;
    case Proof::Kind::None:
        break;
    }
    // Without a proof of our own, only the agent's keys can have been refused.
    return session.usesSshConfig() ? Outcome::Refused : Outcome::Unproven;
}

bool HostLogin::proveByKeyboard(NMSSHSession& session) {
    keyboardQuestions_ = 0;
    bool isDone = false;
    if (const std::optional<QString> cached = proof_.keyboard->cachedPwd())
        isDone = session.authenticateByKeyboardInteractiveUsingBlock(
            [answer = *cached](const QString&, bool) { return std::optional(answer); });
    else
        isDone = session.authenticateByKeyboardInteractive();
    // A stored answer cannot be right for more than one question.
    if (!isDone || keyboardQuestions_ > 1)
        forgetAnswer();
    return isDone;
}

bool HostLogin::shouldConnectToHostWithFingerprint(const QString& fingerprint, const QStringList& known) {
    Alert alert;
    if (known.isEmpty()) {
        alert.kind = Alert::Kind::Question;
        alert.message = LoginTexts::tr("The server '%1' is not known yet.").arg(hostName_);
        alert.informativeText =
            LoginTexts::tr("Its key is %1. Do you trust it? It will be remembered, and you are asked again "
                           "when it changes.")
                .arg(fingerprint);
        alert.buttons = {LoginTexts::tr("Trust"), LoginTexts::tr("Cancel")};
    } else {
        alert.kind = Alert::Kind::Warning;
        alert.message = LoginTexts::tr("The key of the server '%1' has changed.").arg(hostName_);
        alert.informativeText =
            LoginTexts::tr(
                "Old key:\n%1\nNew key:\n%2\n\nThe server has been given a new key, or somebody is "
                "listening in. Ask whoever looks after the server before you use the new key. It "
                "replaces the old one in the list of known hosts.")
                .arg(known.join(u'\n'), fingerprint);
        alert.buttons = {LoginTexts::tr("Use New Key"), LoginTexts::tr("Cancel")};
        alert.defaultButton = 1;
    }
    return ask(std::move(alert)).has_value();
}

std::optional<QString> HostLogin::secret(const SecretQuestion& question) {
    const bool isPassword = question.kind == SecretQuestion::Kind::Password;
    Alert alert;
    alert.kind = Alert::Kind::Question;
    if (isPassword) {
        alert.message = passwordRequest(username_, hostName_);
        alert.informativeText = question.isAgain ? LoginTexts::tr("The password was wrong.") : QString();
    } else {
        alert.message =
            LoginTexts::tr("Enter the pass phrase of the private key for server: %1").arg(hostName_);
        alert.informativeText = question.keyPath;
        if (question.isAgain)
            alert.informativeText += u'\n' + LoginTexts::tr("The pass phrase was wrong.");
    }
    alert.buttons = {LoginTexts::tr("OK"), LoginTexts::tr("Cancel")};
    alert.field = Alert::Field{isPassword ? LoginTexts::tr("Enter the password")
                                          : LoginTexts::tr("Enter the pass phrase"),
                               true,
                               {}};
    if (!hasPlaceFor(question))
        return ask(std::move(alert));
    const auto isKept = std::make_shared<std::atomic<bool>>(false);
    alert.field->option = LoginTexts::tr("Remember it, as plain text that only you can read");
    alert.field->optionChosen = [isKept](bool isChosen) { *isKept = isChosen; };
    std::optional<QString> answer = ask(std::move(alert));
    const MutexLock guard(mutex_);
    keptSecret_.reset();
    if (answer && *isKept)
        keptSecret_ = KeptSecret{question.kind, *answer};
    return answer;
}

std::optional<QString> HostLogin::keyboardInteractiveRequest(const QString& request, bool isEchoed) {
    Alert alert;
    alert.kind = Alert::Kind::Question;
    // Questions before authentication come from a jump host; their answers are not for the host.
    const bool isOfHost = isProving_;
    alert.message = isOfHost
                        ? passwordRequest(username_, hostName_)
                        : LoginTexts::tr("On the way to the server '%1', a jump host asks:").arg(hostName_);
    alert.informativeText = request;
    alert.buttons = {LoginTexts::tr("OK"), LoginTexts::tr("Cancel")};
    alert.field = Alert::Field{
        isOfHost ? LoginTexts::tr("Enter the password") : LoginTexts::tr("Enter the answer"), !isEchoed, {}};
    if (isOfHost)
        ++keyboardQuestions_;
    std::optional<QString> answer = ask(std::move(alert));
    if (answer && isOfHost && proof_.keyboard)
        proof_.keyboard->setCachedPwd(answer);
    return answer;
}

std::optional<QString> HostLogin::ask(Alert alert) {
    if (!mayAsk_) {
        wasSilent_ = true;
        return std::nullopt;
    }
    const auto question = std::make_shared<Question>();
    {
        const MutexLock guard(mutex_);
        if (!isUnderWay_)
            return std::nullopt;
        std::erase_if(questions_, [](const auto& weak) { return weak.expired(); });
        questions_.push_back(question);
    }
    MainThread::shared().post([self = weak_from_this(), question, alert = std::move(alert)]() mutable {
        const auto alive = self.lock();
        if (!alive || question->isSet()) {
            question->set(std::nullopt);
            return;
        }
        const auto text = std::make_shared<QString>();
        if (alert.field && !isStored(*alive->host_))
            alert.field->option.clear();
        if (alert.field)
            alert.field->entered = [text](const QString& entered) { *text = entered; };
        alive->alerts_.present(alert, alive->findWindow_(), [question, text](int button) {
            question->set(button == 0 ? std::optional<QString>(*text) : std::nullopt);
        });
    });
    return question->wait();
}

void HostLogin::forgetAnswer() {
    if (proof_.keyboard)
        proof_.keyboard->setCachedPwd(std::nullopt);
}

bool HostLogin::hasPlaceFor(const SecretQuestion& question) const {
    if (question.kind == SecretQuestion::Kind::Password)
        return proof_.kind == Proof::Kind::Password;
    return proof_.kind == Proof::Kind::PublicKey && proof_.pvtKeyUrl &&
           filePath(*proof_.pvtKeyUrl) == question.keyPath;
}

void HostLogin::keepSecret() {
    std::optional<KeptSecret> kept;
    {
        const MutexLock guard(mutex_);
        kept.swap(keptSecret_);
        if (!kept)
            return;
        if (kept->kind == SecretQuestion::Kind::Password)
            proof_.password = kept->text;
        else
            proof_.passPhrase = kept->text;
    }
    // Also if the connection has no users any more.
    MainThread::shared().post([host = host_, kept = *kept] { storeSecret(*host, kept); });
}

void HostLogin::storeSecret(const RemoteHost& host, const KeptSecret& secret) {
    if (!isStored(host))
        return;
    const auto stored = RemoteHostsManager::shared().current(host);
    const auto password = std::dynamic_pointer_cast<PasswordAuthnType>(stored->authnType());
    const auto key = std::dynamic_pointer_cast<PublicKeyAuthnType>(stored->authnType());
    if (secret.kind == SecretQuestion::Kind::Password && password)
        password->password = secret.text;
    else if (secret.kind == SecretQuestion::Kind::PassPhrase && key)
        key->privateKeyPwd = secret.text;
    RemoteHostsManager::shared().save();
}

} // namespace korvane
