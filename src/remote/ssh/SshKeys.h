#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <libssh/libssh.h>
#include <memory>
#include <optional>

namespace korvane {

struct FreeKey {
    void operator()(ssh_key key) const { ssh_key_free(key); }
};
using Key = std::unique_ptr<ssh_key_struct, FreeKey>;

/// In the usual form: type of the key, "SHA256:" and the digest.
QString fingerprint(ssh_key key);
/// The public half in the encoding of agents and servers; empty for a null key.
QByteArray publicBlob(ssh_key key);

/// Whether the library supports the public key or certificate with this encoding.
bool isKnownKind(const QByteArray& blob);

/// The public half of a private key: from the file itself if it is readable there, otherwise from the .pub
/// file next to it. Null if neither has it.
Key publicKeyFor(const QString& privateKeyPath);
/// Null if there is no such file, or it holds no such key.
Key publicKeyIn(const QString& path);
/// Whether the private key is encrypted.
bool wantsPassPhrase(const QString& privateKeyPath);
Result<Key> privateKeyIn(const QString& path, const std::optional<QString>& passPhrase);
/// Adds the first matching certificate, or the one next to the key's file. Returns whether there was one.
bool addCertificate(ssh_key privateKey, const QString& privateKeyPath, const QStringList& certificatePaths);

} // namespace korvane
