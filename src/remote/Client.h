#pragma once

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
#include <mutex>
#include <optional>

namespace korvane {

class NMSSHSession;
class RemoteHost;

/// What one document, browser or connection test has of the connection with a host: logs in, runs commands
/// and hears of a loss. The connection is shared with others of the same host.
///
/// Held by shared pointer. Made on the main thread; what the host's object says then is what counts. The
/// calls that wait for the network block their caller, which is never the main thread. Any number of threads
/// may connect and run commands at once.
class Client : public std::enable_shared_from_this<Client> {
public:
    /// What `connect` has reached.
    struct Connection {
        bool isAuthorised = false;
        bool homePathExists = false;
    };
    using IsCancelled = std::function<bool()>;

    /// `alerts` shows questions and messages and outlives the client. Main thread.
    static std::shared_ptr<Client> create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts);
    /// With a connection that is shared with nobody.
    static std::shared_ptr<Client> create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts,
                                          SessionSettings settings);
    /// With that connection of the host.
    static std::shared_ptr<Client> create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts,
                                          std::shared_ptr<HostConnection> connection);
    virtual ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    const std::shared_ptr<RemoteHost>& host() const { return host_; }
    /// The window over which questions and messages stand. Main thread.
    void setWindow(WindowId window) { user_->window = window; }
    /// The file that the user loses with the connection. Main thread.
    void setFileName(const QString& name) { user_->fileName = name; }
    /// Called on any thread when the connection has come or gone, or will not be made any more without the
    /// user. Before the first login.
    void setOnChange(std::function<void()> report) { user_->changed = std::move(report); }

    /// Connects and logs in for the user; costs nothing when that has been done already. Neither authorised
    /// nor failed means that there is no connection, or no answer from the user. The error is that of a
    /// refused login. While a login is being made, this one waits and takes over what comes of it. Blocks.
    virtual Result<Connection> connect();
    /// As above, without the question for the home path, which a server may be slow to answer: it does not
    /// exist then.
    virtual Result<Connection> logIn(LoginAsked asked);
    /// Logs in for the program in the background, if it is time to do so.
    virtual void tryAgain();
    virtual bool isConnected() const;
    /// What the command writes to its standard output; bytes that are no UTF-8 are replaced. Empty when it is
    /// more than 64 KiB, when there is no connection, when the command fails, which ends the connection, and
    /// when it is cancelled, which does not. A status other than 0 is no failure. Blocks.
    QString execute(const QString& command, const IsCancelled& isCancelled = {});
    /// As above, but nothing where there is no answer: whether there is a connection afterwards does not say
    /// so, as another thread may have made it anew.
    std::optional<QByteArray> answer(const QString& command, CommandUse use, const IsCancelled& isCancelled);
    /// Hands what the command writes to the sink while it comes, however much it is. False where the command
    /// has not ended and the sink wants more.
    virtual bool read(const QString& command, CommandUse use, const OutputSink& sink,
                      const IsCancelled& isCancelled);
    /// Ends everything that is under way for this one, and the connection where no other uses it; an open
    /// question counts as not answered then. Does not wait. Any thread.
    virtual void disconnect();
    /// As above for this login alone: neither a later one nor one that somebody is making is touched.
    virtual void endLogin(std::uint64_t login);

    /// As SshConnection::stopsOnlyShells, of the last login. Any thread.
    bool stopsOnlyShells() const { return connection_->stopsOnlyShells(); }
    /// Of the last login, begun or complete; 0 before the first. Any thread.
    std::uint64_t loginNumber() const { return connection_->loginNumber(); }
    /// True for the first caller with this login, who then shows the alert that it is lost. Any thread.
    bool claimLoss(std::uint64_t login) { return connection_->claimLoss(login); }
    /// Whether the last login ended because the user left a question unanswered: he need not be told. Any
    /// thread.
    bool wasLeftUnanswered() const { return connection_->wasLeftUnanswered(); }
    /// Whether the last login was refused, or left unanswered by the user: another one is for him to begin.
    /// Any thread.
    bool wasRefused() const { return connection_->wasRefused(); }
    /// Why the server was not reached the last time, for the user; may be empty. Any thread.
    QString fault() const { return connection_->fault(); }
    /// How many threads wait for a login, for whomever. Any thread.
    int waitingForLogin() const { return connection_->waitingForLogin(); }
    /// Shows the alert, unless the same one of this host stands already. Main thread.
    void tell(const Alert& alert) { connection_->tell(alert, user_->window); }

    /// The session that commands and files share; null without a login of this one. Any thread.
    std::shared_ptr<NMSSHSession> session() const;

    /// Tries to connect in the background, tells the outcome in an alert and disconnects. `done` is called on
    /// the main thread after the alert has been answered, or at once where there is none. Main thread.
    void testConnection(std::function<void()> done);
    /// The test ends without an alert. Main thread.
    void cancelConnectionTest();

protected:
    /// With a connection that is shared with nobody.
    Client(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts);
    Client(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts,
           std::shared_ptr<HostConnection> connection);
    HostConnection& connection() { return *connection_; }

private:
    /// Asked for once for each login.
    bool homePathExists();
    /// What the user is told; nothing when he has left a question unanswered.
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

    std::mutex mutex_;
    // Guarded by mutex_.
    /// The login for which the home path was asked for, and the answer.
    std::uint64_t homePathLogin_ = 0;
    bool homePathExists_ = false;
};

} // namespace korvane
