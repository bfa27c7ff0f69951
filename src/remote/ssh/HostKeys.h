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

/// What is known of the key that a server has shown.
enum class HostKeyState {
    Known,
    /// No key of the server is known.
    New,
    /// Only others are.
    Changed,
};

/// The keys that files of known hosts hold of one server.
class KnownHostKeys {
public:
    /// Reads the files, of which some need not exist; "none" names no file. Keys that the server shows later
    /// are stored in the first of the user's. `name`: as the files name the server.
    static Result<KnownHostKeys> read(const QByteArray& name, const QStringList& userFiles,
                                      const QStringList& machineFiles);

    /// The algorithms of keys that the server is to be asked for, those of known keys first; empty when none
    /// is known.
    QByteArray algorithms() const;
    /// The error says that the key has been revoked.
    Result<HostKeyState> check(ssh_key shown) const;
    /// The fingerprints of the keys that `store` replaces.
    QStringList outdated(ssh_key shown) const;
    /// Adds the key to the user's file, in place of those that are outdated.
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
    /// What is left of the line without the server.
    QByteArray withoutServer(const QByteArray& line) const;
    Status removeFrom(const QString& file, const std::vector<const Entry*>& entries) const;

    QByteArray name_;
    QStringList userFiles_;
    std::vector<Entry> entries_;
};

} // namespace korvane
