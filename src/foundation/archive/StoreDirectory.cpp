#include "foundation/archive/StoreDirectory.h"

#include <QDir>
#include <QFile>

namespace korvane {

QString storeDirectory() {
    QString data = QFile::decodeName(qgetenv("XDG_DATA_HOME"));
    if (!QDir::isAbsolutePath(data)) // a relative path counts as not set
        data = QDir::homePath() + QStringLiteral("/.local/share");
    return data + QStringLiteral("/korvane");
}

} // namespace korvane
