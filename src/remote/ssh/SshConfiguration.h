#pragma once

#include "foundation/Result.h"
#include "remote/ssh/Programs.h"
#include "remote/ssh/SessionSettings.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <optional>
#include <sys/socket.h>

namespace korvane {

/// The destination of a login, as entered by the user.
struct LoginTarget {
    /// Name or address of a server, or an alias in the user's configuration.
    QString host;
    std::uint16_t port = 22;
    /// Empty if the configuration names it.
    QString username;
};

/// All settings of a login to one server.
struct SshConfiguration {
    QString hostName;
    std::uint16_t port = 22;
    /// Empty: the user's name on this computer.
    QString username;
    /// AF_UNSPEC, AF_INET or AF_INET6.
    int addressFamily = AF_UNSPEC;
    /// An address of this computer; empty: any.
    QString bindAddress;
    /// For the shell; empty: the server is reached directly.
    QString proxyCommand;

    /// Private keys, some of which may not exist, and certificates.
    QStringList identityFiles;
    QStringList certificateFiles;
    /// Whether other keys of the agent are not used.
    bool identitiesOnly = false;
    /// Path of the agent's socket; empty: none is used.
    QByteArray agentPath;

    /// The server's name in files of known hosts.
    QByteArray knownName;
    /// New keys are stored in the first one.
    QStringList userKnownHosts;
    QStringList machineKnownHosts;
    /// Path of the list of revoked host keys; empty: none.
    QString revokedHostKeys;

    /// From the user's entries alone.
    static SshConfiguration plain(const LoginTarget& target, const SessionSettings& settings);
    /// From the configuration that the user's own ssh prints for the server; nullopt if there is no such
    /// program. Blocks. The error describes a faulty configuration.
    static Result<std::optional<SshConfiguration>>
    bySsh(const LoginTarget& target, const SessionSettings& settings, int interruptEvent, Deadline deadline);
};

} // namespace korvane
