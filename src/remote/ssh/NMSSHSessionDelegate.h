#pragma once

#include "foundation/Result.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace korvane {

/// A request for a secret that a login needs.
struct SecretQuestion {
    enum class Kind { Password, PassPhrase };

    Kind kind = Kind::Password;
    /// Path of the private key, for a pass phrase.
    QString keyPath;
    /// Whether an earlier answer was wrong.
    bool isAgain = false;
};

/// Answers a session's questions to the user, and receives notice of its end. Called on the session's own
/// thread, which waits for the answer.
class NMSSHSessionDelegate {
public:
    virtual ~NMSSHSessionDelegate() = default;

    /// Whether to accept a server with this key; the key is then stored in place of the known ones. `known`:
    /// their fingerprints; empty for a new server.
    virtual bool shouldConnectToHostWithFingerprint(const QString& fingerprint, const QStringList& known) = 0;
    /// Nullopt if the user does not answer.
    virtual std::optional<QString> secret(const SecretQuestion& question) = 0;
    /// The answer to the server's question; nullopt if there is none.
    virtual std::optional<QString> keyboardInteractiveRequest(const QString& request, bool isEchoed) = 0;
    /// Called once for each connection that was logged in; `error`: the cause of the end, if there was one.
    virtual void didDisconnectWithError(const std::optional<Error>& error) = 0;
};

} // namespace korvane
