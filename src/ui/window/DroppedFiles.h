#pragma once

class QMimeData;

namespace korvane {

class AppDocumentController;

/// Whether data dragged over a window holds files that can be opened.
bool holdsFiles(const QMimeData& data);
/// Opens those files; the last one comes to the front.
void openDroppedFiles(const QMimeData& data, AppDocumentController& documents);

} // namespace korvane
