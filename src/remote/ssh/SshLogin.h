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

/// The steps from nothing to a login on one session, which share one time limit. Lives on the thread that
/// owns the session, and blocks it while it waits for the server, the agent or the user.
///
/// A proof that the server takes without being content ends with the error `Incomplete`: another one has to
/// follow.
class SshLogin {
public:
    /// The answer to the server's question; nothing when there is none.
    using Answer = std::function<std::optional<QString>(const QString& request, bool isEchoed)>;

    /// Waits for the server, at most until the deadline; an error ends the login.
    using Await = std::function<Status(Deadline deadline)>;

    /// All outlive the login. The session does not block.
    SshLogin(ssh_session session, ServerSocket& socket, const SessionSettings& settings, Await await);

    /// Reads the configuration, connects, agrees on keys and looks at the host's. The delegate is asked what
    /// only the user knows, here and in the steps below; without one there is no answer.
    Status connect(const LoginTarget& target, std::weak_ptr<NMSSHSessionDelegate> delegate);

    /// A password that is empty or wrong is asked for.
    Status byPassword(const QString& password);
    Status byKeyboardInteractive(const Answer& answer);
    /// `publicKeyPath` may name a file that is not there: the private key tells the same. A pass phrase that
    /// is missing or wrong is asked for.
    Status byPublicKey(const QString& publicKeyPath, const QString& privateKeyPath,
                       const std::optional<QString>& passPhrase);
    /// With what the user's agent and configuration offer.
    Status byAgentAndConfiguration();
    /// After an incomplete proof, with what the server wants next and the user can answer.
    Status byFurtherQuestions();

private:
    Status configure(const LoginTarget& target);
    Status prepare();
    Status openSocket();
    /// Until the server has sent something; the program that leads to it may ask meanwhile.
    Status awaitServerOrQuestion();
    Status answerProgram(Askpass& askpass);
    Status verifyHostKey();
    /// Repeats a call of the library, which does not wait, until its result is another one than `again`.
    template <typename Call, typename Wait>
    Result<int> untilDone(int again, const Call& call, const Wait& wait);
    template <typename Call>
    Status authenticate(const Call& call);
    Status outcome(int authentication);
    /// Whether another proof can be tried after this one.
    bool wasRefused(const Status& proven) const;
    bool takesMethod(int method) const;
    /// Runs what waits for the user, for as long as he likes.
    template <typename Question>
    auto withoutTimeLimit(const Question& question);
    std::optional<QString> ask(const SecretQuestion& question);

    Status byIdentities();
    /// The public keys of the agent in the order in which the server gets to see them. None without an agent;
    /// the error says that it does not answer.
    Result<QList<QByteArray>> agentKeys(const QList<QByteArray>& named);
    Status byAgentKeys(const QList<QByteArray>& keys);
    /// The server is asked first whether it takes the key, where the public half is known.
    Status byKeyFile(Key publicKey, const QString& privateKeyPath, const std::optional<QString>& passPhrase);
    Result<Key> unlocked(const QString& privateKeyPath, const std::optional<QString>& passPhrase);
    /// Adds to an error what has been done without.
    Status noted(Status status) const;

    const ssh_session session_;
    ServerSocket& socket_;
    const SessionSettings& settings_;
    const Await await_;
    std::weak_ptr<NMSSHSessionDelegate> delegate_;
    SshConfiguration configuration_;
    /// What the user should know when the login fails.
    QString note_;
    /// While its keys are tried.
    std::unique_ptr<AgentRelay> agent_;
    Deadline deadline_;
};

} // namespace korvane
