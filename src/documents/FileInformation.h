#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace korvane {

/// Attributes of a file. Times are UTC: the local time zone is global state of the C library, so only the
/// main thread converts to it.
struct FileInformation {
    QString name;
    QDateTime lastAccess;
    QDateTime modificationDate;
    quint64 size = 0;
};

/// The file's attributes from the file system; nullopt when they cannot be read. May wait for a slow disk or
/// network: on a worker.
std::optional<FileInformation> fileInformation(const QByteArray& path);

} // namespace korvane
