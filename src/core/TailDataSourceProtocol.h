#pragma once

#include "core/DataSourceRoles.h"
#include "core/RowNotices.h"

#include <QString>

namespace korvane {

/// Turns the lines of a file into the rows of a table. Held by shared pointer. Main thread unless said
/// otherwise; no operation waits for the disk.
class TailDataSourceProtocol : public TableRows, public RuledRows, public SearchedRows, public LineTexts {
public:
    /// The text highlighted everywhere while quick highlight is on; empty for none.
    virtual QString quickHighlightSelectionString() const = 0;
    virtual void setQuickHighlightSelectionString(const QString& text) = 0;
    virtual bool quickHighlightEnabled() const = 0;
    virtual void setQuickHighlightEnabled(bool enabled) = 0;

    /// Drops rows, rules and running loads.
    virtual void reset() = 0;
    /// Hides every line read so far from the table, except the last one; later lines are shown.
    virtual void clearView() = 0;
    /// Forgets all rows and search results; the table shows the file from its first line.
    virtual void clearCache() = 0;
    /// Rows must be decorated again (font, colours, rules or encoding changed). The old ones are shown until
    /// then; `rowStart` and search results stay.
    virtual void invalidateRows() = 0;
    /// Lines from this index on were appended or changed: their pages are requested again when needed, and
    /// show their old text until then. Any thread.
    virtual void linesChanged(qint64 firstLine) = 0;

    /// Loads a page of lines, once; at once on this thread when not `async`. Any thread.
    virtual void loadPage(qint64 page, bool async) = 0;
    /// Cancels page loads that have not started and contain no row of [firstRow, lastRow].
    virtual void dropRequestsOutside(qint64 firstRow, qint64 lastRow) = 0;
    /// No row is in view until the next `dropRequestsOutside`: their memory may be released first.
    virtual void viewHidden() {}

    /// Whether rows loaded so far contain bytes that are invalid in the file's encoding, shown as U+FFFD.
    virtual bool hasInvalidLines() const = 0;

    RowNotices& notices() { return notices_; }

private:
    RowNotices notices_;
};

} // namespace korvane
