#pragma once

#include "foundation/Result.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace korvane {

/// Asks for a secret that a login needs.
struct SecretQuestion {
    enum class Kind { Password, PassPhrase };

    Kind kind = Kind::Password;
    /// Of the private key that the pass phrase is for.
    QString keyPath;
    /// Whether another one was wrong.
    bool isAgain = false;
};

/// Whom a session asks what only the user knows, and tells of its end. Called on the session's own thread,
/// which waits for the answer.
class NMSSHSessionDelegate {
public:
    virtual ~NMSSHSessionDelegate() = default;

    /// Whether to go on with a server that shows this key, which is stored then, in place of those known so
    /// far; without any the server is new.
    virtual bool shouldConnectToHostWithFingerprint(const QString& fingerprint, const QStringList& known) = 0;
    /// Nothing when the user gives no answer.
    virtual std::optional<QString> secret(const SecretQuestion& question) = 0;
    /// The answer to the server's question; nothing when there is none.
    virtual std::optional<QString> keyboardInteractiveRequest(const QString& request, bool isEchoed) = 0;
    /// Once for each connection that was logged in, with the error that ended it, if one did.
    virtual void didDisconnectWithError(const std::optional<Error>& error) = 0;
};

} // namespace korvane
