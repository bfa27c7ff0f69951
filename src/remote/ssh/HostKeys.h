#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <libssh/libssh.h>
#include <memory>

namespace korvane {

struct FreeKey {
    void operator()(ssh_key key) const { ssh_key_free(key); }
};
using Key = std::unique_ptr<ssh_key_struct, FreeKey>;

/// What is known of the key that a server has shown.
enum class HostKeyState { Known, Unknown };

/// As others write it: the kind of key, "SHA256:" and the digest.
QString fingerprint(ssh_key key);
/// Of the server that the session is connected with.
QString serverFingerprint(ssh_session session);

/// As files of known hosts name a server.
QByteArray knownHostName(const QString& host, unsigned int port);
/// Looks for the server's key in the user's file and in that of the whole machine. The error says that
/// another key is known, with both fingerprints, or that the key has been revoked.
Result<HostKeyState> checkHostKey(ssh_session session, const QByteArray& name, const QString& knownHostsPath);
/// Adds the server's key to the user's file.
Status storeHostKey(ssh_session session, const QByteArray& name, const QString& knownHostsPath);

} // namespace korvane
