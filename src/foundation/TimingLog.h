#pragma once

#include <QLoggingCategory>

namespace korvane {

/// Logs milestones with their time in microseconds on the monotonic clock; off by default.
inline const QLoggingCategory& logTiming() {
    static const QLoggingCategory category("korvane.timing", QtWarningMsg);
    return category;
}

} // namespace korvane
