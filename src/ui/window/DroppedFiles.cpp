#include "ui/window/DroppedFiles.h"

#include "documents/AppDocumentController.h"
#include "foundation/FilePath.h"

#include <QMimeData>

namespace korvane {
namespace {

QList<QUrl> droppedFiles(const QMimeData& data) {
    QList<QUrl> files;
    for (const QUrl& url : data.urls()) {
        // Normalise to the form in which the program writes URLs of local files.
        if (url.isLocalFile())
            files.append(fileUrlFromPath(localPath(url)));
    }
    return files;
}

} // namespace

bool holdsFiles(const QMimeData& data) {
    return !droppedFiles(data).isEmpty();
}

void openDroppedFiles(const QMimeData& data, AppDocumentController& documents) {
    const QList<QUrl> files = droppedFiles(data);
    const DocumentBatch batch(documents, static_cast<std::size_t>(files.size()));
    for (const QUrl& url : files)
        documents.openDocument(url);
}

} // namespace korvane
