#pragma once

#include "foundation/notices/Alerts.h"
#include "foundation/notices/WindowId.h"
#include "remote/ssh/NMSSHSessionDelegate.h"

#include <QString>
#include <QUrl>

#include <atomic>
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

/// Proves to a host who the user is, and asks the user what only he knows. One login at a time.
///
/// Held by shared pointer. Made on the main thread; what the host's object says then is what counts.
class HostLogin final : public NMSSHSessionDelegate, public std::enable_shared_from_this<HostLogin> {
public:
    enum class Outcome { Done, Refused, Unproven };
    /// The window over which questions stand; may be invalid. Called on the main thread.
    using FindWindow = std::function<WindowId()>;
    /// As `didDisconnectWithError`.
    using Ended = std::function<void(const std::optional<Error>&)>;

    /// `alerts` outlives the login.
    HostLogin(std::shared_ptr<RemoteHost> host, AlertPresenter& alerts, FindWindow findWindow, Ended ended);

    /// Whether the user is proven to that host, which has the same address, in the same way. Main thread.
    bool isSameFor(const RemoteHost& host) const;

    /// Begins a login; `mayAsk`: whether the user may be asked. Without that he leaves all questions
    /// unanswered, until he may be. Any thread.
    void begin(bool mayAsk);
    void letAsk() { mayAsk_ = true; }
    /// Whether there was a question that could not be asked. Any thread.
    bool wasSilent() const { return wasSilent_; }
    /// With as many proofs as the server wants. Blocks.
    Outcome prove(NMSSHSession& session);
    /// Open questions, and those that the login still has, count as not answered. Any thread, does not wait.
    void cancel();
    /// What was typed for this connection is not used again.
    void forgetAnswer();

    // NMSSHSessionDelegate
    bool shouldConnectToHostWithFingerprint(const QString& fingerprint, const QStringList& known) override;
    std::optional<QString> secret(const SecretQuestion& question) override;
    std::optional<QString> keyboardInteractiveRequest(const QString& request, bool isEchoed) override;
    void didDisconnectWithError(const std::optional<Error>& error) override { ended_(error); }

private:
    /// Only the keyboard's answer is the host's own object, because others may ask for it too.
    struct Proof {
        enum class Kind { None, Password, Keyboard, PublicKey };

        Kind kind = Kind::None;
        QString password;
        std::shared_ptr<KeyboardAuthnType> keyboard;
        /// For a key: nothing when the host names no file.
        std::optional<QUrl> pubKeyUrl;
        std::optional<QUrl> pvtKeyUrl;
        std::optional<QString> passPhrase;

        /// Whatever the keyboard's answer is.
        bool operator==(const Proof& other) const;
    };
    /// The answer to a question; nothing when there is none.
    using Question = Reply<std::optional<QString>>;
    /// A secret that the host shall keep once it has been found right.
    struct KeptSecret {
        SecretQuestion::Kind kind;
        QString text;
    };

    static Proof proofOf(const RemoteHost& host);
    Outcome proveByWhatIsKnown(NMSSHSession& session);
    bool proveByKeyboard(NMSSHSession& session);
    /// Blocks until the user has answered or the login is cancelled.
    std::optional<QString> ask(Alert alert);
    /// Whether the host has a place for the secret.
    bool hasPlaceFor(const SecretQuestion& question) const;
    /// After a login: what the user wanted to be kept.
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
    /// Changed by the login under way alone, and only with the lock held.
    Proof proof_;
    std::atomic<bool> mayAsk_{false};
    std::atomic<bool> wasSilent_{false};
    std::atomic<int> keyboardQuestions_{0};
    /// Whether the host has been reached and now wants a proof.
    std::atomic<bool> isProving_{false};

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    bool isUnderWay_ = false;
    std::vector<std::weak_ptr<Question>> questions_;
    std::optional<KeptSecret> keptSecret_;
};

} // namespace korvane
