#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The log category of the readers.
inline const QLoggingCategory& logCore() {
    static const QLoggingCategory category("korvane.core");
    return category;
}

} // namespace korvane
