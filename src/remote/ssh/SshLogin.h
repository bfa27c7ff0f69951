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

/// The steps from nothing to a login on one session, each of which waits for the server and all of which
/// share one time limit. Lives on the thread that owns the session.
class SshLogin {
public:
    /// The answer to the server's question; nothing when there is none.
    using Answer = std::function<std::optional<QString>(const QString& request, bool isEchoed)>;

    /// Both outlive the login.
    SshLogin(ssh_session session, ServerSocket& socket, const SessionSettings& settings);

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
    /// Gives the next step the time that is left; an error when none is.
    Status allowTime();
    /// Asks the agent by a way that can be cut off.
    void useAgent();
    Status outcome(int authentication);
    /// Runs what waits for the user, for as long as he likes.
    template <typename Question>
    auto withoutTimeLimit(const Question& question);

    const ssh_session session_;
    ServerSocket& socket_;
    const SessionSettings& settings_;
    ServerSocket::Deadline deadline_;
};

} // namespace korvane
