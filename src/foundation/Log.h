#pragma once

#include <QLoggingCategory>

namespace korvane {

/// The system log: one category a folder, switched by the usual logging rules ("korvane.core=false").
Q_DECLARE_LOGGING_CATEGORY(logFoundation)
Q_DECLARE_LOGGING_CATEGORY(logCore)
Q_DECLARE_LOGGING_CATEGORY(logDocuments)
Q_DECLARE_LOGGING_CATEGORY(logRemote)
Q_DECLARE_LOGGING_CATEGORY(logUi)

/// Milestones with their time in microseconds on the monotonic clock, for measuring; off unless switched on.
Q_DECLARE_LOGGING_CATEGORY(logTiming)

} // namespace korvane
