#include "remote/ssh/HostKeys.h"

#include "remote/ssh/SshError.h"

#include <QFile>
#include <QStringList>

namespace korvane {
namespace {

Key serverKey(ssh_session session) {
    ssh_key key = nullptr;
    ssh_get_server_publickey(session, &key);
    return Key(key);
}

/// As the file of known hosts has it.
QByteArray entryName(ssh_session session) {
    char* host = nullptr;
    unsigned int port = 22;
    if (ssh_options_get(session, SSH_OPTIONS_HOST, &host) != SSH_OK)
        return {};
    const QByteArray name = QByteArray(host).toLower();
    ssh_string_free_char(host);
    ssh_options_get_port(session, &port);
    return port == 22 ? name : '[' + name + "]:" + QByteArray::number(port);
}

QStringList knownFingerprints(const QByteArray& name, const QString& path) {
    QStringList found;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return found;
    for (const QByteArray& line : file.readAll().split('\n')) {
        ssh_knownhosts_entry* entry = nullptr;
        if (ssh_known_hosts_parse_line(name.constData(), line.constData(), &entry) != SSH_OK)
            continue;
        found.append(fingerprint(entry->publickey));
        ssh_knownhosts_entry_free(entry);
    }
    return found;
}

} // namespace

QString fingerprint(ssh_key key) {
    unsigned char* digest = nullptr;
    std::size_t length = 0;
    if (!key || ssh_get_publickey_hash(key, SSH_PUBLICKEY_HASH_SHA256, &digest, &length) != 0)
        return {};
    char* text = ssh_get_fingerprint_hash(SSH_PUBLICKEY_HASH_SHA256, digest, length);
    QString whole =
        QString::fromLatin1(ssh_key_type_to_char(ssh_key_type(key))) + u' ' + QString::fromLatin1(text);
    ssh_string_free_char(text);
    ssh_clean_pubkey_hash(&digest);
    return whole;
}

QString serverFingerprint(ssh_session session) {
    return fingerprint(serverKey(session).get());
}

Result<HostKeyState> checkHostKey(ssh_session session, const QString& knownHostsPath) {
    switch (ssh_session_is_known_server(session)) {
    case SSH_KNOWN_HOSTS_OK:
        return HostKeyState::Known;
    case SSH_KNOWN_HOSTS_UNKNOWN:
    case SSH_KNOWN_HOSTS_NOT_FOUND:
        return HostKeyState::Unknown;
    case SSH_KNOWN_HOSTS_CHANGED:
    case SSH_KNOWN_HOSTS_OTHER:
        break;
    case SSH_KNOWN_HOSTS_ERROR:
        return lastSshError(session, SshErrorCode::Failed,
                            QStringLiteral("\"%1\" cannot be read.").arg(knownHostsPath));
    }
    const QByteArray name = entryName(session);
    return sshError(SshErrorCode::HostKeyChanged,
                    QStringLiteral("The key of the server is not the one that \"%1\" has for %2. Somebody "
                                   "may be listening in, or the server has a new key. Known: %3. Shown: %4.")
                        .arg(knownHostsPath, QString::fromUtf8(name),
                             knownFingerprints(name, knownHostsPath).join(QStringLiteral(", ")),
                             serverFingerprint(session)));
}

Status storeHostKey(ssh_session session) {
    if (ssh_session_update_known_hosts(session) != SSH_OK)
        return lastSshError(session, SshErrorCode::Failed,
                            QStringLiteral("The key of the server could not be stored."));
    return success();
}

} // namespace korvane
