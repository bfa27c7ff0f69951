#pragma once

#include "foundation/Alerts.h"
#include "foundation/Result.h"

#include <QString>

#include <functional>
#include <memory>

namespace korvane {

class NMSSHSession;
class RemoteHost;

/// One login on one host, for one document, browser or connection test: connects, runs commands, asks the
/// user what the server wants to know, and tells of a lost connection.
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
    static std::shared_ptr<Client> create(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts);
    virtual ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    const std::shared_ptr<RemoteHost>& host() const { return host_; }
    /// The window, or any object of it, over which questions and messages stand. Main thread.
    void setWindow(const void* window);

    /// Connects and logs in; costs nothing when that has been done already. Neither authorised nor failed
    /// means that there is no connection, or no answer from the user. The error is that of a refused login.
    /// Blocks.
    virtual Result<Connection> connect();
    virtual bool isConnected() const;
    /// What the command writes to its standard output, as it comes; bytes that are no UTF-8 are replaced.
    /// Empty when there is no connection, when the command fails, which ends the connection, and when it is
    /// cancelled, which does not. A status other than 0 is no failure. Blocks.
    virtual QString execute(const QString& command, const IsCancelled& isCancelled = {});
    /// Ends the connection, and with it everything under way; an open question counts as not answered. Does
    /// not wait. Any thread.
    virtual void disconnect();

    /// The session that commands and files share; null before the first `connect`. Any thread.
    std::shared_ptr<NMSSHSession> session() const;

    /// Tries to connect in the background, tells the outcome in an alert and disconnects. `done` is called on
    /// the main thread after the alert has been answered, or at once where there is none. Main thread.
    void testConnection(std::function<void()> done);
    /// The test ends without an alert. Main thread.
    void cancelConnectionTest();

protected:
    Client(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts);

private:
    const std::shared_ptr<RemoteHost> host_;
    AlertPresenter& alerts_;
};

} // namespace korvane
