#pragma once

#include "foundation/Result.h"
#include "remote/ssh/SshKeys.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <libssh/libssh.h>
#include <vector>

namespace korvane {

Key serverKey(ssh_session session);

/// The result of comparing a server's key with the known ones.
enum class HostKeyState {
    Known,
    /// No key of the server is known.
    New,
    /// Only other keys are known.
    Changed,
};

/// The keys of one server in the files of known hosts.
class KnownHostKeys {
public:
    /// Reads the files; missing ones are skipped. `store` adds keys to the first of the user's files. `name`:
    /// the server's name in the files.
    static Result<KnownHostKeys> read(const QByteArray& name, const QStringList& userFiles,
                                      const QStringList& machineFiles);

    /// The key algorithms to request from the server, those of known keys first; empty if no key is known.
    QByteArray algorithms() const;
    /// Fails if the key has been revoked.
    Result<HostKeyState> check(ssh_key shown) const;
    /// The fingerprints of the keys that `store` replaces.
    QStringList outdated(ssh_key shown) const;
    /// Adds the key to the user's file and removes the outdated ones.
    Status store(ssh_key shown) const;

private:
    struct Entry {
        QString file;
        QByteArray line;
        Key key;
        bool isRevocation = false;
    };

    void readLine(const QString& file, const QByteArray& line);
    std::vector<const Entry*> outdatedEntries(ssh_key shown) const;
    /// The line without the server's name; empty if no other name is left.
    QByteArray withoutServer(const QByteArray& line) const;
    Status removeFrom(const QString& path, const std::vector<const Entry*>& entries) const;

    QByteArray name_;
    QStringList userFiles_;
    std::vector<Entry> entries_;
};

} // namespace korvane
