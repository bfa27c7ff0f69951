#include "remote/Client.h"

#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "foundation/work/Reply.h"
#include "remote/ConnectionAlerts.h"
#include "remote/UserSessionSettings.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/ssh/NMSSHSession.h"
#include "remote/ssh/RemoteLog.h"
#include "remote/ssh/SshError.h"

#include <QCoreApplication>
#include <QFile>

namespace korvane {
namespace {

/// How many proofs a server may want besides the first.
constexpr int mostFurtherProofs = 3;

/// The file that the settings remember, or else the one at the stored path.
std::optional<QUrl> keyFile(std::optional<QUrl> remembered, const std::optional<QString>& path) {
    if (remembered || !path || path->isEmpty())
        return remembered;
    return fileUrlFromPath(QFile::encodeName(*path));
}

QString filePath(const QUrl& url) {
    return QFile::decodeName(localPath(url));
}

Alert message(Alert::Kind kind, const QString& text, const QString& informativeText) {
    Alert alert;
    alert.kind = kind;
    alert.message = text;
    alert.informativeText = informativeText;
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

/// In bytes: a number or a name is shorter.
constexpr qsizetype longestAnswer = 65'536;

void logFailure(const QString& command, const QString& reason) {
    qCWarning(logRemote).noquote() << QStringLiteral("\n----------Got error: ") + reason +
                                          QStringLiteral(" for cmd: ") + command;
    qCWarning(logRemote).noquote() << QStringLiteral("Reason: ") + reason + QStringLiteral("\n----------");
}

/// Main thread.
bool isStored(const RemoteHost& host) {
    return RemoteHostsManager::hasShared() && RemoteHostsManager::shared().current(host);
}

QString passwordRequest(const QString& username, const QString& hostName) {
    return username.isEmpty()
               ? QStringLiteral("Enter password on server: %1").arg(hostName)
               : QStringLiteral("Enter password for user '%1' on server: %2").arg(username, hostName);
}

QString tr(const char* text) {
    return QCoreApplication::translate("Client", text);
}

} // namespace

std::shared_ptr<Client> Client::create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts) {
    return std::shared_ptr<Client>(new Client(host, alerts));
}

std::shared_ptr<Client> Client::create(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts,
                                       SessionSettings settings) {
    return std::shared_ptr<Client>(new Client(std::move(host), alerts, std::move(settings)));
}

Client::Client(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts)
    : Client(host, alerts, userSessionSettings(*host)) {}

Client::Client(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, SessionSettings settings)
    : host_(std::move(host)), alerts_(alerts), settings_(std::move(settings)), hostName_(host_->host()),
      port_(host_->port()), username_(host_->username()), homePath_(host_->homePath()),
      proof_(proofOf(*host_)) {}

Client::~Client() {
    Client::disconnect();
}

Client::Proof Client::proofOf(const RemoteHost& host) {
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

void Client::setWindow(const void* window) {
    window_ = window;
}

Result<Client::Connection> Client::connect() {
    Result<Connection> connection = logIn();
    if (!connection || !connection.value().isAuthorised)
        return connection;
    const bool isThere = homePathExists();
    return Connection{isConnected(), isThere};
}

bool Client::homePathExists() {
    const std::uint64_t login = loginNumber_;
    {
        const std::lock_guard guard(mutex_);
        if (homePathLogin_ == login)
            return homePathExists_;
    }
    const auto current = session();
    const bool exists = current && current->directoryExistsAtPath(homePath_.toUtf8());
    const std::lock_guard guard(mutex_);
    homePathLogin_ = login;
    return homePathExists_ = exists;
}

Result<Client::Connection> Client::logIn() {
    const std::uint64_t disconnections = disconnections_.load();
    std::unique_lock guard(mutex_);
    while (const auto other = attempt_) {
        ++other->waiting;
        attemptEnded_.wait(guard, [&other] { return other->outcome.has_value(); });
        if (other->disconnections == disconnections)
            return *other->outcome;
    }
    const auto own = std::make_shared<Attempt>(disconnections);
    attempt_ = own;
    guard.unlock();
    Result<Connection> outcome = attempt(disconnections);
    guard.lock();
    own->outcome = outcome;
    attempt_ = nullptr;
    attemptEnded_.notify_all();
    return outcome;
}

int Client::waitingForLogin() const {
    const std::lock_guard guard(mutex_);
    return attempt_ ? attempt_->waiting : 0;
}

Result<Client::Connection> Client::attempt(std::uint64_t disconnections) {
    const auto isWanted = [this, disconnections] {
        return disconnections_.load() == disconnections && !connectionTestCanceled_;
    };
    const auto session = sessionForConnecting();
    if (!session->isAuthorized()) {
        wasLeftUnanswered_ = false;
        wasRefused_ = false;
        loginDisconnections_ = disconnections;
        setFault({});
        if (!session->connect(isWanted)) {
            const Error error = session->lastError();
            wasLeftUnanswered_ = isSshError(error, SshErrorCode::NotAnswered);
            const bool isChanged = isSshError(error, SshErrorCode::HostKeyChanged);
            wasRefused_ = isWanted() && (wasLeftUnanswered_ || isChanged);
            if (!isWanted() || wasLeftUnanswered_)
                return Connection{};
            logFault(error);
            // A fault of the network is for the caller to word, but this one nobody may miss.
            if (isChanged)
                return refusal(error);
            setFault(error.userText);
            return Connection{};
        }
        loginBegins();
        const Login login = prove(*session);
        if (login != Login::Done) {
            const Error error = session->lastError();
            wasLeftUnanswered_ = isSshError(error, SshErrorCode::NotAnswered);
            wasRefused_ = isWanted() && (login == Login::Unproven || wasLeftUnanswered_ ||
                                         isSshError(error, SshErrorCode::Denied));
            session->disconnect();
            if (login != Login::Refused || !isWanted() || wasLeftUnanswered_)
                return Connection{};
            logFault(error);
            return refusal(error);
        }
        if (!isWanted()) {
            session->disconnect();
            return Connection{};
        }
    }
    return Connection{session->isAuthorized(), false};
}

void Client::logFault(const Error& error) const {
    qCWarning(logRemote).noquote()
        << QStringLiteral("No login on %1:%2: %3").arg(hostName_).arg(port_).arg(error.userText);
}

void Client::setFault(const QString& text) {
    const std::lock_guard guard(mutex_);
    fault_ = text;
}

QString Client::fault() const {
    const std::lock_guard guard(mutex_);
    return fault_;
}

Error Client::refusal(const Error& error) const {
    const QString place =
        (hostName_.contains(u':') ? u'[' + hostName_ + u']' : hostName_) + u':' + QString::number(port_);
    Error told = error;
    if (isSshError(error, SshErrorCode::HostKeyChanged))
        told.recoverySuggestion =
            tr("This is about %1. Ask whoever looks after it whether its key has been replaced.").arg(place);
    else if (!isSshError(error, SshErrorCode::Denied))
        told.recoverySuggestion =
            tr("The login on %1 has failed. Check if the server is up and try again.").arg(place);
    else if (username_.isEmpty())
        told.recoverySuggestion = tr("Logging in on %1 was refused. Check the user name and the "
                                     "authentication of this host in Remote Hosts.")
                                      .arg(place);
    else
        told.recoverySuggestion = tr("Logging in as %1 on %2 was refused. Check the user name and the "
                                     "authentication of this host in Remote Hosts.")
                                      .arg(username_, place);
    return told;
}

std::shared_ptr<NMSSHSession> Client::sessionForConnecting() {
    const std::lock_guard guard(mutex_);
    if (!session_) {
        session_ = std::make_shared<NMSSHSession>(hostName_, port_, username_, settings_);
        session_->setDelegate(weak_from_this());
    }
    return session_;
}

Client::Login Client::prove(NMSSHSession& session) {
    {
        const std::lock_guard guard(mutex_);
        keptSecret_.reset();
    }
    Login login = proveByWhatIsKnown(session);
    for (int further = 0; further < mostFurtherProofs && login == Login::Refused &&
                          isSshError(session.lastError(), SshErrorCode::Incomplete);
         ++further)
        login = session.authenticateByFurtherQuestions() ? Login::Done : Login::Refused;
    if (login == Login::Done)
        keepSecret();
    return login;
}

Client::Login Client::proveByWhatIsKnown(NMSSHSession& session) {
    const bool canBeTyped = proof_.kind == Proof::Kind::Password || proof_.kind == Proof::Kind::Keyboard;
    if (session.usesSshConfig()) {
        if (session.authenticateByAgent())
            return Login::Done;
        const Error error = session.lastError();
        // No time is left for anything else, or the user wants nothing else.
        if (isSshError(error, SshErrorCode::TimedOut) || isSshError(error, SshErrorCode::NotAnswered))
            return Login::Refused;
        if (isSshError(error, SshErrorCode::Incomplete) && !canBeTyped)
            return Login::Refused;
    }
    const auto result = [](bool isDone) { return isDone ? Login::Done : Login::Refused; };
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
    // Without anything to prove it with, only the agent can have been refused.
    return session.usesSshConfig() ? Login::Refused : Login::Unproven;
}

bool Client::proveByKeyboard(NMSSHSession& session) {
    questionsOfLogin_ = 0;
    bool isDone = false;
    if (const std::optional<QString> cached = proof_.keyboard->cachedPwd())
        isDone = session.authenticateByKeyboardInteractiveUsingBlock(
            [answer = *cached](const QString&, bool) { return std::optional(answer); });
    else
        isDone = session.authenticateByKeyboardInteractive();
    // One answer for several questions would be wrong for all but one of them.
    if (!isDone || questionsOfLogin_ > 1)
        forgetAnswer();
    return isDone;
}

bool Client::isConnected() const {
    const auto current = session();
    return current && current->isAuthorized();
}

QString Client::execute(const QString& command, const IsCancelled& isCancelled) {
    return QString::fromUtf8(answer(command, isCancelled).value_or(QByteArray()));
}

std::optional<QByteArray> Client::answer(const QString& command, const IsCancelled& isCancelled) {
    QByteArray output;
    const auto take = [&output](QByteArrayView bytes) {
        output.append(bytes);
        return output.size() <= longestAnswer;
    };
    if (!read(command, take, isCancelled))
        return std::nullopt;
    if (output.size() <= longestAnswer)
        return output;
    logFailure(command, QStringLiteral("The answer has no end."));
    return std::nullopt;
}

bool Client::read(const QString& command, const OutputSink& sink, const IsCancelled& isCancelled) {
    const auto current = session();
    if (!current || !current->isConnected())
        return false;
    const Status outcome = current->execute(command.toUtf8(), sink, isCancelled);
    if (!outcome && !isSshError(outcome.error(), SshErrorCode::Cancelled) &&
        !isSshError(outcome.error(), SshErrorCode::NotConnected))
        logFailure(command, outcome.error().userText);
    return static_cast<bool>(outcome);
}

void Client::disconnect() {
    ++disconnections_;
    std::shared_ptr<NMSSHSession> current;
    std::vector<std::weak_ptr<Question>> questions;
    {
        const std::lock_guard guard(mutex_);
        current = session_;
        questions.swap(questions_);
    }
    for (const auto& weak : questions) {
        if (const auto question = weak.lock())
            question->set(std::nullopt);
    }
    if (!current)
        return;
    if (current->isConnected())
        forgetAnswer();
    current->disconnect();
}

void Client::endLogin(std::uint64_t login) {
    // Under the lock nobody can begin another one.
    const std::lock_guard guard(mutex_);
    if (attempt_ || loginNumber_ != login || !session_ || !session_->isConnected())
        return;
    forgetAnswer();
    session_->disconnect();
}

std::shared_ptr<NMSSHSession> Client::session() const {
    const std::lock_guard guard(mutex_);
    return session_;
}

bool Client::shouldConnectToHostWithFingerprint(const QString& fingerprint, const QStringList& known) {
    Alert alert;
    if (known.isEmpty()) {
        alert.kind = Alert::Kind::Question;
        alert.message = QStringLiteral("The server '%1' is not known yet.").arg(hostName_);
        alert.informativeText =
            QStringLiteral("Its key is %1. Do you trust it? It will be remembered, and you are asked again "
                           "when it changes.")
                .arg(fingerprint);
        alert.buttons = {QStringLiteral("Trust"), QStringLiteral("Cancel")};
    } else {
        alert.kind = Alert::Kind::Warning;
        alert.message = QStringLiteral("The key of the server '%1' has changed.").arg(hostName_);
        alert.informativeText =
            QStringLiteral(
                "Old key:\n%1\nNew key:\n%2\n\nThe server has been given a new key, or somebody is "
                "listening in. Ask whoever looks after the server before you use the new key. It "
                "replaces the old one in the list of known hosts.")
                .arg(known.join(u'\n'), fingerprint);
        alert.buttons = {QStringLiteral("Use New Key"), QStringLiteral("Cancel")};
        alert.defaultButton = 1;
    }
    return ask(std::move(alert)).has_value();
}

std::optional<QString> Client::secret(const SecretQuestion& question) {
    const bool isPassword = question.kind == SecretQuestion::Kind::Password;
    Alert alert;
    alert.kind = Alert::Kind::Question;
    if (isPassword) {
        alert.message = passwordRequest(username_, hostName_);
        alert.informativeText = question.isAgain ? QStringLiteral("The password was wrong.") : QString();
    } else {
        alert.message =
            QStringLiteral("Enter the pass phrase of the private key for server: %1").arg(hostName_);
        alert.informativeText = question.keyPath;
        if (question.isAgain)
            alert.informativeText += QStringLiteral("\nThe pass phrase was wrong.");
    }
    alert.buttons = {QStringLiteral("OK"), QStringLiteral("Cancel")};
    alert.field = Alert::Field{isPassword ? QStringLiteral("Enter the password")
                                          : QStringLiteral("Enter the pass phrase"),
                               true,
                               {}};
    const auto isKept = std::make_shared<std::atomic<bool>>(false);
    if (hasPlaceFor(question)) {
        alert.field->option = QStringLiteral("Remember it, as plain text that only you can read");
        alert.field->optionChosen = [isKept](bool isChosen) { *isKept = isChosen; };
    }
    std::optional<QString> answer = ask(std::move(alert));
    const std::lock_guard guard(mutex_);
    keptSecret_.reset();
    if (answer && *isKept)
        keptSecret_ = KeptSecret{question.kind, *answer};
    return answer;
}

std::optional<QString> Client::keyboardInteractiveRequest(const QString& request, bool isEchoed) {
    Alert alert;
    alert.kind = Alert::Kind::Question;
    alert.message = passwordRequest(username_, hostName_);
    alert.informativeText = request;
    alert.buttons = {QStringLiteral("OK"), QStringLiteral("Cancel")};
    alert.field = Alert::Field{QStringLiteral("Enter the password"), !isEchoed, {}};
    ++questionsOfLogin_;
    std::optional<QString> answer = ask(std::move(alert));
    if (answer && proof_.keyboard)
        proof_.keyboard->setCachedPwd(answer);
    return answer;
}

std::optional<QString> Client::ask(Alert alert) {
    const auto question = std::make_shared<Question>();
    {
        const std::lock_guard guard(mutex_);
        if (disconnections_.load() != loginDisconnections_.load())
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
        alive->alerts_.present(alert, alive->window_, [question, text](int button) {
            question->set(button == 0 ? std::optional<QString>(*text) : std::nullopt);
        });
    });
    return question->wait();
}

void Client::forgetAnswer() {
    if (proof_.keyboard)
        proof_.keyboard->setCachedPwd(std::nullopt);
}

bool Client::hasPlaceFor(const SecretQuestion& question) const {
    if (question.kind == SecretQuestion::Kind::Password)
        return proof_.kind == Proof::Kind::Password;
    return proof_.kind == Proof::Kind::PublicKey && proof_.pvtKeyUrl &&
           filePath(*proof_.pvtKeyUrl) == question.keyPath;
}

void Client::keepSecret() {
    std::optional<KeptSecret> kept;
    {
        const std::lock_guard guard(mutex_);
        kept.swap(keptSecret_);
    }
    if (!kept)
        return;
    if (kept->kind == SecretQuestion::Kind::Password)
        proof_.password = kept->text;
    else
        proof_.passPhrase = kept->text;
    // Also when the client itself is not needed any more.
    MainThread::shared().post([host = host_, kept = *kept] { storeSecret(*host, kept); });
}

void Client::storeSecret(const RemoteHost& host, const KeptSecret& secret) {
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

void Client::didDisconnectWithError(const std::optional<Error>& error) {
    if (!error)
        return;
    forgetAnswer();
    if (!claimLoss(loginNumber_))
        return;
    const Alert alert =
        message(Alert::Kind::Error, QStringLiteral("Disconnected from remote server host!"),
                QStringLiteral("SSH session failure (Host: Optional(\"%1\"), Port: Optional(%2))")
                    .arg(hostName_, QString::number(port_)));
    MainThread::shared().post([self = weak_from_this(), alert] {
        if (const auto alive = self.lock())
            alive->alerts_.present(alert, alive->window_, [](int) {});
    });
}

bool Client::claimLoss(std::uint64_t login) {
    std::uint64_t told = lossTold_;
    while (told < login) {
        if (lossTold_.compare_exchange_weak(told, login))
            return true;
    }
    return false;
}

void Client::testConnection(std::function<void()> done) {
    isTesting_ = true;
    connectionTestCanceled_ = false;
    testQueue_
        .run([self = shared_from_this()] {
            Result<Connection> outcome = self->connect();
            self->disconnect();
            return outcome;
        })
        .then(std::weak_ptr(shared_from_this()), [self = shared_from_this(),
                                                  done = std::move(done)](const Result<Connection>& outcome) {
            self->isTesting_ = false;
            const bool wasCanceled = self->connectionTestCanceled_.exchange(false);
            const std::optional<Alert> alert = wasCanceled ? std::nullopt : self->outcomeOfTest(outcome);
            if (alert)
                self->alerts_.present(*alert, self->window_, [done](int) { done(); });
            else
                done();
        });
}

std::optional<Alert> Client::outcomeOfTest(const Result<Connection>& outcome) const {
    if (!outcome) {
        QString text = QStringLiteral("Please check the server configuration!");
        if (!outcome.error().userText.isEmpty())
            text += QStringLiteral(" Reason: ") + outcome.error().userText;
        return message(Alert::Kind::Error, QStringLiteral("Connection test failed!"), text);
    }
    if (outcome.value().isAuthorised)
        return message(
            Alert::Kind::Information, QStringLiteral("Connection success!"),
            outcome.value().homePathExists
                ? QStringLiteral("All good!")
                : QStringLiteral("Remote login path: '%1' does not exist on server!").arg(homePath_));
    if (wasLeftUnanswered_)
        return std::nullopt;
    return connectionFailureAlert(hostName_, port_, fault());
}

void Client::cancelConnectionTest() {
    if (!isTesting_)
        return;
    connectionTestCanceled_ = true;
    disconnect();
}

} // namespace korvane
