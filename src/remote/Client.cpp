#include "remote/Client.h"

#include "remote/ConnectionAlerts.h"
#include "remote/UserSessionSettings.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/ssh/NMSSHSession.h"
#include "remote/ssh/RemoteLog.h"
#include "remote/ssh/SshError.h"

#include <QCoreApplication>

namespace korvane {
namespace {

struct ClientTexts {
    Q_DECLARE_TR_FUNCTIONS(Client)
};

/// Maximum size of an answer, in bytes: a number or a name is shorter.
constexpr qsizetype longestAnswer = 65'536;

void logFailure(const QString& command, const QString& reason) {
    qCWarning(logRemote).noquote() << QStringLiteral("\n----------Got error: ") + reason +
                                          QStringLiteral(" for cmd: ") + command;
    qCWarning(logRemote).noquote() << QStringLiteral("Reason: ") + reason + QStringLiteral("\n----------");
}

Alert message(Alert::Kind kind, const QString& text, const QString& informativeText) {
    return {kind, text, informativeText, {ClientTexts::tr("OK")}};
}

} // namespace

std::shared_ptr<Client> Client::create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts) {
    return create(host, alerts, HostConnection::shared(host, alerts));
}

std::shared_ptr<Client> Client::create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts,
                                       SessionSettings settings) {
    return create(host, alerts, HostConnection::separate(host, alerts, std::move(settings)));
}

std::shared_ptr<Client> Client::create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts,
                                       std::shared_ptr<HostConnection> connection) {
    return std::shared_ptr<Client>(new Client(host, alerts, std::move(connection)));
}

Client::Client(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts)
    : Client(host, alerts, HostConnection::separate(host, alerts, userSessionSettings(*host))) {}

Client::Client(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts,
               std::shared_ptr<HostConnection> connection)
    : host_(std::move(host)), alerts_(alerts), connection_(std::move(connection)),
      homePath_(host_->homePath()) {}

Client::~Client() {
    connection_->release(*user_);
}

// ---- The login

Result<Client::Connection> Client::connect() {
    Result<Connection> connection = logIn(LoginAsked::ByUser);
    if (!connection || !connection.value().isAuthorised)
        return connection;
    const bool isThere = homePathExists();
    return Connection{isConnected(), isThere};
}

Result<Client::Connection> Client::logIn(LoginAsked asked) {
    const Result<bool> isAuthorised = connection_->logIn(user_, asked);
    if (!isAuthorised)
        return isAuthorised.error();
    return Connection{isAuthorised.value(), false};
}

bool Client::homePathExists() {
    const std::uint64_t login = loginNumber();
    {
        const MutexLock guard(mutex_);
        if (homePathLogin_ == login)
            return homePathExists_;
    }
    const auto current = session();
    const bool exists = current && current->directoryExistsAtPath(homePath_.toUtf8());
    const MutexLock guard(mutex_);
    homePathLogin_ = login;
    return homePathExists_ = exists;
}

void Client::tryAgain() {
    connection_->tryAgain(user_);
}

bool Client::isConnected() const {
    return user_->isAttached && connection_->isConnected();
}

void Client::disconnect() {
    connection_->release(*user_);
}

void Client::endLogin(std::uint64_t login) {
    connection_->releaseLogin(*user_, login);
}

std::shared_ptr<NMSSHSession> Client::session() const {
    return user_->isAttached ? connection_->session() : nullptr;
}

// ---- Commands

QString Client::execute(const QString& command, const IsCancelled& isCancelled) {
    return QString::fromUtf8(answer(command, CommandUse::Rows, isCancelled).value_or(QByteArray()));
}

std::optional<QByteArray> Client::answer(const QString& command, CommandUse use,
                                         const IsCancelled& isCancelled) {
    QByteArray output;
    const auto take = [&output](QByteArrayView bytes) {
        output.append(bytes);
        return output.size() <= longestAnswer;
    };
    if (!read(command, use, take, isCancelled))
        return std::nullopt;
    if (output.size() <= longestAnswer)
        return output;
    logFailure(command, QStringLiteral("The answer has no end."));
    return std::nullopt;
}

bool Client::read(const QString& command, CommandUse use, const OutputSink& sink,
                  const IsCancelled& isCancelled) {
    const std::uint64_t releases = user_->releases;
    const auto current = session();
    if (!current || !current->isConnected())
        return false;
    // Other users of the connection may keep it open.
    const auto isUnwanted = [user = user_, releases, isCancelled] {
        return user->releases != releases || (isCancelled && isCancelled());
    };
    const Status outcome = current->execute(command.toUtf8(), use, sink, isUnwanted);
    if (!outcome && !isSshError(outcome.error(), SshErrorCode::Cancelled) &&
        !isSshError(outcome.error(), SshErrorCode::NotConnected))
        logFailure(command, outcome.error().userText);
    return static_cast<bool>(outcome);
}

// ---- The connection test

void Client::testConnection(std::function<void()> done) {
    isTesting_ = true;
    connectionTestCanceled_ = false;
    testQueue_
        .run([self = shared_from_this(), releases = user_->releases.load()] {
            Result<Connection> outcome = self->connectionTestCanceled_ ? Connection{} : self->connect();
            if (self->user_->releases != releases)
                self->connectionTestCanceled_ = true;
            self->disconnect();
            return outcome;
        })
        .then(std::weak_ptr(shared_from_this()), [self = shared_from_this(),
                                                  done = std::move(done)](const Result<Connection>& outcome) {
            self->isTesting_ = false;
            const bool wasCanceled = self->connectionTestCanceled_.exchange(false);
            const std::optional<Alert> alert = wasCanceled ? std::nullopt : self->outcomeOfTest(outcome);
            if (alert)
                self->alerts_.present(*alert, self->user_->window, [done](int) { done(); });
            else
                done();
        });
}

std::optional<Alert> Client::outcomeOfTest(const Result<Connection>& outcome) const {
    if (!outcome) {
        QString text = ClientTexts::tr("Please check the server configuration!");
        if (!outcome.error().userText.isEmpty())
            text += ClientTexts::tr(" Reason: ") + outcome.error().userText;
        return message(Alert::Kind::Error, ClientTexts::tr("Connection test failed!"), text);
    }
    if (outcome.value().isAuthorised)
        return message(
            Alert::Kind::Information, ClientTexts::tr("Connection success!"),
            outcome.value().homePathExists
                ? ClientTexts::tr("All good!")
                : ClientTexts::tr("Remote login path: '%1' does not exist on server!").arg(homePath_));
    if (wasLeftUnanswered())
        return std::nullopt;
    return connectionFailureAlert(connection_->hostName(), connection_->port(), fault());
}

void Client::cancelConnectionTest() {
    if (!isTesting_)
        return;
    connectionTestCanceled_ = true;
    disconnect();
}

} // namespace korvane
