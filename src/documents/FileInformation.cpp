#include "documents/FileInformation.h"

#include "foundation/FilePath.h"

#include <sys/stat.h>

namespace korvane {

std::optional<FileInformation> fileInformation(const QByteArray& path) {
    struct stat status {};
    if (::stat(path.constData(), &status) != 0)
        return std::nullopt;
    return FileInformation{
        displayName(fileUrlFromPath(path)), QDateTime::fromSecsSinceEpoch(status.st_atime, Qt::UTC),
        QDateTime::fromSecsSinceEpoch(status.st_mtime, Qt::UTC), static_cast<quint64>(status.st_size)};
}

} // namespace korvane
