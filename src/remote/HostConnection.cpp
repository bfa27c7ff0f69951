#include "remote/HostConnection.h"

#include "foundation/work/MainThread.h"
#include "remote/ConnectionAlerts.h"
#include "remote/HostLogin.h"
#include "remote/UserSessionSettings.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/ssh/NMSSHSession.h"
#include "remote/ssh/RemoteLog.h"
#include "remote/ssh/SshError.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

using namespace std::chrono_literals;

constexpr auto firstPause = 1s;
constexpr auto longestPause = 60s;
void logFault(const QString& host, std::uint16_t port, const Error& error) {
    qCWarning(logRemote).noquote()
        << QStringLiteral("No login on %1:%2: %3").arg(host).arg(port).arg(error.userText);
}

/// Main thread.
std::vector<std::weak_ptr<HostConnection>>& sharedConnections() {
    static std::vector<std::weak_ptr<HostConnection>> connections;
    return connections;
}

} // namespace

std::shared_ptr<HostConnection> HostConnection::shared(const std::shared_ptr<RemoteHost>& host,
                                                       AlertPresenter& alerts) {
    const SessionSettings settings = userSessionSettings(*host);
    auto& connections = sharedConnections();
    std::erase_if(connections, [](const auto& weak) { return weak.expired(); });
    for (const auto& weak : connections) {
        auto connection = weak.lock();
        if (connection && &connection->alerts_ == &alerts && connection->settings_ == settings &&
            connection->login_->isSameFor(*host))
            return connection;
    }
    auto made = separate(host, alerts, settings);
    connections.push_back(made);
    return made;
}

std::shared_ptr<HostConnection> HostConnection::separate(const std::shared_ptr<RemoteHost>& host,
                                                         AlertPresenter& alerts, SessionSettings settings) {
    std::shared_ptr<HostConnection> made(new HostConnection(host, alerts, std::move(settings)));
    made->makeLogin();
    return made;
}

HostConnection::HostConnection(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts,
                               SessionSettings settings)
    : host_(std::move(host)), alerts_(alerts), settings_(std::move(settings)), hostName_(host_->host()),
      port_(host_->port()), username_(host_->username()), queue_("SSH login", 1) {}

void HostConnection::makeLogin() {
    login_ = std::make_shared<HostLogin>(
        host_, alerts_,
        [weak = weak_from_this()] {
            const auto alive = weak.lock();
            return alive ? alive->window() : WindowId();
        },
        [weak = weak_from_this()](const std::optional<Error>& error) {
            if (const auto alive = weak.lock())
                alive->ended(error);
        });
}

HostConnection::~HostConnection() {
    login_->cancel();
    if (session_)
        session_->disconnect();
}

// ---- Logging in

Result<bool> HostConnection::logIn(const std::shared_ptr<User>& user, LoginAsked asked) {
    MutexLock guard(mutex_);
    attach(user);
    const std::uint64_t releases = user->releases;
    for (;;) {
        if (!attempt_ && session_ && session_->isAuthorized())
            return true;
        if (!attempt_) {
            if (asked == LoginAsked::ByProgram && !isTimeForProgram())
                return false;
            begin(user, asked);
        } else if (asked == LoginAsked::ByUser) {
            attempt_->user = user;
            login_->letAsk();
        }
        const auto attempt = attempt_;
        ++waiting_;
        while (!attempt->outcome && user->releases == releases)
            changed_.wait(guard);
        --waiting_;
        if (user->releases != releases)
            return false;
        const bool isForOthers = attempt->ends != ends_;
        const bool isToBeAsked = asked == LoginAsked::ByUser && attempt->wasSilent;
        const bool isDone = *attempt->outcome && attempt->outcome->value();
        if (isDone || (!isForOthers && !isToBeAsked))
            return *attempt->outcome;
    }
}

void HostConnection::tryAgain(const std::shared_ptr<User>& user) {
    const MutexLock guard(mutex_);
    if (user->isAttached && !attempt_ && !(session_ && session_->isAuthorized()) && isTimeForProgram())
        begin(user, LoginAsked::ByProgram);
}

bool HostConnection::isTimeForProgram() const {
    return !wasRefused_ && (!retryAt_ || Clock::now() >= *retryAt_);
}

void HostConnection::attach(const std::shared_ptr<User>& user) {
    if (user->isAttached)
        return;
    user->isAttached = true;
    users_.push_back(user);
}

void HostConnection::begin(const std::shared_ptr<User>& user, LoginAsked asked) {
    attempt_ = std::make_shared<Attempt>();
    attempt_->ends = ends_;
    attempt_->user = user;
    wasLeftUnanswered_ = false;
    wasRefused_ = false;
    fault_.clear();
    login_->begin(asked == LoginAsked::ByUser);
    queue_.run([self = shared_from_this(), attempt = attempt_] {
        self->attemptEnded(attempt, self->attempt(attempt->ends));
    });
}

void HostConnection::attemptEnded(const std::shared_ptr<Attempt>& attempt, const Result<bool>& outcome) {
    {
        const MutexLock guard(mutex_);
        attempt->outcome = outcome;
        attempt->wasSilent = login_->wasSilent();
        attempt_ = nullptr;
        if (outcome && outcome.value()) {
            pause_ = 0s;
            retryAt_.reset();
        } else if (attempt->ends == ends_) {
            pause_ = std::clamp<std::chrono::seconds>(pause_ * 2, firstPause, longestPause);
            retryAt_ = Clock::now() + pause_;
        }
        changed_.notifyAll();
    }
    tellChange();
}

