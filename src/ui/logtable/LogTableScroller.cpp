#include "ui/logtable/LogTableScroller.h"

#include "ui/logtable/LogTableViewDelegate.h"

#include <algorithm>
#include <utility>

namespace korvane {

LogTableScroller::LogTableScroller(LogTableViewDelegate& delegate, std::function<qreal()> viewHeight)
    : delegate_(delegate), viewHeight_(std::move(viewHeight)) {}

qreal LogTableScroller::lineHeight() const {
    return delegate_.metrics().lineHeight();
}

qreal LogTableScroller::heightOf(qint64 row) const {
    return map_.shows(row) ? delegate_.heightOfRow(row) : lineHeight();
}

RowPlaces LogTableScroller::places() const {
    return {[this](qint64 position) { return heightOf(map_.rowAt(position)); }, map_.count(), viewHeight_(),
            lineHeight()};
}

RowPlace LogTableScroller::positionOf(RowPlace place) const {
    const qint64 position = map_.positionOf(place.row);
    const bool isSame = map_.count() > 0 && map_.rowAt(position) == place.row;
    return {position, isSame ? place.offset : 0};
}

RowPlace LogTableScroller::placeAt(RowPlace position) const {
    return {position.row < map_.count() ? map_.rowAt(position.row) : 0, position.offset};
}

// ---- Changed rows

void LogTableScroller::setMap(RowMap map) {
    map_ = std::move(map);
    const auto held = held_;
    setTop(placeAt(places().limited(positionOf(top_))));
    if (held && map_.shows(held->place.row))
        held_ = held;
}

void LogTableScroller::heightsChanged() {
    if (const auto held = held_; held && isRow(held->place.row))
        holdAt(held->place, std::min(held->y, std::max(0.0, viewHeight_() - lineHeight())));
    else if (stoodAtEnd_ && top_ != RowPlace{})
        scrollToEnd();
    else
        setTop(placeAt(places().limited(positionOf(top_))));
}

void LogTableScroller::layoutChanged() {
    const auto isInside = [this](RowPlace place) {
        return !isRow(place.row) || place.offset < heightOf(place.row);
    };
    if (held_ && !isInside(held_->place))
        held_.reset();
    if (!isInside(top_))
        top_.offset = 0;
    heightsChanged();
}

// ---- What is visible

std::vector<RowPlaces::VisibleRow> LogTableScroller::visibleRows() const {
    auto rows = places().visible(positionOf(top_));
    for (RowPlaces::VisibleRow& row : rows) {
        row.row = map_.rowAt(row.row);
        row.hiddenRows = map_.gapAt(row.row).length;
    }
    return rows;
}

qint64 LogTableScroller::lastVisibleRow() const {
    const auto rows = visibleRows();
    return rows.empty() ? -1 : rows.back().row;
}

std::optional<RowPlaces::VisibleRow> LogTableScroller::visibleRow(qint64 row) const {
    for (const RowPlaces::VisibleRow& visible : visibleRows()) {
        if (visible.row == row)
            return visible;
    }
    return std::nullopt;
}

qint64 LogTableScroller::rowAt(qreal y) const {
    for (const RowPlaces::VisibleRow& row : visibleRows()) {
        if (y >= row.y && y < row.y + row.height)
            return row.row;
    }
    return -1;
}

bool LogTableScroller::isPartVisible(qint64 row, qreal offset, qreal height) const {
    const auto visible = visibleRow(row);
    return visible && visible->y + offset >= 0 && visible->y + offset + height <= viewHeight_();
}

bool LogTableScroller::isAtEnd(RowPlace top) const {
    return map_.count() == 0 || places().limited({map_.count() - 1, 1e9}) == positionOf(top);
}

bool LogTableScroller::hasUnmeasuredRows(RowPlace top) const {
    if (!delegate_.isWrapping())
        return false;
    const auto rows = places().visible(positionOf(top));
    return std::any_of(rows.begin(), rows.end(), [this](const auto& visible) {
        const qint64 row = map_.rowAt(visible.row);
        return map_.shows(row) && !delegate_.isLoaded(row);
    });
}

int LogTableScroller::rowsPerPage() const {
    return std::max(1, static_cast<int>(viewHeight_() / lineHeight()));
}

RowPlace LogTableScroller::endPosition() const {
    const RowPlaces rows = places();
    return rows.isNearEnd(positionOf(top_)) ? rows.end()
                                            : RowPlace{std::max<qint64>(map_.count() - rowsPerPage(), 0), 0};
}

// ---- Scrolling

void LogTableScroller::moveTop(RowPlace top, bool isEnd) {
    const bool hasMoved = top != top_;
    held_.reset();
    top_ = top;
    stoodAtEnd_ = isEnd;
    Q_EMIT rangeChanged();
    if (hasMoved)
        Q_EMIT moved();
}

void LogTableScroller::holdAt(RowPlace place, qreal y) {
    setTop(placeAt(places().moved(positionOf(place), -y)));
    // At the ends of the file the place may be nearer to the edge than requested.
    const auto visible = visibleRow(place.row);
    held_ = HeldPlace{place, visible ? visible->y + place.offset : y};
}

void LogTableScroller::setTopPosition(qint64 position) {
    const qint64 last = std::max<qint64>(map_.count() - 1, 0);
    setTop(placeAt(places().limited({std::clamp<qint64>(position, 0, last), 0})));
}

void LogTableScroller::scrollToEnd() {
    // Do not check again for the end: text loaded meanwhile makes rows taller.
    moveTop(placeAt(places().end()), true);
}

void LogTableScroller::scrollByPixels(qreal pixels) {
    if (map_.count() == 0)
        return;
    if (pixels < 0 && -pixels < viewHeight_()) {
        holdAt(top_, -pixels);
        return;
    }
    const RowPlace top = placeAt(places().moved(positionOf(top_), pixels));
    // If rows still have to get their text, the end may move away: do not count it as reached.
    moveTop(top, isAtEnd(top) && !hasUnmeasuredRows(top));
    held_ = HeldPlace{top, 0};
}

bool LogTableScroller::scrollByPage(int direction) {
    const RowPlace before = top_;
    scrollByPixels(direction * std::max(1, rowsPerPage() - 1) * lineHeight());
    return top_ != before;
}

void LogTableScroller::scrollRowToVisible(qint64 row) {
    if (isRow(row))
        setTop(placeAt(places().showing(positionOf(top_), map_.positionOf(row))));
}

void LogTableScroller::scrollRowPartToVisible(qint64 row, qreal offset, qreal height) {
    if (isRow(row))
        setTop(placeAt(places().showingPart(positionOf(top_), positionOf({row, offset}), height)));
}

} // namespace korvane
