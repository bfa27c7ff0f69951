#pragma once

#include "foundation/archive/ArchivedList.h"

#include <QByteArray>
#include <QStringList>

#include <memory>
#include <vector>

namespace korvane {

class AuthnType;
class RemoteHost;
class ServerGroup;

/// The archived form of hosts and groups.

/// Called by KeyedArchiver.
QStringList archivedClassChain(const AuthnType& type);
QStringList archivedClassChain(const RemoteHost& host);
QStringList archivedClassChain(const ServerGroup& group);
void encode(const AuthnType& type, KeyedEncoder& encoder);
void encode(const RemoteHost& host, KeyedEncoder& encoder);
void encode(const ServerGroup& group, KeyedEncoder& encoder);

/// An archive whose root is the list.
QByteArray archiveHosts(const std::vector<std::shared_ptr<RemoteHost>>& hosts);
QByteArray archiveGroups(const std::vector<std::shared_ptr<ServerGroup>>& groups);

/// Both fail as `unarchiveList`; the first also if a host lacks the server's name, and names the host in the
/// error. A host without a port or a user name is skipped.
Result<UnarchivedList<RemoteHost>> unarchiveHosts(const QByteArray& archive);
Result<UnarchivedList<ServerGroup>> unarchiveGroups(const QByteArray& archive);

} // namespace korvane
