#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The system log of windows and of what they have to do with the desktop.
inline const QLoggingCategory& logUi() {
    static const QLoggingCategory category("korvane.ui");
    return category;
}

} // namespace korvane
