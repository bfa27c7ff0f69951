#include "ui/logtable/RowPlaces.h"

#include <algorithm>
#include <utility>

namespace korvane {

RowPlaces::RowPlaces(HeightOfRow heightOfRow, qint64 rowCount, qreal viewHeight, qreal standardHeight)
    : heightOfRow_(std::move(heightOfRow)), rowCount_(rowCount), viewHeight_(viewHeight),
      standardHeight_(standardHeight) {}

std::vector<RowPlaces::VisibleRow> RowPlaces::visible(RowPlace top) const {
    std::vector<VisibleRow> rows;
    qreal y = -top.offset;
    for (qint64 row = top.row; row < rowCount_ && y < viewHeight_; ++row) {
        const qreal height = heightOfRow_(row);
        rows.push_back({row, y, height});
        y += height;
    }
    return rows;
}

RowPlace RowPlaces::end() const {
    qreal missing = viewHeight_;
    for (qint64 row = rowCount_ - 1; row >= 0; --row) {
        missing -= heightOfRow_(row);
        if (missing <= 0)
            return {row, -missing};
    }
    return {};
}

bool RowPlaces::isNearEnd(RowPlace top) const {
    return top.row + static_cast<qint64>(viewHeight_ / standardHeight_) + 2 >= rowCount_;
}

RowPlace RowPlaces::limited(RowPlace top) const {
    if (rowCount_ == 0 || top.row < 0)
        return {};
    if (!isNearEnd(top))
        return top;
    const RowPlace last = end();
    if (top.row > last.row || (top.row == last.row && top.offset > last.offset))
        return last;
    return top;
}

RowPlace RowPlaces::moved(RowPlace top, qreal pixels) const {
    RowPlace place{top.row, top.offset + pixels};
    while (place.offset < 0 && place.row > 0) {
        --place.row;
        place.offset += heightOfRow_(place.row);
    }
    place.offset = std::max(place.offset, 0.0);
    for (qreal height = heightOfRow_(place.row); place.offset >= height && place.row + 1 < rowCount_;
         height = heightOfRow_(place.row)) {
        place.offset -= height;
        ++place.row;
    }
    return limited(place);
}

RowPlace RowPlaces::showing(RowPlace top, qint64 row) const {
    if (row < top.row || (row == top.row && top.offset > 0))
        return limited({row, 0});
    qreal bottom = -top.offset;
    for (qint64 above = top.row; above < row && bottom <= viewHeight_; ++above)
        bottom += heightOfRow_(above);
    const qreal height = heightOfRow_(row);
    if (bottom + height <= viewHeight_)
        return top;
    if (height > viewHeight_)
        return limited({row, 0});
    // Up from the row until the view is filled.
    RowPlace place{row, 0};
    qreal missing = viewHeight_ - height;
    while (missing > 0 && place.row > 0) {
        --place.row;
        missing -= heightOfRow_(place.row);
    }
    place.offset = std::max(-missing, 0.0);
    return limited(place);
}

} // namespace korvane
