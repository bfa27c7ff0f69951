#include "ui/window/DroppedFiles.h"

#include "foundation/FilePath.h"

namespace korvane {

bool holdsFiles(const QMimeData& data) {
    return !droppedFiles(data).isEmpty();
}

QList<QUrl> droppedFiles(const QMimeData& data) {
    QList<QUrl> files;
    for (const QUrl& url : data.urls()) {
        // In the one form in which the program writes the address of a local file.
        if (url.isLocalFile())
            files.append(fileUrlFromPath(localPath(url)));
    }
    return files;
}

} // namespace korvane
