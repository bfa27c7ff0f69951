#pragma once

#include "core/LineSet.h"
#include "core/reader/LogFileReaderProtocol.h"

#include <optional>

namespace korvane {

/// Which rows of a data source a table shows, and in which positions: all of them, or a set. Rows that are
/// not shown form gaps, each between two shown rows or at an end. An immutable value; copies are cheap. Any
/// thread.
class RowMap {
public:
    enum class Gaps {
        None, ///< take no position
        Rows, ///< each takes one
    };
    /// Consecutive rows that are not shown.
    using Gap = LineRange;

    /// No rows.
    RowMap() = default;
    static RowMap ofAllRows(qint64 rowCount);
    struct Sets {
        LineSet shown;
        /// The shown lines behind a line that is not shown.
        LineSet runStarts;
        /// The lines that are meant; other shown lines are their context.
        LineSet meant;
    };
    /// Row r stands for the line `lines.location` + r.
    RowMap(Sets sets, LineRange lines, Gaps gaps);
    /// The same map for a table with fewer rows.
    RowMap limitedTo(qint64 rowCount) const;

    bool showsAll() const { return showsAll_; }
    /// Rows that the data source has.
    qint64 rowCount() const { return lines_.length; }
    /// Positions of the table.
    qint64 count() const { return count_; }
    /// Rows that are shown.
    qint64 shownRowCount() const {
        return showsAll_ ? lines_.length : sets_.shown.rank(lines_.location + lines_.length) - shownBefore_;
    }

    /// Of these, rows that are not only context.
    qint64 meantRowCount() const {
        return showsAll_
                   ? lines_.length
                   : sets_.meant.rank(lines_.location + lines_.length) - sets_.meant.rank(lines_.location);
    }

    /// Shown rows before the row. 0 <= `row` <= `rowCount`.
    qint64 shownRowsBefore(qint64 row) const { return showsAll_ ? row : rank(row); }
    bool shows(qint64 row) const;
    /// Whether gaps take a position.
    bool hasGapRows() const { return !showsAll_ && gaps_ == Gaps::Rows; }
    /// Whether the row is shown as the context of others.
    bool isContext(qint64 row) const {
        return !showsAll_ && shows(row) && !sets_.meant.contains(lines_.location + row);
    }
    /// The row at a position; for a gap its first row. Precondition: 0 <= `position` < `count`.
    qint64 rowAt(qint64 position) const;
    /// The position of a row; for one that is not shown that of its gap, or of the next shown row, or of the
    /// last one. 0 without any.
    qint64 positionOf(qint64 row) const;
    /// The nearest shown row; the one behind when two are as near. Nullopt when none is shown.
    std::optional<qint64> nearestShown(qint64 row) const;
    /// The first shown row behind `row`, or the last before it.
    std::optional<qint64> nextShown(qint64 row) const;
    std::optional<qint64> previousShown(qint64 row) const;
    /// The gap that a row lies in; of length 0 for a shown row.
    Gap gapAt(qint64 row) const;
    /// The gap that ends directly before the row; of length 0 without one.
    Gap gapBefore(qint64 row) const { return row > 0 ? gapAt(row - 1) : Gap{row, 0}; }

private:
    /// Shown rows before the row.
    qint64 rank(qint64 row) const { return sets_.shown.rank(lines_.location + row) - shownBefore_; }
    qint64 select(qint64 index) const { return sets_.shown.select(shownBefore_ + index) - lines_.location; }
    /// Gaps that take a position, between the first row and this shown one.
    qint64 gapsBefore(qint64 row) const;
    /// Run starts behind the first shown row.
    qint64 furtherRunCount() const {
        return sets_.runStarts.rank(lines_.location + lines_.length) - runStartsBefore_;
    }
    /// The first row of a run of shown rows; the runs count from 0.
    qint64 runStart(qint64 run) const { return run == 0 ? select(0) : runStartBehindFirst(run - 1); }
    qint64 runStartBehindFirst(qint64 run) const {
        return sets_.runStarts.select(runStartsBefore_ + run) - lines_.location;
    }

    bool showsAll_ = true;
    Gaps gaps_ = Gaps::None;
    LineRange lines_;
    qint64 count_ = 0;
    Sets sets_;
    /// Lines shown before the first row.
    qint64 shownBefore_ = 0;
    /// Run starts up to the first shown row, which begins the first run whether it is one of them or not.
    qint64 runStartsBefore_ = 0;
    bool beginsWithGap_ = false;
};

} // namespace korvane
