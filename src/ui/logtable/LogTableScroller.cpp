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

RowPlaces LogTableScroller::places() const {
    return {[this](qint64 row) { return delegate_.heightOfRow(row); }, rowCount_, viewHeight_(),
            lineHeight()};
}

// ---- Changed rows

void LogTableScroller::setRowCount(qint64 count) {
    rowCount_ = count;
    const auto held = held_;
    setTop(places().limited(top_));
    if (held && held->place.row < count)
        held_ = held;
}

void LogTableScroller::heightsChanged() {
    if (const auto held = held_; held && held->place.row < rowCount_)
        holdAt(held->place, std::min(held->y, std::max(0.0, viewHeight_() - lineHeight())));
    else if (stoodAtEnd_ && top_ != RowPlace{})
        scrollToEnd();
    else
        setTop(places().limited(top_));
}

void LogTableScroller::layoutChanged() {
    const auto isInside = [this](RowPlace place) {
        return place.row >= rowCount_ || place.offset < delegate_.heightOfRow(place.row);
    };
    if (held_ && !isInside(held_->place))
        held_.reset();
    if (!isInside(top_))
        top_.offset = 0;
    heightsChanged();
}

// ---- What is visible

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
    return rowCount_ == 0 || places().limited({rowCount_ - 1, 1e9}) == top;
}

bool LogTableScroller::hasUnmeasuredRows(RowPlace top) const {
    if (!delegate_.isWrapping())
        return false;
    const auto rows = places().visible(top);
    return std::any_of(rows.begin(), rows.end(),
                       [this](const auto& row) { return !delegate_.isLoaded(row.row); });
}

int LogTableScroller::rowsPerPage() const {
    return std::max(1, static_cast<int>(viewHeight_() / lineHeight()));
}

RowPlace LogTableScroller::endPlace() const {
    const RowPlaces rows = places();
    return rows.isNearEnd(top_) ? rows.end() : RowPlace{std::max<qint64>(rowCount_ - rowsPerPage(), 0), 0};
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
    setTop(places().moved(place, -y));
    // At the ends of the file the place may be nearer to the edge than requested.
    const auto visible = visibleRow(place.row);
    held_ = HeldPlace{place, visible ? visible->y + place.offset : y};
}

void LogTableScroller::setTopRow(qint64 row) {
    setTop(places().limited({std::clamp<qint64>(row, 0, std::max<qint64>(rowCount_ - 1, 0)), 0}));
}

void LogTableScroller::scrollToEnd() {
    // Do not check again for the end: text loaded meanwhile makes rows taller.
    moveTop(places().end(), true);
}

void LogTableScroller::scrollByPixels(qreal pixels) {
    if (rowCount_ == 0)
        return;
    if (pixels < 0 && -pixels < viewHeight_()) {
        holdAt(top_, -pixels);
        return;
    }
    const RowPlace top = places().moved(top_, pixels);
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
        setTop(places().showing(top_, row));
}

void LogTableScroller::scrollRowPartToVisible(qint64 row, qreal offset, qreal height) {
    if (isRow(row))
        setTop(places().showingPart(top_, {row, offset}, height));
}

} // namespace korvane
