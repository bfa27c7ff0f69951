#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The system log of what reads files.
inline const QLoggingCategory& logCore() {
    static const QLoggingCategory category("korvane.core");
    return category;
}

} // namespace korvane
