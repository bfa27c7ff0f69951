#pragma once

#include "foundation/Result.h"

#include <QString>

#include <optional>

namespace korvane {

/// Whom a session asks what only the user knows, and tells of its end. Called on the session's own thread,
/// which waits for the answer.
class NMSSHSessionDelegate {
public:
    virtual ~NMSSHSessionDelegate() = default;

    /// Whether to go on with a server that shows this key. `isKnown` is set when nobody has to be asked.
    virtual bool shouldConnectToHostWithFingerprint(const QString& fingerprint, bool isKnown) = 0;
    /// The answer to the server's question; nothing when there is none.
    virtual std::optional<QString> keyboardInteractiveRequest(const QString& request, bool isEchoed) = 0;
    /// Once for each connection that was logged in, with the error that ended it, if one did.
    virtual void didDisconnectWithError(const std::optional<Error>& error) = 0;
};

} // namespace korvane
