#pragma once

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <optional>

namespace korvane {

/// The kind of an entry on a server.
enum class RemoteFileKind : std::uint8_t {
    Regular,
    Directory,
    Link,
    /// A pipe, a socket or a device.
    Special,
    /// A link whose target cannot be reached.
    Missing,
};

/// An entry of a server's directory.
struct RemoteEntry {
    /// Never empty, and without a "/".
    QString filename;
    RemoteFileKind kind = RemoteFileKind::Regular;
    /// In bytes; absent for a link, and where the server does not say.
    std::optional<quint64> fileSize = {};
    /// Invalid where the server does not say.
    QDateTime modificationDate = {};

    bool operator==(const RemoteEntry&) const = default;
};

/// The resolved target of a symbolic link on a server.
struct RemoteLinkTarget {
    /// Never `Link`.
    RemoteFileKind kind = RemoteFileKind::Missing;
    /// As for RemoteEntry.
    std::optional<quint64> fileSize = {};
    QDateTime modificationDate = {};
    /// Why the target cannot be reached, for the user; empty if it can.
    QString fault = {};
};

/// Information about one file on a server.
struct RemoteFileInfo {
    QString filename;
    QDateTime lastAccess;
    QDateTime modificationDate;
    quint64 fileSize = 0;
    /// The kind after following links.
    RemoteFileKind kind = RemoteFileKind::Regular;
};

} // namespace korvane
