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

/// Where a login goes to, as the user has entered it.
struct LoginTarget {
    /// A server's name or address, or what the user's configuration calls it.
    QString host;
    std::uint16_t port = 22;
    /// Empty when the configuration knows it.
    QString username;
};

/// All that a login needs to know of its server.
struct SshConfiguration {
    QString hostName;
    std::uint16_t port = 22;
    /// Empty = the name that the user has on this computer.
    QString username;
    /// AF_UNSPEC, AF_INET or AF_INET6.
    int addressFamily = AF_UNSPEC;
    /// Of this computer; empty = any.
    QString bindAddress;
    /// For the shell; empty = the server is reached directly.
    QString proxyCommand;

    /// Private keys, of which some need not exist, and certificates.
    QStringList identityFiles;
    QStringList certificateFiles;
    /// Whether the agent's other keys are kept back.
    bool identitiesOnly = false;
    /// Of the agent's socket; empty = none is used.
    QByteArray agentPath;

    /// As files of known hosts name the server.
    QByteArray knownName;
    /// The first is the one that new keys are stored in.
    QStringList userKnownHosts;
    QStringList machineKnownHosts;
    /// Of keys that no server may show; empty = there is no such list.
    QString revokedHostKeys;

    /// From what the user has entered alone.
    static SshConfiguration plain(const LoginTarget& target, const SessionSettings& settings);
    /// By what the user's own ssh says of the server; nothing when there is no such program. Blocks. The
    /// error names the fault of a configuration.
    static Result<std::optional<SshConfiguration>>
    bySsh(const LoginTarget& target, const SessionSettings& settings, int interruptEvent, Deadline deadline);
};

} // namespace korvane
