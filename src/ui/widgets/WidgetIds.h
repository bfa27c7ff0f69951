#pragma once

#include "foundation/notices/WindowId.h"

class QWidget;

namespace korvane {

/// The id of a window, or of a widget in one; always the same for the same widget. Invalid for null. Main
/// thread.
WindowId idOf(QWidget* widget);

/// Null once the widget is destroyed, and for an invalid id. Main thread.
QWidget* widgetOf(WindowId id);

} // namespace korvane
