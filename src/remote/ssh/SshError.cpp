#include "remote/ssh/SshError.h"

#include <libssh/libssh.h>

namespace korvane {
namespace {

const QString sshErrorDomain = QStringLiteral("SSH");

} // namespace

Error sshError(SshErrorCode code, const QString& text) {
    return {static_cast<int>(code), sshErrorDomain, text};
}

Error notConnected() {
    return sshError(SshErrorCode::NotConnected, QStringLiteral("There is no connection to the server."));
}

Error timedOut() {
    return sshError(SshErrorCode::TimedOut, QStringLiteral("The server does not answer."));
}

Error lastSshError(ssh_session_struct* session, SshErrorCode code, const QString& otherwise) {
    const QString text = QString::fromUtf8(ssh_get_error(session)).trimmed();
    return sshError(code, text.isEmpty() ? otherwise : text);
}

bool isSshError(const Error& error, SshErrorCode code) {
    return error.domain == sshErrorDomain && error.code == static_cast<int>(code);
}

} // namespace korvane
