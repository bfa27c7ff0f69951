#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QString>

#include <optional>

namespace korvane {

/// What is known of a file besides its lines. Times are UTC: workers leave the local time zone, which the C
/// library keeps in one place for all threads, to the main thread.
struct FileInformation {
    QString name;
    QDateTime lastAccess;
    QDateTime modificationDate;
    quint64 size = 0;
};

/// What the file system says of the file; nothing when it does not answer. May wait for a slow disk or
/// network: on a worker.
std::optional<FileInformation> fileInformation(const QByteArray& path);

} // namespace korvane
