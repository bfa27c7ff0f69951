#pragma once

#include "foundation/Result.h"
#include "remote/ssh/AgentRelay.h"
#include "remote/ssh/NMSSHSessionDelegate.h"
#include "remote/ssh/ServerSocket.h"
#include "remote/ssh/SessionSettings.h"
#include "remote/ssh/SshConfiguration.h"
#include "remote/ssh/SshKeys.h"

#include <QString>

#include <functional>
#include <libssh/libssh.h>
#include <memory>
#include <optional>

namespace korvane {

/// The steps of a login on one session, which share one time limit. Lives on the thread that owns the
/// session, and blocks it while waiting for the server, the agent or the user.
///
/// If the server accepts a proof but requires another one, the error is `Incomplete`.
class SshLogin {
public:
    /// The answer to the server's question; nullopt if there is none.
    using Answer = std::function<std::optional<QString>(const QString& request, bool isEchoed)>;

    /// Waits for the server, at most until the deadline; an error ends the login.
    using Await = std::function<Status(Deadline deadline)>;

    /// All must outlive the login. The session is non-blocking.
    SshLogin(ssh_session session, ServerSocket& socket, const SessionSettings& settings, Await await);

    /// Reads the configuration, connects, exchanges keys and checks the host's key. The delegate answers
    /// questions to the user, here and in the steps below; without one there is no answer.
    Status connect(const LoginTarget& target, std::weak_ptr<NMSSHSessionDelegate> delegate);

    /// Requests the password from the user if it is empty or wrong.
    Status byPassword(const QString& password);
    Status byKeyboardInteractive(const Answer& answer);
    /// `publicKeyPath` may name a missing file: the private key contains the public one. A missing or wrong
    /// pass phrase is requested from the user.
    Status byPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                       const std::optional<QString>& passPhrase);
    /// With the keys of the user's agent and configuration.
    Status byAgentAndConfiguration();
    /// After an incomplete proof: with the next method that the server requires and the user can answer.
    Status byFurtherQuestions();

private:
    Status configure(const LoginTarget& target);
    Status prepare();
    Status openSocket();
    /// Waits until the server has sent something, and answers questions of the program that leads to it.
    Status awaitServerOrQuestion();
    Status answerProgram(Askpass& askpass);
    Status verifyHostKey();
    /// Repeats a non-blocking call of the library until its result differs from `again`.
    template <typename Call, typename Wait>
    Result<int> untilDone(int again, const Call& call, const Wait& wait);
    template <typename Call>
    Status authenticate(const Call& call);
    Status outcome(int authentication);
    /// Whether another proof can be tried after this one.
    bool wasRefused(const Status& proven) const;
    bool takesMethod(int method) const;
    /// Waits for the user without a limit.
    template <typename Question>
    auto withoutTimeLimit(const Question& question);
    std::optional<QString> ask(const SecretQuestion& question);

    Status byIdentities();
    /// The public keys of the agent in the order in which they are offered to the server. Empty without an
    /// agent; fails if the agent does not answer.
    Result<QList<QByteArray>> agentKeys(const QList<QByteArray>& named);
    Status byAgentKeys(const QList<QByteArray>& keys);
    /// First asks the server whether it accepts the key, if the public half is known.
    Status byKeyFile(Key publicKey, const QString& privateKeyPath, const std::optional<QString>& passPhrase);
    Result<Key> unlocked(const QString& privateKeyPath, const std::optional<QString>& passPhrase);
    /// Adds note_ to an error.
    Status noted(Status status) const;

    const ssh_session session_;
    ServerSocket& socket_;
    const SessionSettings& settings_;
    const Await await_;
    std::weak_ptr<NMSSHSessionDelegate> delegate_;
    SshConfiguration configuration_;
    /// Extra information for the user if the login fails.
    QString note_;
    /// Set while the agent's keys are tried.
    std::unique_ptr<AgentRelay> agent_;
    Deadline deadline_;
};

} // namespace korvane
