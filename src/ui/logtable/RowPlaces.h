#pragma once

#include <QtGlobal>

#include <functional>
#include <vector>

namespace korvane {

/// A place in the rows of a table: `offset` pixels below the top edge of a row.
struct RowPlace {
    qint64 row = 0;
    qreal offset = 0;
    friend bool operator==(const RowPlace&, const RowPlace&) = default;
};

/// The arithmetic of scrolling through rows of different heights, of which only those near the view are
/// measured. Heights are in device-independent pixels. Made for one calculation; stateless.
class RowPlaces {
public:
    struct VisibleRow {
        qint64 row;
        /// Top edge, relative to the top of the view.
        qreal y;
        qreal height;
        /// Rows that are not shown, if this stands for a gap; else 0.
        qint64 hiddenRows = 0;
    };

    using HeightOfRow = std::function<qreal(qint64 row)>;

    /// `standardHeight`: minimum row height.
    RowPlaces(HeightOfRow heightOfRow, qint64 rowCount, qreal viewHeight, qreal standardHeight);

    /// The visible rows, from the top, when the view's upper edge is at `top`.
    std::vector<VisibleRow> visible(RowPlace top) const;
    /// The top at which the last row ends at the lower edge; the first row when all rows fit.
    RowPlace end() const;
    /// The same place, or the nearest one at which rows fill the view.
    RowPlace limited(RowPlace top) const;
    /// The place `pixels` further; negative = towards the first row.
    RowPlace moved(RowPlace top, qreal pixels) const;
    /// The nearest place at which the whole row is visible, or its beginning when it is taller than the view.
    RowPlace showing(RowPlace top, qint64 row) const;
    /// The nearest place at which a part of a row is visible: `height` pixels from `part.offset` on, limited
    /// to the view's height.
    RowPlace showingPart(RowPlace top, RowPlace part, qreal height) const;
    /// Whether the end may be visible, so that its exact place matters.
    bool isNearEnd(RowPlace top) const;

private:
    const HeightOfRow heightOfRow_;
    const qint64 rowCount_;
    const qreal viewHeight_;
    const qreal standardHeight_;
};

} // namespace korvane
