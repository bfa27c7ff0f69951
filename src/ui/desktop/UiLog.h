#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The log category of windows and of the desktop integration.
inline const QLoggingCategory& logUi() {
    static const QLoggingCategory category("korvane.ui");
    return category;
}

} // namespace korvane
