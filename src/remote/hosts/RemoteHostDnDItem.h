#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace korvane {

/// A host dragged from one group to another.
struct RemoteHostDnDItem {
    inline static const QString GROUP_NAME_KEY = QStringLiteral("GROUP_NAME");
    inline static const QString HOST_IDX_KEY = QStringLiteral("HOST_IDX");
    /// The MIME type of the data.
    inline static const QString dataType = QStringLiteral("org.korvane.remotehost");

    QString groupName;
    /// Index of the host within that group, as shown.
    std::int32_t hostIndex = 0;

    QByteArray archived() const;
    static Result<RemoteHostDnDItem> fromArchive(const QByteArray& archive);
};

} // namespace korvane
