#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The system log of all that has to do with servers.
inline const QLoggingCategory& logRemote() {
    static const QLoggingCategory category("korvane.remote");
    return category;
}

} // namespace korvane
