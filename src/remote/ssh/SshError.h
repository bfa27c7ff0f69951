#pragma once

#include "foundation/Result.h"

struct ssh_session_struct;

namespace korvane {

/// What an error of a session says by its code.
enum class SshErrorCode {
    Failed = 1,
    /// The login was refused.
    Denied,
    /// The user gave no answer to a question.
    NotAnswered,
    /// There is no connection, or it was ended on our side.
    NotConnected,
    /// The server's key is not the one that is known of it.
    HostKeyChanged,
    /// The server does not answer.
    TimedOut,
    /// The caller no longer wants the result.
    Cancelled,
    /// The server knows no such file.
    NoSuchFile,
    /// The server has the file, and does not give it.
    CannotRead,
    /// The proof was right, and the server wants another one.
    Incomplete,
};

Error sshError(SshErrorCode code, const QString& text);
Error notConnected();
Error timedOut();
/// What waited for the server or the agent was to wait no more.
Error interrupted();
/// What the library says of the last fault, or the text where it says nothing.
Error lastSshError(ssh_session_struct* session, SshErrorCode code, const QString& otherwise);
/// Why the session is no longer connected: in the server's own words, and with the code `byServer`, where it
/// has sent some.
Error connectionLost(ssh_session_struct* session, SshErrorCode byServer = SshErrorCode::Failed);
bool isSshError(const Error& error, SshErrorCode code);

} // namespace korvane
