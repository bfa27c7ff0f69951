#pragma once

#include "foundation/Result.h"

#include <QCoreApplication>

struct ssh_session_struct;

namespace korvane {

/// Kinds of errors of a session, by code.
enum class SshErrorCode {
    Failed = 1,
    /// The login was refused.
    Denied,
    /// The user did not answer a question.
    NotAnswered,
    /// There is no connection, or we ended it.
    NotConnected,
    /// The server's key differs from the known one.
    HostKeyChanged,
    /// The server does not answer.
    TimedOut,
    /// The caller no longer wants the result.
    Cancelled,
    /// The file does not exist on the server.
    NoSuchFile,
    /// The file exists on the server, but cannot be read.
    CannotRead,
    /// The proof was accepted, but the server requires another one.
    Incomplete,
};

/// Translates the texts of this room.
struct SshTexts {
    Q_DECLARE_TR_FUNCTIONS(Ssh)
};

Error sshError(SshErrorCode code, const QString& text);
Error notConnected();
Error timedOut();
/// A wait for the server or the agent was interrupted.
Error interrupted();
/// The library's text for the last error, or `otherwise` if it has none.
Error lastSshError(ssh_session_struct* session, SshErrorCode code, const QString& otherwise);
/// Why the session is no longer connected: the server's own text with the code `byServer`, if it has sent
/// one.
Error connectionLost(ssh_session_struct* session, SshErrorCode byServer = SshErrorCode::Failed);
bool isSshError(const Error& error, SshErrorCode code);

} // namespace korvane
