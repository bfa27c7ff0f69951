#pragma once

#include <QDateTime>
#include <QString>

#include <cstdint>
#include <optional>

namespace korvane {

/// What a name on a server stands for.
enum class RemoteFileKind : std::uint8_t {
    Regular,
    Directory,
    Link,
    /// A pipe, a socket or a device.
    Special,
    /// A link that leads to nothing that the server gives.
    Missing,
};

/// What a directory of a server holds under one name.
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

/// Where a symbolic link of a server leads in the end.
struct RemoteLinkTarget {
    /// Never `Link`.
    RemoteFileKind kind = RemoteFileKind::Missing;
    /// As for RemoteEntry.
    std::optional<quint64> fileSize = {};
    QDateTime modificationDate = {};
    /// Why it leads nowhere, for the user; empty where it does lead somewhere.
    QString fault = {};
};

/// What a server says of one file.
struct RemoteFileInfo {
    QString filename;
    QDateTime lastAccess;
    QDateTime modificationDate;
    quint64 fileSize = 0;
    /// Behind links.
    RemoteFileKind kind = RemoteFileKind::Regular;
};

} // namespace korvane
