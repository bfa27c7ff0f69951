#pragma once

#include "foundation/Result.h"
#include "foundation/notices/Alerts.h"
#include "foundation/work/OperationQueue.h"
#include "remote/ssh/NMSSHSessionDelegate.h"
#include "remote/ssh/OutputSink.h"
#include "remote/ssh/SessionSettings.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace korvane {

class KeyboardAuthnType;
class NMSSHSession;
class RemoteHost;
template <typename T>
class Reply;

/// One login on one host, for one document, browser or connection test: connects, runs commands, asks the
/// user what the server wants to know, and tells of a lost connection.
///
/// Held by shared pointer. Made on the main thread; what the host's object says then is what counts. The
/// calls that wait for the network block their caller, which is never the main thread. Any number of threads
/// may connect and run commands at once.
class Client : public NMSSHSessionDelegate, public std::enable_shared_from_this<Client> {
public:
    /// What `connect` has reached.
    struct Connection {
        bool isAuthorised = false;
        bool homePathExists = false;
    };
    using IsCancelled = std::function<bool()>;

    /// `alerts` shows questions and messages and outlives the client. Main thread.
    static std::shared_ptr<Client> create(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts);
    static std::shared_ptr<Client> create(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts,
                                          SessionSettings settings);
    ~Client() override;
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    const std::shared_ptr<RemoteHost>& host() const { return host_; }
    /// The window, or any object of it, over which questions and messages stand. Main thread.
    void setWindow(const void* window);

    /// Connects and logs in; costs nothing when that has been done already. Neither authorised nor failed
    /// means that there is no connection, or no answer from the user. The error is that of a refused login.
    /// While another thread connects, this one waits and takes over what comes of it. Blocks.
    virtual Result<Connection> connect();
    /// As above, without the question for the home path, which a server may be slow to answer: it does not
    /// exist then.
    virtual Result<Connection> logIn();
    virtual bool isConnected() const;
    /// What the command writes to its standard output; bytes that are no UTF-8 are replaced. Empty when it is
    /// more than 64 KiB, when there is no connection, when the command fails, which ends the connection, and
    /// when it is cancelled, which does not. A status other than 0 is no failure. Blocks.
    QString execute(const QString& command, const IsCancelled& isCancelled = {});
    /// As above, but nothing where there is no answer: whether there is a connection afterwards does not say
    /// so, as another thread may have made it anew.
    std::optional<QByteArray> answer(const QString& command, const IsCancelled& isCancelled);
    /// Hands what the command writes to the sink while it comes, however much it is. False where the command
    /// has not ended and the sink wants more.
    virtual bool read(const QString& command, const OutputSink& sink, const IsCancelled& isCancelled);
    /// Ends the connection, and with it everything under way; an open question counts as not answered. Does
    /// not wait. Any thread.
    virtual void disconnect();
    /// As above for this login alone: neither a later one nor one that somebody is making is touched.
    virtual void endLogin(std::uint64_t login);

    /// Of the last login, begun or complete; 0 before the first. Any thread.
    std::uint64_t loginNumber() const { return loginNumber_; }
    /// True for the first who asks about this login: it is he who tells the user that it is lost. Any thread.
    bool claimLoss(std::uint64_t login);

    /// Whether the last login ended because the user left a question unanswered: he need not be told. Any
    /// thread.
    bool wasLeftUnanswered() const { return wasLeftUnanswered_; }
    /// Whether the last login was refused, or left unanswered by the user: another one is for him to begin.
    /// Any thread.
    bool wasRefused() const { return wasRefused_; }
    /// Why the server was not reached the last time, for the user; may be empty. Any thread.
    QString fault() const;
    /// How many threads wait for what comes of the attempt that another one makes. Any thread.
    int waitingForLogin() const;

    /// The session that commands and files share; null before the first `connect`. Any thread.
    std::shared_ptr<NMSSHSession> session() const;

    /// Tries to connect in the background, tells the outcome in an alert and disconnects. `done` is called on
    /// the main thread after the alert has been answered, or at once where there is none. Main thread.
    void testConnection(std::function<void()> done);
    /// The test ends without an alert. Main thread.
    void cancelConnectionTest();

