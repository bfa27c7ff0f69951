#include "ui/window/OpenFiles.h"

#include "documents/AppDocumentController.h"
#include "foundation/FilePath.h"

#include <QApplication>
#include <QFile>
#include <QFileDialog>

namespace korvane {

void askForFiles(AppDocumentController& documents, QWidget* parent, const QUrl& near) {
    // The dialog cannot handle names that are not UTF-8; such files can be opened from the command line.
    auto* dialog = new QFileDialog(parent, QApplication::translate("OpenFiles", "Open Log Files"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFiles);
    if (near.isLocalFile())
        dialog->setDirectory(QFile::decodeName(localPath(near.adjusted(QUrl::RemoveFilename))));
    // Only when the dialog has closed: it would take an alert down with it.
    QObject::connect(dialog, &QFileDialog::accepted, dialog, [&documents, dialog] {
        const QStringList files = dialog->selectedFiles();
        const DocumentBatch batch(documents, static_cast<std::size_t>(files.size()));
        for (const QString& file : files)
            documents.openDocument(fileUrlFromPath(QFile::encodeName(file)));
    });
    dialog->open();
}

} // namespace korvane
