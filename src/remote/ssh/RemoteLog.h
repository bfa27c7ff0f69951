#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The system log category for everything about servers.
inline const QLoggingCategory& logRemote() {
    static const QLoggingCategory category("korvane.remote");
    return category;
}

} // namespace korvane
