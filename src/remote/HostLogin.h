#pragma once

#include "foundation/Mutex.h"
#include "foundation/notices/Alerts.h"
#include "foundation/notices/WindowId.h"
#include "remote/ssh/NMSSHSessionDelegate.h"

#include <QString>
#include <QUrl>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class KeyboardAuthnType;
class NMSSHSession;
class RemoteHost;
template <typename T>
class Reply;

/// Authenticates the user to a host, and asks the user for missing secrets. One login at a time.
///
/// Held by shared pointer. Created on the main thread; later changes of the host object have no effect.
class HostLogin final : public NMSSHSessionDelegate, public std::enable_shared_from_this<HostLogin> {
public:
    enum class Outcome { Done, Refused, Unproven };
    /// Returns the parent window of questions; may be invalid. Called on the main thread.
    using FindWindow = std::function<WindowId()>;
    /// As `didDisconnectWithError`.
    using Ended = std::function<void(const std::optional<Error>&)>;

    /// `alerts` must outlive the login.
    HostLogin(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, FindWindow findWindow, Ended ended);

    /// Whether a login to `host`, which has the same address, would use the same credentials. Main thread.
    bool isSameFor(const RemoteHost& host) const;

    /// Begins a login; `mayAsk`: whether the user may be asked. Otherwise all questions count as unanswered
    /// until `letAsk`. Any thread.
    void begin(bool mayAsk);
    void letAsk() { mayAsk_ = true; }
    /// Whether a question came up while asking was not allowed. Any thread.
    bool wasSilent() const { return wasSilent_; }
    /// Authenticates, with several methods if the server requires them. Blocks.
    Outcome prove(NMSSHSession& session);
    /// Open and later questions of the login count as not answered. Any thread, does not wait.
    void cancel();
    /// Drops the answer that the user typed for this connection.
    void forgetAnswer();

    // NMSSHSessionDelegate
    bool shouldConnectToHostWithFingerprint(const QString& fingerprint, const QStringList& known) override;
    std::optional<QString> secret(const SecretQuestion& question) override;
    std::optional<QString> keyboardInteractiveRequest(const QString& request, bool isEchoed) override;
    void didDisconnectWithError(const std::optional<Error>& error) override { ended_(error); }

private:
    /// The credentials, copied except for the keyboard's answer, which belongs to the host because other
    /// logins may use it too.
    struct Proof {
        enum class Kind { None, Password, Keyboard, PublicKey };

        Kind kind = Kind::None;
        QString password;
        std::shared_ptr<KeyboardAuthnType> keyboard;
        /// For a key: nullopt if the host names no file.
        std::optional<QUrl> pubKeyUrl;
        std::optional<QUrl> pvtKeyUrl;
        std::optional<QString> passPhrase;

        /// Ignores the keyboard's answer.
        bool operator==(const Proof& other) const;
    };
    /// The pending answer to a question; nullopt if there is none.
    using Question = Reply<std::optional<QString>>;
    /// A secret to be stored in the host once a login has succeeded with it.
    struct KeptSecret {
        SecretQuestion::Kind kind;
        QString text;
    };

    static Proof proofOf(const RemoteHost& host);
    Outcome proveByWhatIsKnown(NMSSHSession& session);
    bool proveByKeyboard(NMSSHSession& session);
    /// Blocks until the user has answered or the login is cancelled.
    std::optional<QString> ask(Alert alert);
    /// Whether the host can store the secret.
    bool hasPlaceFor(const SecretQuestion& question) const;
    /// After a login: stores the secret that the user chose to keep.
    void keepSecret();
    /// Main thread.
    static void storeSecret(const RemoteHost& host, const KeptSecret& secret);

    const std::shared_ptr<RemoteHost> host_;
    AlertPresenter& alerts_;
    const FindWindow findWindow_;
    const Ended ended_;
    /// Copies: the host itself belongs to the main thread.
    const QString hostName_;
    const std::uint16_t port_;
    const QString username_;
    /// Changed only by the login under way, with the lock held.
    Proof proof_;
    std::atomic<bool> mayAsk_{false};
    std::atomic<bool> wasSilent_{false};
    std::atomic<int> keyboardQuestions_{0};
    /// Whether the host has been reached and authentication has begun.
    std::atomic<bool> isProving_{false};

    mutable Mutex mutex_;
    bool isUnderWay_ GUARDED_BY(mutex_) = false;
    std::vector<std::weak_ptr<Question>> questions_ GUARDED_BY(mutex_);
    std::optional<KeptSecret> keptSecret_ GUARDED_BY(mutex_);
};

} // namespace korvane
