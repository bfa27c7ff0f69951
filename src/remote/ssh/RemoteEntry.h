#pragma once

#include <QDateTime>
#include <QString>

namespace korvane {

/// What a directory of a server holds under one name.
struct RemoteEntry {
    /// Without a "/" at its end.
    QString filename;
    /// True also for a link to a directory.
    bool isDirectory = false;
    bool isSymLink = false;
};

/// What stands at a path, behind links. Unknown where the server does not tell.
enum class RemoteFileKind { Unknown, File, Directory, Other };

/// What a server says of one file.
struct RemoteFileInfo {
    QString filename;
    QDateTime lastAccess;
    QDateTime modificationDate;
    quint64 fileSize = 0;
    RemoteFileKind kind = RemoteFileKind::Unknown;
};

} // namespace korvane
