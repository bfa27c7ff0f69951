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
    return showingPart(top, {row, 0}, std::min(heightOfRow_(row), viewHeight_));
}

RowPlace RowPlaces::showingPart(RowPlace top, RowPlace part, qreal height) const {
    if (part.row < top.row || (part.row == top.row && part.offset < top.offset))
        return limited(part);
    qreal bottom = part.offset + height - top.offset;
    for (qint64 above = top.row; above < part.row && bottom <= viewHeight_; ++above)
        bottom += heightOfRow_(above);
    if (bottom <= viewHeight_)
        return top;
    return moved({part.row, part.offset + height}, -viewHeight_);
}

} // namespace korvane
