#include "remote/ssh/HostKeys.h"

#include "remote/ssh/SshError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

namespace korvane {
namespace {

Key serverKey(ssh_session session) {
    ssh_key key = nullptr;
    ssh_get_server_publickey(session, &key);
    return Key(key);
}

const QString machineKnownHosts = QStringLiteral("/etc/ssh/ssh_known_hosts");

/// What a file of known hosts says of a server and the key that it has shown.
struct KnownKeys {
    bool holdsKey = false;
    bool isRevoked = false;
    /// Fingerprints of its other keys.
    QStringList others;

    void read(const QByteArray& line, const QByteArray& name, ssh_key shown) {
        QByteArray rest = line.trimmed();
        const bool isRevocation = rest.startsWith("@revoked");
        if (rest.startsWith('@'))
            rest = isRevocation ? rest.mid(rest.indexOf(' ') + 1).trimmed() : QByteArray();
        ssh_knownhosts_entry* entry = nullptr;
        if (rest.isEmpty() ||
            ssh_known_hosts_parse_line(name.constData(), rest.constData(), &entry) != SSH_OK)
            return;
        const bool isSame = ssh_key_cmp(entry->publickey, shown, SSH_KEY_CMP_PUBLIC) == 0;
        if (isRevocation)
            isRevoked |= isSame;
        else if (isSame)
            holdsKey = true;
        else
            others.append(fingerprint(entry->publickey));
        ssh_knownhosts_entry_free(entry);
    }
};

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

QByteArray knownHostName(const QString& host, unsigned int port) {
    const QByteArray name = host.toLower().toUtf8();
    return port == 22 ? name : '[' + name + "]:" + QByteArray::number(port);
}

Result<HostKeyState> checkHostKey(ssh_session session, const QByteArray& name,
                                  const QString& knownHostsPath) {
    const Key shown = serverKey(session);
    if (!shown)
        return lastSshError(session, SshErrorCode::Failed, QStringLiteral("The server has shown no key."));
    KnownKeys known;
    for (const QString& path : {knownHostsPath, machineKnownHosts}) {
        QFile file(path);
        if (!file.exists())
            continue;
        if (!file.open(QIODevice::ReadOnly))
            return sshError(SshErrorCode::Failed,
                            QStringLiteral("\"%1\" cannot be read: %2.").arg(path, file.errorString()));
        for (const QByteArray& line : file.readAll().split('\n'))
            known.read(line, name, shown.get());
    }
    if (known.isRevoked)
        return sshError(
            SshErrorCode::HostKeyChanged,
            QStringLiteral("The key of the server is marked as revoked in \"%1\": %2. Somebody may "
                           "be listening in.")
                .arg(knownHostsPath, fingerprint(shown.get())));
    if (known.holdsKey)
        return HostKeyState::Known;
    if (known.others.isEmpty())
        return HostKeyState::Unknown;
    return sshError(SshErrorCode::HostKeyChanged,
                    QStringLiteral("The key of the server is not the one that \"%1\" has for %2. Somebody "
                                   "may be listening in, or the server has a new key. Known: %3. Shown: %4.")
                        .arg(knownHostsPath, QString::fromUtf8(name), known.others.join(QStringLiteral(", ")),
                             fingerprint(shown.get())));
}

Status storeHostKey(ssh_session session, const QByteArray& name, const QString& knownHostsPath) {
    const Key shown = serverKey(session);
    char* base64 = nullptr;
    if (!shown || ssh_pki_export_pubkey_base64(shown.get(), &base64) != SSH_OK)
        return lastSshError(session, SshErrorCode::Failed, QStringLiteral("The server has shown no key."));
    QByteArray entry = name + ' ' + ssh_key_type_to_char(ssh_key_type(shown.get())) + ' ' + base64 + '\n';
    ssh_string_free_char(base64);

    const QString directory = QFileInfo(knownHostsPath).path();
    if (!QFileInfo::exists(directory) && QDir().mkpath(directory))
        QFile::setPermissions(directory, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile file(knownHostsPath);
    if (file.open(QIODevice::ReadWrite)) {
        // The last line of others may lack its end.
        char last = '\n';
        if (file.size() > 0 && file.seek(file.size() - 1))
            file.getChar(&last);
        if (last != '\n')
            entry.prepend('\n');
        if (file.seek(file.size()) && file.write(entry) == entry.size() && file.flush())
            return success();
    }
    return sshError(SshErrorCode::Failed,
                    QStringLiteral("The key of the server could not be stored in \"%1\": %2.")
                        .arg(knownHostsPath, file.errorString()));
}

} // namespace korvane
