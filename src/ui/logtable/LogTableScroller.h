#pragma once

#include "core/RowMap.h"
#include "ui/logtable/RowPlaces.h"

#include <QObject>

#include <functional>
#include <optional>
#include <vector>

namespace korvane {

class LogTableViewDelegate;

/// The rows that the log table shows: the place at its upper edge, and which place stays where it is while
/// rows change their heights. Coordinates and distances are device-independent pixels of the viewport. Main
/// thread; belongs to the table.
class LogTableScroller : public QObject {
    Q_OBJECT

public:
    /// `delegate` measures the rows and must outlive this.
    LogTableScroller(LogTableViewDelegate& delegate, std::function<qreal()> viewHeight);

    const RowMap& map() const { return map_; }
    /// The top row stays where it is; if it is not shown any more, the next shown one takes its place.
    void setMap(RowMap map);
    qint64 rowCount() const { return map_.rowCount(); }
    /// The heights of rows or of the view have changed: a view at the end stays there.
    void heightsChanged();
    /// All rows have been laid out again: an offset inside a row may mean nothing any more.
    void layoutChanged();

    const RowPlace& topPlace() const { return top_; }
    qint64 firstVisibleRow() const { return top_.row; }
    /// The position of the first visible row in the map.
    qint64 topPosition() const { return map_.positionOf(top_.row); }
    /// -1 without rows.
    qint64 lastVisibleRow() const;
    std::vector<RowPlaces::VisibleRow> visibleRows() const;
    /// nullopt when the row is not visible.
    std::optional<RowPlaces::VisibleRow> visibleRow(qint64 row) const;
    /// The row at a y coordinate; -1 outside the rows.
    qint64 rowAt(qreal y) const;
    bool isPartVisible(qint64 row, qreal offset, qreal height) const;
    bool isAtEnd() const { return isAtEnd(top_); }
    /// `isAtEnd` at the last change of rows, window or place: stays true when rows loaded since have become
    /// taller.
    bool stoodAtEnd() const { return stoodAtEnd_; }
    /// Rows of one line that fit into the view; at least 1.
    int rowsPerPage() const;
    /// The top at the end of the rows, as a position; an estimate, for which no row is measured, while the
    /// end is far away.
    RowPlace endPosition() const;
    bool isAtEndPosition() const { return positionOf(top_) == endPosition(); }

    /// Scrolls so that the row is at the top, as far as the end allows.
    void setTopRow(qint64 row) { setTopPosition(map_.positionOf(row)); }
    void setTopPosition(qint64 position);
    void scrollToEnd();
    /// Positive = towards the end. When scrolling up, rows loaded later do not move the rows that were
    /// visible before, even if they become taller.
    void scrollByPixels(qreal pixels);
    /// Scrolls by the visible height less one line; positive = towards the end. False when already at the end
    /// in that direction.
    bool scrollByPage(int direction);
    void scrollRowToVisible(qint64 row);
    /// Scrolls the least distance that shows `height` pixels of a row, from `offset` below its top edge.
    void scrollRowPartToVisible(qint64 row, qreal offset, qreal height);
    /// Scrolls so that the place is `y` pixels below the upper edge, and keeps it there while rows above it
    /// change their heights.
    void holdAt(RowPlace place, qreal y);

Q_SIGNALS:
    /// The number or the heights of rows, or the top, may have changed.
    void rangeChanged();
    /// Other rows are visible.
    void moved();

private:
    /// A place further down than the top that keeps its position in the view.
    struct HeldPlace {
        RowPlace place;
        qreal y = 0;
    };

    bool isRow(qint64 row) const { return row >= 0 && row < rowCount(); }
    qreal heightOf(qint64 row) const;
    qreal lineHeight() const;
    /// For the present positions and view.
    RowPlaces places() const;
    /// The same place, counted in positions; that of the gap or the next shown row, if the row is not shown.
    RowPlace positionOf(RowPlace place) const;
    RowPlace placeAt(RowPlace position) const;
    bool isAtEnd(RowPlace top) const;
    /// Whether visible rows may still become taller.
    bool hasUnmeasuredRows(RowPlace top) const;
    void setTop(RowPlace top) { moveTop(top, isAtEnd(top)); }
    void moveTop(RowPlace top, bool isEnd);

    LogTableViewDelegate& delegate_;
    const std::function<qreal()> viewHeight_;
    RowMap map_;
    RowPlace top_;
    /// The end of the last row was at the lower edge when the top was last set: it stays there when the
    /// window is resized or rows change their heights.
    bool stoodAtEnd_ = false;
    std::optional<HeldPlace> held_;
};

} // namespace korvane