Result<bool> HostConnection::attempt(std::uint64_t ends) {
    const auto isWanted = [this, ends] { return ends_ == ends; };
    const auto session = sessionForConnecting();
    if (!session->connect(isWanted)) {
        const Error error = session->lastError();
        const bool isChanged = isSshError(error, SshErrorCode::HostKeyChanged);
        if (!isWanted())
            return false;
        noteOutcome(error, isChanged);
        if (wasLeftUnanswered_)
            return false;
        logFault(hostName_, port_, error);
        // The caller words network faults, but a changed host key must always be reported.
        if (isChanged)
            return withLoginAdvice(error, hostName_, port_, username_);
        const MutexLock guard(mutex_);
        fault_ = error.userText;
        return false;
    }
    ++loginNumber_;
    const HostLogin::Outcome login = login_->prove(*session);
    if (login == HostLogin::Outcome::Done && isWanted())
        return session->isAuthorized();
    const Error error = session->lastError();
    session->disconnect();
    if (!isWanted())
        return false;
    noteOutcome(error, login == HostLogin::Outcome::Unproven || isSshError(error, SshErrorCode::Denied));
    if (login == HostLogin::Outcome::Unproven || wasLeftUnanswered_)
        return false;
    logFault(hostName_, port_, error);
    return withLoginAdvice(error, hostName_, port_, username_);
}

void HostConnection::noteOutcome(const Error& error, bool isRefused) {
    wasLeftUnanswered_ = isSshError(error, SshErrorCode::NotAnswered);
    wasRefused_ = isRefused || wasLeftUnanswered_;
}

std::shared_ptr<NMSSHSession> HostConnection::sessionForConnecting() {
    const MutexLock guard(mutex_);
    if (!session_) {
        session_ = std::make_shared<NMSSHSession>(hostName_, port_, username_, settings_);
        session_->setDelegate(login_);
    }
    return session_;
}

void HostConnection::loginBegins() {
    ++loginNumber_;
    tellChange();
}

void HostConnection::tellChange() {
    const auto users = [this] {
        const MutexLock guard(mutex_);
        return users_;
    }();
    for (const auto& user : users) {
        if (user->changed)
            user->changed();
    }
}

// ---- The end

void HostConnection::release(User& user) {
    const MutexLock guard(mutex_);
    detach(user);
}

void HostConnection::releaseLogin(User& user, std::uint64_t login) {
    const MutexLock guard(mutex_);
    if (!attempt_ && loginNumber_ == login)
        detach(user);
}

void HostConnection::detach(User& user) {
    ++user.releases;
    user.isAttached = false;
    std::erase_if(users_, [&user](const auto& other) { return other.get() == &user; });
    changed_.notifyAll();
    if (!users_.empty())
        return;
    ++ends_;
    login_->cancel();
    if (!session_)
        return;
    if (session_->isConnected())
        login_->forgetAnswer();
    session_->disconnect();
}

void HostConnection::ended(const std::optional<Error>& error) {
    if (error) {
        login_->forgetAnswer();
        if (claimLoss(loginNumber_))
            MainThread::shared().post([self = weak_from_this(), error = *error] {
                if (const auto alive = self.lock())
                    alive->tell(connectionLossAlert(alive->hostName_, alive->port_, error.userText,
                                                    alive->fileNames()),
                                alive->window());
            });
    }
    tellChange();
}

bool HostConnection::claimLoss(std::uint64_t login) {
    std::uint64_t told = lossTold_;
    while (told < login) {
        if (lossTold_.compare_exchange_weak(told, login))
            return true;
    }
    return false;
}

// ---- State

bool HostConnection::isConnected() const {
    const auto current = session();
    return current && current->isAuthorized();
}

bool HostConnection::stopsOnlyShells() const {
    const auto current = session();
    return current && current->stopsOnlyShells();
}

std::shared_ptr<NMSSHSession> HostConnection::session() const {
    const MutexLock guard(mutex_);
    return session_;
}

QString HostConnection::fault() const {
    const MutexLock guard(mutex_);
    return fault_;
}

int HostConnection::waitingForLogin() const {
    const MutexLock guard(mutex_);
    return waiting_;
}

// ---- Alerts

void HostConnection::tell(const Alert& alert, WindowId window) {
    const QString text = alert.message + u'\n' + alert.informativeText;
    if (standingAlerts_.contains(text))
        return;
    standingAlerts_.append(text);
    alerts_.present(alert, window, [weak = weak_from_this(), text](int) {
        if (const auto alive = weak.lock())
            alive->standingAlerts_.removeOne(text);
    });
}

WindowId HostConnection::window() const {
    const MutexLock guard(mutex_);
    const auto asking = attempt_ ? attempt_->user.lock() : nullptr;
    if (asking && asking->window.isValid())
        return asking->window;
    const auto other = std::ranges::find_if(users_, [](const auto& user) { return user->window.isValid(); });
    return other == users_.end() ? WindowId() : (*other)->window;
}

QStringList HostConnection::fileNames() const {
    QStringList names;
    const MutexLock guard(mutex_);
    for (const auto& user : users_) {
        if (!user->fileName.isEmpty())
            names.append(user->fileName);
    }
    return names;
}

} // namespace korvane
