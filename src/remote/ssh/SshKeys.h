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

/// As others write it: the kind of key, "SHA256:" and the digest.
QString fingerprint(ssh_key key);
/// The public half as agents and servers write it; empty for no key.
QByteArray publicBlob(ssh_key key);

/// Whether the library knows what to do with a public key, or a certificate, that an agent writes so.
bool isKnownKind(const QByteArray& blob);

/// The public half of a private key: from the file itself where it shows it, else from that beside it. Null
/// when neither does.
Key publicKeyFor(const QString& privateKeyPath);
/// Null when there is no such file, or it holds no such key.
Key publicKeyIn(const QString& path);
/// Whether the private key is encrypted.
bool wantsPassPhrase(const QString& privateKeyPath);
Result<Key> privateKeyIn(const QString& path, const std::optional<QString>& passPhrase);
/// Puts in the first of the certificates that is about the key, or the one beside the key's file. Returns
/// whether there was one.
bool addCertificate(ssh_key privateKey, const QString& privateKeyPath, const QStringList& certificatePaths);

} // namespace korvane
