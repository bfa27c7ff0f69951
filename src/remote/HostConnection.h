#pragma once

#include "foundation/Mutex.h"
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
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class HostLogin;
class NMSSHSession;
class RemoteHost;

/// The connection to one host, shared by all its users: logs in once for all of them, notifies all of them
/// when it is established or lost, and ends with the last user.
///
/// Held by shared pointer. Created on the main thread.
class HostConnection : public std::enable_shared_from_this<HostConnection> {
public:
    /// One user of the connection.
    struct User {
        // Main thread.
        /// The parent window of questions and messages.
        WindowId window;
        /// Name of the file to report when the connection is lost; may be empty.
        QString fileName;
        /// Called on any thread when the connection is established or lost, or when only the user can start
        /// the next login. Set before the first login.
        std::function<void()> changed;

        // Any thread; changed by the connection.
        std::atomic<bool> isAttached{false};
        std::atomic<std::uint64_t> releases{0};
    };

    /// The existing connection for the same address, credentials and settings, or a new one. `alerts` must
    /// outlive it. Main thread.
    static std::shared_ptr<HostConnection> shared(const std::shared_ptr<RemoteHost>& host,
                                                  AlertPresenter& alerts);
    /// A new connection that is not shared. Main thread.
    static std::shared_ptr<HostConnection> separate(const std::shared_ptr<RemoteHost>& host,
                                                    AlertPresenter& alerts, SessionSettings settings);
    ~HostConnection();
    HostConnection(const HostConnection&) = delete;
    HostConnection& operator=(const HostConnection&) = delete;

    /// Attaches the user, and logs in if nobody has done so yet. Returns whether there is a connection; the
    /// error is that of a refused login. Blocks, at most while the user is attached. Any thread.
    Result<bool> logIn(const std::shared_ptr<User>& user, LoginAsked asked);
    /// Starts a login by the program, if a retry is due. Does not wait. Any thread.
    void tryAgain(const std::shared_ptr<User>& user);
    /// Detaches the user. With the last user everything under way ends, and an open question counts as not
    /// answered. Does not wait. Any thread.
    void release(User& user);
    /// As above, unless another login has been made since or is under way. Any thread.
    void releaseLogin(User& user, std::uint64_t login);

    // Any thread, non-blocking.

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
    /// True for exactly one caller per login, which then reports its loss to the user.
    bool claimLoss(std::uint64_t login);
    /// Whether the last login ended because the user left a question unanswered; it needs no alert.
    bool wasLeftUnanswered() const { return wasLeftUnanswered_; }
    /// Whether the last login was refused or left unanswered: only the user can start another one.
    bool wasRefused() const { return wasRefused_; }
    void setRefused(bool isRefused) { wasRefused_ = isRefused; }
    /// Why the server could not be reached the last time, for the user; may be empty.
    QString fault() const;
    /// Number of threads that wait for a login.
    int waitingForLogin() const;
    /// Called when the connection has ended; `error`: the cause, if there was one.
    void ended(const std::optional<Error>& error);

    /// Shows the alert, unless the same one is already shown for this host. Main thread.
    void tell(const Alert& alert, WindowId window);

private:
    using Clock = std::chrono::steady_clock;
    struct Attempt {
        /// The value of `ends_` when it began: a login requested after a later end needs a new attempt.
        std::uint64_t ends = 0;
        // Guarded by the mutex of the connection.
        std::optional<Result<bool>> outcome;
        /// A question came up while asking the user was not allowed.
        bool wasSilent = false;
        /// The user whose window is the parent of questions.
        std::weak_ptr<User> user;
    };

    HostConnection(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, SessionSettings settings);
    void makeLogin();
    void attach(const std::shared_ptr<User>& user) REQUIRES(mutex_);
    void begin(const std::shared_ptr<User>& user, LoginAsked asked) REQUIRES(mutex_);
    bool isTimeForProgram() const REQUIRES(mutex_);
    void detach(User& user) REQUIRES(mutex_);
    /// Blocks, on the thread of the attempt.
    Result<bool> attempt(std::uint64_t ends);
    void attemptEnded(const std::shared_ptr<Attempt>& attempt, const Result<bool>& outcome);
    void noteOutcome(const Error& error, bool isRefused);
    std::shared_ptr<NMSSHSession> sessionForConnecting();
    void tellChange();
    // Main thread.
    WindowId window() const;
    /// The files that are open by this connection.
    QStringList fileNames() const;

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

    mutable Mutex mutex_;
    Condition changed_;
    std::shared_ptr<NMSSHSession> session_ GUARDED_BY(mutex_);
    std::vector<std::shared_ptr<User>> users_ GUARDED_BY(mutex_);
    std::shared_ptr<Attempt> attempt_ GUARDED_BY(mutex_); // under way
    int waiting_ GUARDED_BY(mutex_) = 0;
    QString fault_ GUARDED_BY(mutex_);
    /// When the program may try again after it could not reach the server, and the length of the last pause.
    std::optional<Clock::time_point> retryAt_ GUARDED_BY(mutex_);
    std::chrono::seconds pause_ GUARDED_BY(mutex_){0};

    OperationQueue queue_;
};

} // namespace korvane
