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
    /// Row r stands for the line `lines.location` + r. `runStarts`: the shown lines behind a line that is
    /// not.
    RowMap(LineSet shown, LineSet runStarts, LineRange lines, Gaps gaps);

    bool showsAll() const { return showsAll_; }
    /// Rows that the data source has.
    qint64 rowCount() const { return lines_.length; }
    /// Positions of the table.
    qint64 count() const { return count_; }
    qint64 shownRowCount() const { return showsAll_ ? lines_.length : shown_.size() - shownBefore_; }

    bool shows(qint64 row) const;
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
    qint64 rank(qint64 row) const { return shown_.rank(lines_.location + row) - shownBefore_; }
    qint64 select(qint64 index) const { return shown_.select(shownBefore_ + index) - lines_.location; }
    /// Gaps that take a position, between the first row and this shown one.
    qint64 gapsBefore(qint64 row) const;
    /// The first row of a run of shown rows; the runs count from 0.
    qint64 runStart(qint64 run) const { return run == 0 ? select(0) : runStartBehindFirst(run - 1); }
    qint64 runStartBehindFirst(qint64 run) const {
        return runStarts_.select(runStartsBefore_ + run) - lines_.location;
    }

    bool showsAll_ = true;
    Gaps gaps_ = Gaps::None;
    LineRange lines_;
    qint64 count_ = 0;
    LineSet shown_;
    LineSet runStarts_;
    /// Lines shown before the first row.
    qint64 shownBefore_ = 0;
    /// Run starts up to the first shown row, which begins the first run whether it is one of them or not.
    qint64 runStartsBefore_ = 0;
    bool beginsWithGap_ = false;
};

} // namespace korvane
