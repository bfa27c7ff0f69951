#include "remote/ssh/RevokedKeys.h"

#include "remote/ssh/SshError.h"
#include "remote/ssh/SshKeys.h"

#include <QFile>
#include <QTemporaryFile>

namespace korvane {
namespace {

/// First bytes of a list in ssh-keygen's binary format.
constexpr QByteArrayView ownFormMark("SSHKRL\n");
/// Exit status of ssh-keygen if the list revokes the key.
constexpr int revokedStatus = 1;

Error keyIsRevoked(ssh_key shown, const QString& path) {
    return sshError(
        SshErrorCode::HostKeyChanged,
        SshTexts::tr("The key of the server is revoked in \"%1\": %2. Somebody may be listening in.")
            .arg(path, fingerprint(shown)));
}

Error listIsUnusable(const QString& path, const QString& reason) {
    return sshError(SshErrorCode::Failed,
                    SshTexts::tr("The list of revoked keys \"%1\" cannot be read: %2.").arg(path, reason));
}

/// As in files of public keys.
QByteArray lineOf(ssh_key key) {
    return ssh_key_type_to_char(ssh_key_type(key)) + (' ' + publicBlob(key).toBase64());
}

Status checkOwnForm(ssh_key shown, const QString& path, int interruptEvent, Deadline deadline) {
    QTemporaryFile key;
    if (!key.open() || key.write(lineOf(shown) + '\n') < 0 || !key.flush())
        return listIsUnusable(path, key.errorString());
    const Result<ProgramOutcome> outcome =
        runProgram({"ssh-keygen", "-Q", "-f", QFile::encodeName(path), QFile::encodeName(key.fileName())},
                   interruptEvent, deadline);
    if (!outcome)
        return outcome.error();
    if (!outcome.value().isFound)
        return listIsUnusable(path, SshTexts::tr("there is no program \"ssh-keygen\""));
    if (outcome.value().exitStatus == 0)
        return success();
    if (outcome.value().exitStatus == revokedStatus)
        return keyIsRevoked(shown, path);
    return listIsUnusable(path, readableText(outcome.value().errors).section(u'\n', -1));
}

} // namespace

Status checkRevocation(ssh_key shown, const QString& path, int interruptEvent, Deadline deadline) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return listIsUnusable(path, file.errorString());
    if (file.peek(ownFormMark.size()) == ownFormMark)
        return checkOwnForm(shown, path, interruptEvent, deadline);
    const QByteArray revoked = lineOf(shown) + ' ';
    for (const QByteArray& line : file.readAll().split('\n')) {
        if ((line.simplified() + ' ').startsWith(revoked))
            return keyIsRevoked(shown, path);
    }
    return file.error() == QFile::NoError ? success() : listIsUnusable(path, file.errorString());
}

} // namespace korvane
