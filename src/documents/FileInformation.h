#pragma once

#include <QDateTime>
#include <QString>

namespace korvane {

/// What is known of a file besides its lines.
struct FileInformation {
    QString name;
    QDateTime lastAccess;
    QDateTime modificationDate;
    quint64 size = 0;
};

} // namespace korvane
