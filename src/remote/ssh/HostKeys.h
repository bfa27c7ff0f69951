#pragma once

#include "foundation/Result.h"

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

/// Looks into the session's file of known hosts. The error says that another key is known, with both
/// fingerprints.
Result<HostKeyState> checkHostKey(ssh_session session, const QString& knownHostsPath);
Status storeHostKey(ssh_session session);

} // namespace korvane
