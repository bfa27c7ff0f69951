#pragma once

#include <QLoggingCategory>

namespace korvane {

/// Milestones with their time in microseconds on the monotonic clock, for measuring; off unless switched on.
inline const QLoggingCategory& logTiming() {
    static const QLoggingCategory category("korvane.timing", QtWarningMsg);
    return category;
}

} // namespace korvane