    // NMSSHSessionDelegate
    bool shouldConnectToHostWithFingerprint(const QString& fingerprint, const QStringList& known) override;
    std::optional<QString> secret(const SecretQuestion& question) override;
    std::optional<QString> keyboardInteractiveRequest(const QString& request, bool isEchoed) override;
    void didDisconnectWithError(const std::optional<Error>& error) override;

protected:
    Client(const std::shared_ptr<RemoteHost>& host, AlertPresenter& alerts);
    void loginBegins() { ++loginNumber_; }
    void setRefused(bool isRefused) { wasRefused_ = isRefused; }

private:
    /// How the login is proven: what the host said when the client was made. Only the keyboard's answer is
    /// the host's own object, because others may ask for it too.
    struct Proof {
        enum class Kind { None, Password, Keyboard, PublicKey };

        Kind kind = Kind::None;
        QString password;
        std::shared_ptr<KeyboardAuthnType> keyboard;
        /// For a key: nothing when the host names no file.
        std::optional<QUrl> pubKeyUrl;
        std::optional<QUrl> pvtKeyUrl;
        std::optional<QString> passPhrase;
    };
    /// The answer to a question; nothing when there is none.
    using Question = Reply<std::optional<QString>>;
    enum class Login { Done, Refused, Unproven };
    /// A secret that the host shall keep once it has been found right.
    struct KeptSecret {
        SecretQuestion::Kind kind;
        QString text;
    };
    /// One thread connects, and others wait for what comes of it.
    struct Attempt {
        explicit Attempt(std::uint64_t count) : disconnections(count) {}

        /// What the count was when it began: who asks later wants a connection behind that end.
        const std::uint64_t disconnections;
        // Guarded by Client::mutex_.
        std::optional<Result<Connection>> outcome;
        int waiting = 0;
    };

    Client(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, SessionSettings settings);
    static Proof proofOf(const RemoteHost& host);

    Result<Connection> attempt(std::uint64_t disconnections);
    /// Asked for once for each login.
    bool homePathExists();
    std::shared_ptr<NMSSHSession> sessionForConnecting();
    void setFault(const QString& text);
    void logFault(const Error& error) const;
    /// The error of the session, with what the user can do about it.
    Error refusal(const Error& error) const;
    /// With as many proofs as the server wants.
    Login prove(NMSSHSession& session);
    Login proveByWhatIsKnown(NMSSHSession& session);
    bool proveByKeyboard(NMSSHSession& session);
    /// Blocks until the user has answered or the client is disconnected.
    std::optional<QString> ask(Alert alert);
    void forgetAnswer();
    /// Whether the host has a place for the secret.
    bool hasPlaceFor(const SecretQuestion& question) const;
    /// After a login: what the user wanted to be kept.
    void keepSecret();
    /// Main thread.
    static void storeSecret(const RemoteHost& host, const KeptSecret& secret);
    /// What the user is told; nothing when he has left a question unanswered.
    std::optional<Alert> outcomeOfTest(const Result<Connection>& outcome) const;

    const std::shared_ptr<RemoteHost> host_;
    AlertPresenter& alerts_;
    const SessionSettings settings_;
    /// Copies: the host itself belongs to the main thread.
    const QString hostName_;
    const std::uint16_t port_;
    const QString username_;
    const QString homePath_;
    /// Changed only by the attempt under way.
    Proof proof_;
    /// Main thread.
    const void* window_ = nullptr;
    bool isTesting_ = false;
    OperationQueue testQueue_{"SSH connection test", 1};

    std::atomic<bool> connectionTestCanceled_{false};
    std::atomic<std::uint64_t> disconnections_{0};
    /// What the count was when the login under way began.
    std::atomic<std::uint64_t> loginDisconnections_{0};
    /// Of the last login: whether the user left a question unanswered.
    std::atomic<bool> wasLeftUnanswered_{false};
    std::atomic<bool> wasRefused_{false};
    std::atomic<int> questionsOfLogin_{0};
    std::atomic<std::uint64_t> loginNumber_{0};
    /// The last login whose loss somebody tells of.
    std::atomic<std::uint64_t> lossTold_{0};

    mutable std::mutex mutex_;
    std::condition_variable attemptEnded_;
    // Guarded by mutex_.
    std::shared_ptr<NMSSHSession> session_;
    std::shared_ptr<Attempt> attempt_; // under way
    std::vector<std::weak_ptr<Question>> questions_;
    QString fault_;
    std::optional<KeptSecret> keptSecret_;
    /// The login for which the home path was asked for, and the answer.
    std::uint64_t homePathLogin_ = 0;
    bool homePathExists_ = false;
};

} // namespace korvane
