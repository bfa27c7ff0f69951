#pragma once

#include "foundation/notices/Notice.h"

#include <QtGlobal>

namespace korvane {

/// Notices from a data source to the tables that show its rows. All are posted on the main thread.
struct RowNotices {
    /// The rows of a page have been loaded. Payload: its one-based number.
    Notice<qint64> pageLoaded{"DataSourceLoadedLinesNotification"};
    /// All rows must be requested again; the old ones show until they are loaded.
    Notice<> rowsStale{"DataSourceRowsStaleNotification"};
    /// `RuledRows::defaultLineAction` has changed.
    Notice<> defaultLineActionChanged{"DefaultLineActionChangedNotification"};
};

} // namespace korvane
