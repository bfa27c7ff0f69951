#pragma once

#include "foundation/Result.h"
#include "foundation/notices/Alerts.h"
#include "foundation/notices/WindowId.h"
#include "foundation/work/OperationQueue.h"
#include "remote/LoginAsked.h"
#include "remote/ssh/SessionSettings.h"

#include <QString>
#include <QStringList>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace korvane {

class HostLogin;
class NMSSHSession;
class RemoteHost;

/// One connection with one host for all who use it: makes it once for all of them, tells all of them when it
/// has come or gone, and ends it with the last one.
///
/// Held by shared pointer. Made on the main thread.
class HostConnection : public std::enable_shared_from_this<HostConnection> {
public:
    /// One who uses it.
    struct User {
        // Main thread.
        /// The window over which questions and messages stand.
        WindowId window;
        /// Of the file that is lost to the user with the connection; empty for none.
        QString fileName;
        /// Called on any thread when the connection has come or gone, or will not be made any more without
        /// the user. Set before the first login.
        std::function<void()> changed;

        // Any thread; changed by the connection.
        std::atomic<bool> isAttached{false};
        std::atomic<std::uint64_t> releases{0};
    };

    /// The one that others use already for the same address with the same credentials and settings, or a new
    /// one. `alerts` outlives it. Main thread.
    static std::shared_ptr<HostConnection> shared(const std::shared_ptr<RemoteHost>& host,
                                                  AlertPresenter& alerts);
    /// A new one, which is not shared. Main thread.
    static std::shared_ptr<HostConnection> separate(const std::shared_ptr<RemoteHost>& host,
                                                    AlertPresenter& alerts, SessionSettings settings);
    ~HostConnection();
    HostConnection(const HostConnection&) = delete;
    HostConnection& operator=(const HostConnection&) = delete;

    /// Attaches the user, and logs in where nobody has done so yet. Whether there is a connection afterwards;
    /// the error is that of a refused login. Blocks, but not longer than the user is attached. Any thread.
    Result<bool> logIn(const std::shared_ptr<User>& user, LoginAsked asked);
    /// Begins a login by the program, if it is time for one. Does not wait. Any thread.
    void tryAgain(const std::shared_ptr<User>& user);
    /// The user needs it no longer. When he was the last one everything under way ends, and an open question
    /// counts as not answered. Does not wait. Any thread.
    void release(User& user);
    /// As above, unless another login than this one was made since, or is being made. Any thread.
    void releaseLogin(User& user, std::uint64_t login);

    // Any thread, no wait.

    const QString& hostName() const { return hostName_; }
    std::uint16_t port() const { return port_; }
    bool isConnected() const;
    /// As SshConnection::stopsOnlyShells.
    bool stopsOnlyShells() const;
    /// The session that commands and files share; null before the first login.
    std::shared_ptr<NMSSHSession> session() const;
    /// Of the last login, begun or complete; 0 before the first.
    std::uint64_t loginNumber() const { return loginNumber_; }
    void loginBegins();
    /// True for the first caller with this login, who then shows the alert that it is lost.
    bool claimLoss(std::uint64_t login);
    /// Whether the last login ended because the user left a question unanswered: he need not be told.
    bool wasLeftUnanswered() const { return wasLeftUnanswered_; }
    /// Whether the last login was refused, or left unanswered by the user: another one is for him to begin.
    bool wasRefused() const { return wasRefused_; }
    void setRefused(bool isRefused) { wasRefused_ = isRefused; }
    /// Why the server was not reached the last time, for the user; may be empty.
    QString fault() const;
    /// How many threads wait for a login.
    int waitingForLogin() const;
    /// The connection has ended; with the error that ended it, if one did.
    void ended(const std::optional<Error>& error);

    /// Shows the alert, unless the same one of this host stands already. Main thread.
    void tell(const Alert& alert, WindowId window);

private:
    using Clock = std::chrono::steady_clock;
    struct Attempt {
        /// The value of `ends_` when it began: a login asked for after a later end needs a new attempt.
        std::uint64_t ends = 0;
        // Guarded by the mutex of the connection.
        std::optional<Result<bool>> outcome;
        /// There was a question that could not be asked.
        bool wasSilent = false;
        /// Over whose window questions stand.
        std::weak_ptr<User> user;
    };

    HostConnection(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, SessionSettings settings);
    void makeLogin();
    /// With the lock held.
    void attach(const std::shared_ptr<User>& user);
    void begin(const std::shared_ptr<User>& user, LoginAsked asked);
    bool isTimeForProgram() const;
    void detach(User& user);
    /// Blocks, on the thread of the attempt.
    Result<bool> attempt(std::uint64_t ends);
    void attemptEnded(const std::shared_ptr<Attempt>& attempt, const Result<bool>& outcome);
    void noteOutcome(const Error& error, bool isRefused);
    std::shared_ptr<NMSSHSession> sessionForConnecting();
    void tellChange();
    void logFault(const Error& error) const;
    /// The error of the session, with what the user can do about it.
    Error refusal(const Error& error) const;
    // Main thread.
    WindowId window() const;
    Alert lossAlert(const Error& error) const;

    const std::shared_ptr<RemoteHost> host_;
    AlertPresenter& alerts_;
    const SessionSettings settings_;
    /// Copies: the host itself belongs to the main thread.
    const QString hostName_;
    const std::uint16_t port_;
    const QString username_;
    std::shared_ptr<HostLogin> login_; // never changed
    QStringList standingAlerts_;       // main thread

    std::atomic<std::uint64_t> ends_{0}; // changed with the lock held
    std::atomic<bool> wasLeftUnanswered_{false};
    std::atomic<bool> wasRefused_{false};
    std::atomic<std::uint64_t> loginNumber_{0};
    /// The last login whose loss has been shown in an alert.
    std::atomic<std::uint64_t> lossTold_{0};

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    // Guarded by mutex_.
    std::shared_ptr<NMSSHSession> session_;
    std::vector<std::shared_ptr<User>> users_;
    std::shared_ptr<Attempt> attempt_; // under way
    int waiting_ = 0;
    QString fault_;
    /// After a server was not reached: when the program may try again, and how long it has waited.
    std::optional<Clock::time_point> retryAt_;
    std::chrono::seconds pause_{0};

    OperationQueue queue_;
};

} // namespace korvane
