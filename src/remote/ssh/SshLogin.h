#pragma once

#include "foundation/Result.h"
#include "remote/ssh/ServerSocket.h"
#include "remote/ssh/SessionSettings.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <libssh/libssh.h>
#include <optional>

namespace korvane {

class NMSSHSessionDelegate;

/// Where a login goes to, as the user has entered it.
struct LoginTarget {
    QString host;
    std::uint16_t port = 22;
    QString username;
};

/// The steps from nothing to a login on one session, which share one time limit. Lives on the thread that
/// owns the session, and blocks it while it waits for the server.
class SshLogin {
public:
    /// The answer to the server's question; nothing when there is none.
    using Answer = std::function<std::optional<QString>(const QString& request, bool isEchoed)>;

    /// Waits for the server, at most until the deadline; an error ends the login.
    using Await = std::function<Status(ServerSocket::Deadline deadline)>;

    /// All outlive the login. The session does not block.
    SshLogin(ssh_session session, ServerSocket& socket, const SessionSettings& settings, Await await);

    /// Connects, agrees on keys and looks at the host's. The delegate may be null.
    Status connect(const LoginTarget& target, NMSSHSessionDelegate* delegate);

    Status byPassword(const QString& password);
    Status byKeyboardInteractive(const Answer& answer);
    /// `publicKeyPath` may name a file that is not there: the private key tells the same.
    Status byPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                       const std::optional<QString>& passPhrase);
    /// With what the user's agent and configuration offer.
    Status byAgentAndConfiguration();

private:
    Status prepare(const LoginTarget& target);
    Status openSocket();
    Status verifyHostKey(NMSSHSessionDelegate* delegate);
    /// Repeats a call of the library, which does not wait, until its result is another one than `again`.
    template <typename Call>
    Result<int> untilDone(int again, const Call& call);
    template <typename Call>
    Status authenticate(const Call& call);
    /// Asks the agent by a way that can be cut off.
    void useAgent();
    Status outcome(int authentication);
    /// Runs what waits for the user, for as long as he likes.
    template <typename Question>
    auto withoutTimeLimit(const Question& question);

    const ssh_session session_;
    ServerSocket& socket_;
    const SessionSettings& settings_;
    const Await await_;
    /// The name under which the server's key is known.
    QString hostName_;
    ServerSocket::Deadline deadline_;
};

} // namespace korvane
