#include "remote/ssh/HostKeys.h"

#include "foundation/Mutex.h"
#include "remote/ssh/SshError.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <algorithm>

namespace korvane {
namespace {

Error cannotStore(const QString& path, const QString& reason) {
    return sshError(
        SshErrorCode::Failed,
        SshTexts::tr("The key of the server could not be stored in \"%1\": %2.").arg(path, reason));
}

/// Appends a line to a file; creates the file if necessary.
Status append(const QString& path, QByteArray line) {
    const QString directory = QFileInfo(path).path();
    if (!QFileInfo::exists(directory) && QDir().mkpath(directory))
        QFile::setPermissions(directory, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QFile file(path);
    if (file.open(QIODevice::ReadWrite | QIODevice::Append)) {
        // The existing last line may lack its newline.
        char last = '\n';
        if (file.size() > 0 && file.seek(file.size() - 1))
            file.getChar(&last);
        if (last != '\n')
            line.prepend('\n');
        if (file.write(line) == line.size() && file.flush())
            return success();
    }
    return cannotStore(path, file.errorString());
}

} // namespace

Key serverKey(ssh_session session) {
    ssh_key key = nullptr;
    ssh_get_server_publickey(session, &key);
    return Key(key);
}

Result<KnownHostKeys> KnownHostKeys::read(const QByteArray& name, const QStringList& userFiles,
                                          const QStringList& machineFiles) {
    KnownHostKeys known;
    known.name_ = name;
    known.userFiles_ = userFiles;
    for (const QString& path : userFiles + machineFiles) {
        QFile file(path);
        if (!file.exists())
            continue;
        if (!file.open(QIODevice::ReadOnly))
            return sshError(SshErrorCode::Failed,
                            SshTexts::tr("\"%1\" cannot be read: %2.").arg(path, file.errorString()));
        for (const QByteArray& line : file.readAll().split('\n'))
            known.readLine(path, line);
    }
    return known;
}

void KnownHostKeys::readLine(const QString& file, const QByteArray& line) {
    QByteArray rest = line.simplified(); // fields may be separated by tabs
    const bool isRevocation = rest.startsWith("@revoked");
    if (rest.startsWith('@'))
        rest = isRevocation ? rest.mid(rest.indexOf(' ') + 1).trimmed() : QByteArray();
    ssh_knownhosts_entry* found = nullptr;
    if (rest.isEmpty() || ssh_known_hosts_parse_line(name_.constData(), rest.constData(), &found) != SSH_OK)
        return;
    ssh_key key = nullptr;
    std::swap(key, found->publickey);
    ssh_knownhosts_entry_free(found);
    entries_.push_back({file, line, Key(key), isRevocation});
}

QByteArray KnownHostKeys::algorithms() const {
    QList<QByteArray> wanted{"ssh-ed25519",         "ecdsa-sha2-nistp521", "ecdsa-sha2-nistp384",
                             "ecdsa-sha2-nistp256", "rsa-sha2-512",        "rsa-sha2-256"};
    const auto isKnown = [this](const QByteArray& algorithm) {
        return std::any_of(entries_.begin(), entries_.end(), [&](const Entry& entry) {
            const QByteArray type = ssh_key_type_to_char(ssh_key_type(entry.key.get()));
            return !entry.isRevocation &&
                   (type == algorithm || (type == "ssh-rsa" && algorithm.startsWith("rsa-")));
        });
    };
    const auto others = std::stable_partition(wanted.begin(), wanted.end(), isKnown);
    return others == wanted.begin() ? QByteArray() : wanted.join(',');
}

Result<HostKeyState> KnownHostKeys::check(ssh_key shown) const {
    HostKeyState state = HostKeyState::New;
    for (const Entry& entry : entries_) {
        const bool isSame = ssh_key_cmp(entry.key.get(), shown, SSH_KEY_CMP_PUBLIC) == 0;
        if (isSame && entry.isRevocation)
            return sshError(
                SshErrorCode::HostKeyChanged,
                SshTexts::tr("The key of the server is marked as revoked in \"%1\": %2. Somebody may "
                             "be listening in.")
                    .arg(entry.file, fingerprint(shown)));
        if (isSame)
            state = HostKeyState::Known;
        else if (!entry.isRevocation && state == HostKeyState::New)
            state = HostKeyState::Changed;
    }
    return state;
}

std::vector<const KnownHostKeys::Entry*> KnownHostKeys::outdatedEntries(ssh_key shown) const {
    std::vector<const Entry*> sameKind;
    std::vector<const Entry*> all;
    for (const Entry& entry : entries_) {
        if (entry.isRevocation)
            continue;
        all.push_back(&entry);
        if (ssh_key_type(entry.key.get()) == ssh_key_type(shown))
            sameKind.push_back(&entry);
    }
    return sameKind.empty() ? all : sameKind;
}

QStringList KnownHostKeys::outdated(ssh_key shown) const {
    QStringList fingerprints;
    for (const Entry* entry : outdatedEntries(shown))
        fingerprints.append(fingerprint(entry->key.get()));
    fingerprints.removeDuplicates();
    return fingerprints;
}

QByteArray KnownHostKeys::withoutServer(const QByteArray& line) const {
    const QByteArray trimmed = line.simplified();
    const qsizetype end = trimmed.indexOf(' ');
    QList<QByteArray> names = trimmed.left(end).split(',');
    // A hashed name is the only one in its line. Patterns also match other servers.
    names.removeIf([this](const QByteArray& name) {
        return name.startsWith('|') || name.compare(name_, Qt::CaseInsensitive) == 0;
    });
    return names.isEmpty() ? QByteArray() : names.join(',') + trimmed.mid(end);
}

Status KnownHostKeys::removeFrom(const QString& path, const std::vector<const Entry*>& entries) const {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return cannotStore(path, file.errorString());
    QList<QByteArray> lines;
    for (const QByteArray& line : file.readAll().split('\n')) {
        const bool isOutdated = std::any_of(entries.begin(), entries.end(),
                                            [&](const Entry* entry) { return entry->line == line; });
        const QByteArray kept = isOutdated ? withoutServer(line) : line;
        if (!isOutdated || !kept.isEmpty())
            lines.append(kept);
    }
    // Replaces the file atomically.
    QSaveFile changed(path);
    if (changed.open(QIODevice::WriteOnly)) {
        changed.write(lines.join('\n'));
        if (changed.commit())
            return success();
    }
    return cannotStore(path, changed.errorString());
}

Status KnownHostKeys::store(ssh_key shown) const {
    // Several logins may store keys at once.
    static Mutex storing;
    const MutexLock guard(storing);
    const QString path = userFiles_.value(0);
    char* base64 = nullptr;
    if (!shown || ssh_pki_export_pubkey_base64(shown, &base64) != SSH_OK)
        return sshError(SshErrorCode::Failed, SshTexts::tr("The server has shown no key."));
    const QByteArray line = name_ + ' ' + ssh_key_type_to_char(ssh_key_type(shown)) + ' ' + base64 + '\n';
    ssh_string_free_char(base64);
    const std::vector<const Entry*> outdated = outdatedEntries(shown);
    for (const QString& file : userFiles_) {
        const bool isConcerned = std::any_of(outdated.begin(), outdated.end(),
                                             [&](const Entry* entry) { return entry->file == file; });
        if (!isConcerned)
            continue;
        if (Status removed = removeFrom(file, outdated); !removed)
            return removed;
    }
    return path.isEmpty() ? success() : append(path, line);
}

} // namespace korvane
