#pragma once

#include <QtGlobal>

#include <functional>
#include <vector>

namespace korvane {

/// A place in the rows of a table: so many pixels below the top edge of a row.
struct RowPlace {
    qint64 row = 0;
    qreal offset = 0;
    friend bool operator==(const RowPlace&, const RowPlace&) = default;
};

/// The arithmetic of scrolling through rows of different heights, of which only those near the view are ever
/// measured. Heights are in device-independent pixels. Made for one question; holds nothing.
class RowPlaces {
public:
    struct VisibleRow {
        qint64 row;
        /// Of its top edge, from the top of the view.
        qreal y;
        qreal height;
    };

    using HeightOfRow = std::function<qreal(qint64 row)>;

    /// `standardHeight`: no row is lower.
    RowPlaces(HeightOfRow heightOfRow, qint64 rowCount, qreal viewHeight, qreal standardHeight);

    /// The rows in a view whose upper edge stands at `top`, from above.
    std::vector<VisibleRow> visible(RowPlace top) const;
    /// The top at which the last row ends at the lower edge; the first row when all fit.
    RowPlace end() const;
    /// The same place, or the nearest at which the view is filled.
    RowPlace limited(RowPlace top) const;
    /// So many pixels further; negative = towards the first row.
    RowPlace moved(RowPlace top, qreal pixels) const;
    /// The nearest place at which the whole row is in view, or its beginning when it is taller than the view.
    RowPlace showing(RowPlace top, qint64 row) const;
    /// The nearest place at which a part of a row is in view: `height` pixels from `part.offset` on, no more
    /// than the view has.
    RowPlace showingPart(RowPlace top, RowPlace part, qreal height) const;
    /// Whether the end may be in view, so that its exact place matters.
    bool isNearEnd(RowPlace top) const;

private:
    const HeightOfRow heightOfRow_;
    const qint64 rowCount_;
    const qreal viewHeight_;
    const qreal standardHeight_;
};

} // namespace korvane
