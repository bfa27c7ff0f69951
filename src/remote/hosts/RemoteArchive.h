#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QStringList>

#include <memory>
#include <vector>

namespace korvane {

class AuthnType;
class KeyedEncoder;
class RemoteHost;
class ServerGroup;

/// How hosts and groups stand in an archive.

/// What a KeyedArchiver asks for.
QStringList archivedClassChain(const AuthnType& type);
QStringList archivedClassChain(const RemoteHost& host);
QStringList archivedClassChain(const ServerGroup& group);
void encode(const AuthnType& type, KeyedEncoder& encoder);
void encode(const RemoteHost& host, KeyedEncoder& encoder);
void encode(const ServerGroup& group, KeyedEncoder& encoder);

/// An archive whose root is the list.
QByteArray archiveHosts(const std::vector<std::shared_ptr<RemoteHost>>& hosts);
QByteArray archiveGroups(const std::vector<std::shared_ptr<ServerGroup>>& groups);

struct UnarchivedHosts {
    std::vector<std::shared_ptr<RemoteHost>> hosts;
    /// Elements of the list that are no hosts, and parts of a host that are not what they should be.
    int leftOut = 0;
};

struct UnarchivedGroups {
    std::vector<std::shared_ptr<ServerGroup>> groups;
    /// Elements of the list that are no groups.
    int leftOut = 0;
};

/// Both fail when the data is no archive of a list; the first also when a host lacks the server's name: the
/// text says which.
Result<UnarchivedHosts> unarchiveHosts(const QByteArray& archive);
Result<UnarchivedGroups> unarchiveGroups(const QByteArray& archive);

} // namespace korvane
