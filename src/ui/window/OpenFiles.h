#pragma once

#include <QUrl>

class QWidget;

namespace korvane {

class AppDocumentController;

/// Lets the user choose log files and opens them. `near`: the dialog starts in this file's folder; may be
/// empty.
void askForFiles(AppDocumentController& documents, QWidget* parent, const QUrl& near);

} // namespace korvane
