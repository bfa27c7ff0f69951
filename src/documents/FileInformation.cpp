#include "documents/FileInformationOperation.h"

#include "foundation/FilePath.h"

#include <sys/stat.h>

namespace korvane {

void FileInformationOperation::main() {
    struct stat status {};
    if (::stat(path_.constData(), &status) != 0)
        return;
    information_ = FileInformation{
        displayName(fileUrlFromPath(path_)), QDateTime::fromSecsSinceEpoch(status.st_atime, Qt::UTC),
        QDateTime::fromSecsSinceEpoch(status.st_mtime, Qt::UTC), static_cast<quint64>(status.st_size)};
}

} // namespace korvane
