#pragma once

class QMimeData;

namespace korvane {

class AppDocumentController;

/// Whether something dragged over a window is or holds files that can be opened.
bool holdsFiles(const QMimeData& data);
/// Opens those files; the last one comes to the front.
void openDroppedFiles(const QMimeData& data, AppDocumentController& documents);

} // namespace korvane
