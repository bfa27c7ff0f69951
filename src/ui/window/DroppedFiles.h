#pragma once

#include <QList>
#include <QMimeData>
#include <QUrl>

namespace korvane {

/// Whether something dragged over a window is or holds files that can be opened.
bool holdsFiles(const QMimeData& data);
/// The addresses of those files.
QList<QUrl> droppedFiles(const QMimeData& data);

} // namespace korvane
