#pragma once

#include "foundation/Mutex.h"
#include "foundation/Result.h"
#include "foundation/notices/Alerts.h"
#include "foundation/notices/WindowId.h"
#include "foundation/work/OperationQueue.h"
#include "remote/HostConnection.h"
#include "remote/ssh/CommandUse.h"
#include "remote/ssh/OutputSink.h"
#include "remote/ssh/SessionSettings.h"

#include <QByteArray>
#include <QString>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace korvane {

class NMSSHSession;
class RemoteHost;

/// The access of one document, browser or connection test to its host: logs in, runs commands and reports a
/// loss. Clients of the same host share one connection.
///
/// Held by shared pointer. Created on the main thread; later changes of the host object have no effect. The
/// calls that wait for the network block their caller, which is never the main thread. Any number of threads
/// may connect and run commands at once.
class Client : public std::enable_shared_from_this<Client> {
public:
    /// The outcome of `connect`.
    struct Connection {
        bool isAuthorised = false;
        bool homePathExists = false;
    };
    using IsCancelled = std::function<bool()>;

    /// `alerts` shows questions and messages and outlives the client. Main thread.
    static std::shared_ptr<Client> create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts);
    /// With a connection of its own.
    static std::shared_ptr<Client> create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts,
                                          SessionSettings settings);
    /// With the given connection to the host.
    static std::shared_ptr<Client> create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts,
                                          std::shared_ptr<HostConnection> connection);
    virtual ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    const std::shared_ptr<RemoteHost>& host() const { return host_; }
    /// The parent window of questions and messages. Main thread.
    void setWindow(WindowId window) { user_->window = window; }
    /// Name of the document's file, for the message that the connection is lost. Main thread.
    void setFileName(const QString& name) { user_->fileName = name; }
    /// Called on any thread when the connection is established or lost, or when only the user can start the
    /// next login. Set before the first login.
    void setOnChange(std::function<void()> report) { user_->changed = std::move(report); }

    /// Connects and logs in on behalf of the user; returns at once if that has been done already. Neither
    /// authorised nor an error means that there is no connection, or that the user did not answer. The error
    /// is that of a refused login. A call during a login waits for that login and returns its outcome.
    /// Blocks.
    virtual Result<Connection> connect();
    /// As above, without checking the home path, which may be slow: `homePathExists` is false.
    virtual Result<Connection> logIn(LoginAsked asked);
    /// Logs in for the program in the background, if a retry is due.
    virtual void tryAgain();
    virtual bool isConnected() const;
    /// The standard output of the command; bytes that are not valid UTF-8 are replaced. Empty if it exceeds
    /// 64 KiB, if there is no connection, if the command fails (which ends the connection), or if it is
    /// cancelled (which does not). A status other than 0 is not a failure. Blocks.
    QString execute(const QString& command, const IsCancelled& isCancelled = {});
    /// As above, but nullopt if there was no answer. `isConnected` afterwards does not tell, as another
    /// thread may have connected again.
    std::optional<QByteArray> answer(const QString& command, CommandUse use, const IsCancelled& isCancelled);
    /// Passes the standard output of the command to the sink as it arrives, without a limit. False if the
    /// command has not ended although the sink wants more.
    virtual bool read(const QString& command, CommandUse use, const OutputSink& sink,
                      const IsCancelled& isCancelled);
    /// Ends everything under way for this client, and the connection if no other client uses it. An open
    /// question then counts as not answered. Does not wait. Any thread.
    virtual void disconnect();
    /// As above for this login only: neither a later login nor one under way is affected.
    virtual void endLogin(std::uint64_t login);

    /// As SshConnection::stopsOnlyShells, of the last login. Any thread.
    bool stopsOnlyShells() const { return connection_->stopsOnlyShells(); }
    /// Of the last login, begun or complete; 0 before the first. Any thread.
    std::uint64_t loginNumber() const { return connection_->loginNumber(); }
    /// True for exactly one caller per login, which then reports its loss to the user. Any thread.
    bool claimLoss(std::uint64_t login) { return connection_->claimLoss(login); }
    /// Whether the last login ended because the user left a question unanswered; it needs no alert. Any
    /// thread.
    bool wasLeftUnanswered() const { return connection_->wasLeftUnanswered(); }
    /// Whether the last login was refused or left unanswered: only the user can start another one. Any
    /// thread.
    bool wasRefused() const { return connection_->wasRefused(); }
    /// Why the server could not be reached the last time, for the user; may be empty. Any thread.
    QString fault() const { return connection_->fault(); }
    /// Number of threads that wait for a login, of all users of the connection. Any thread.
    int waitingForLogin() const { return connection_->waitingForLogin(); }
    /// Shows the alert, unless the same one is already shown for this host. Main thread.
    void tell(const Alert& alert) { connection_->tell(alert, user_->window); }

    /// The session that commands and files share; null before this client has logged in. Any thread.
    std::shared_ptr<NMSSHSession> session() const;

    /// Tries to connect in the background, shows the outcome in an alert and disconnects. `done` is called on
    /// the main thread after the alert has been answered, or at once if there is none. Main thread.
    void testConnection(std::function<void()> done);
    /// Ends the test without an alert. Main thread.
    void cancelConnectionTest();

protected:
    /// With a connection of its own.
    Client(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts);
    Client(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts,
           std::shared_ptr<HostConnection> connection);
    HostConnection& connection() { return *connection_; }

private:
    /// Requested once for each login.
    bool homePathExists();
    /// The alert for the user; nullopt if the user left a question unanswered.
    std::optional<Alert> outcomeOfTest(const Result<Connection>& outcome) const;

    const std::shared_ptr<RemoteHost> host_;
    AlertPresenter& alerts_;
    const std::shared_ptr<HostConnection> connection_;
    const std::shared_ptr<HostConnection::User> user_ = std::make_shared<HostConnection::User>();
    /// Copy: the host itself belongs to the main thread.
    const QString homePath_;
    bool isTesting_ = false; // main thread
    OperationQueue testQueue_{"SSH connection test", 1};
    std::atomic<bool> connectionTestCanceled_{false};

    Mutex mutex_;
    /// The login in which the home path was checked, and the result.
    std::uint64_t homePathLogin_ GUARDED_BY(mutex_) = 0;
    bool homePathExists_ GUARDED_BY(mutex_) = false;
};

} // namespace korvane
