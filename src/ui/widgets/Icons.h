#pragma once

#include <QIcon>
#include <QString>

namespace korvane {

/// One of the program's own pictures, by its name. Single-coloured ones take the text colour of the desktop's
/// theme at the time of painting; they are sharp at every scale. Main thread.
QIcon icon(const QString& name);

} // namespace korvane
