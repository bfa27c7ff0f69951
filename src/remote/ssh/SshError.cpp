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
    return sshError(SshErrorCode::NotConnected, SshTexts::tr("There is no connection to the server."));
}

Error timedOut() {
    return sshError(SshErrorCode::TimedOut, SshTexts::tr("The server does not answer."));
}

Error interrupted() {
    return sshError(SshErrorCode::NotConnected, SshTexts::tr("The connection was ended."));
}

Error lastSshError(ssh_session_struct* session, SshErrorCode code, const QString& otherwise) {
    const QString text = QString::fromUtf8(ssh_get_error(session)).trimmed();
    return sshError(code, text.isEmpty() ? otherwise : text);
}

Error connectionLost(ssh_session_struct* session, SshErrorCode byServer) {
    // "Received SSH_MSG_DISCONNECT: 2:Too many authentication failures"
    QString text = QString::fromUtf8(ssh_get_error(session)).trimmed();
    const QString marker = QStringLiteral("SSH_MSG_DISCONNECT: ");
    if (const qsizetype found = text.indexOf(marker); found >= 0) {
        const QString words = text.sliced(found + marker.size()).section(u':', 1).trimmed();
        return sshError(byServer, SshTexts::tr("The server has ended the connection: %1.")
                                      .arg(words.endsWith(u'.') ? words.chopped(1) : words));
    }
    text.remove(QStringLiteral("Socket error: "));
    // The second text is left over from an earlier call.
    if (text.isEmpty() || text == QStringLiteral("disconnected") ||
        text == QStringLiteral("Resource temporarily unavailable"))
        text = SshTexts::tr("The connection broke off.");
    return sshError(SshErrorCode::Failed, text);
}

bool isSshError(const Error& error, SshErrorCode code) {
    return error.domain == sshErrorDomain && error.code == static_cast<int>(code);
}

} // namespace korvane
