#pragma once

#include <QDateTime>
#include <QString>

namespace korvane {

/// What is known of a file besides its lines. Times are UTC: workers leave the local time zone, which the C
/// library keeps in one place for all threads, to the main thread.
struct FileInformation {
    QString name;
    QDateTime lastAccess;
    QDateTime modificationDate;
    quint64 size = 0;
};

} // namespace korvane
