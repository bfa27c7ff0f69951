#pragma once

#include <QUrl>

class QWidget;

namespace korvane {

class AppDocumentController;

/// Lets the user choose log files and opens them. `near`: a file whose folder is shown first; may be empty.
void askForFiles(AppDocumentController& documents, QWidget* parent, const QUrl& near);

} // namespace korvane
