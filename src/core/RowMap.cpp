#include "core/RowMap.h"

#include <algorithm>
#include <utility>

namespace korvane {

RowMap RowMap::ofAllRows(qint64 rowCount) {
    RowMap map;
    map.lines_ = {0, rowCount};
    map.count_ = rowCount;
    return map;
}

RowMap::RowMap(Sets sets, LineRange lines, Gaps gaps)
    : showsAll_(false), gaps_(gaps), lines_(lines), sets_(std::move(sets)),
      shownBefore_(sets_.shown.rank(lines.location)) {
    const qint64 shownCount = shownRowCount();
    count_ = shownCount;
    if (gaps_ == Gaps::None)
        return;
    if (shownCount == 0) {
        beginsWithGap_ = lines_.length > 0;
        count_ = beginsWithGap_ ? 1 : 0;
        return;
    }
    const qint64 first = select(0);
    beginsWithGap_ = first > 0;
    runStartsBefore_ = sets_.runStarts.rank(lines_.location + first + 1);
    const bool endsWithGap = select(shownCount - 1) + 1 < lines_.length;
    count_ += (beginsWithGap_ ? 1 : 0) + furtherRunCount() + (endsWithGap ? 1 : 0);
}

RowMap RowMap::limitedTo(qint64 rowCount) const {
    if (rowCount >= lines_.length)
        return *this;
    return showsAll_ ? ofAllRows(rowCount) : RowMap(sets_, {lines_.location, rowCount}, gaps_);
}

bool RowMap::shows(qint64 row) const {
    if (row < 0 || row >= lines_.length)
        return false;
    return showsAll_ || sets_.shown.contains(lines_.location + row);
}

qint64 RowMap::gapsBefore(qint64 row) const {
    if (gaps_ == Gaps::None)
        return 0;
    const qint64 starts = sets_.runStarts.rank(lines_.location + row + 1) - runStartsBefore_;
    return (beginsWithGap_ ? 1 : 0) + std::max<qint64>(starts, 0);
}

qint64 RowMap::rowAt(qint64 position) const {
    if (showsAll_)
        return position;
    if (gaps_ == Gaps::None)
        return select(position);
    const qint64 shownCount = shownRowCount();
    if (shownCount == 0 || (beginsWithGap_ && position == 0))
        return 0;
    // The last run that begins at the position or before it, its gap included.
    qint64 run = 0;
    for (qint64 end = furtherRunCount() + 1; end - run > 1;) {
        const qint64 middle = run + (end - run) / 2;
        const qint64 start = runStart(middle);
        if (rank(start) + gapsBefore(start) - 1 <= position)
            run = middle;
        else
            end = middle;
    }
    const qint64 index = position - gapsBefore(runStart(run));
    if (index < rank(runStart(run)))
        return select(index) + 1; // the gap before the run
    return index < shownCount ? select(index) : select(shownCount - 1) + 1;
}

qint64 RowMap::positionOf(qint64 row) const {
    row = std::clamp<qint64>(row, 0, std::max<qint64>(lines_.length - 1, 0));
    if (showsAll_ || count_ == 0)
        return showsAll_ ? row : 0;
    if (shows(row))
        return rank(row) + gapsBefore(row);
    const auto next = nextShown(row);
    if (!next)
        return count_ - 1;
    return rank(*next) + gapsBefore(*next) - (gaps_ == Gaps::Rows ? 1 : 0);
}

std::optional<qint64> RowMap::nextShown(qint64 row) const {
    if (showsAll_)
        return row + 1 < lines_.length ? std::optional(std::max<qint64>(row + 1, 0)) : std::nullopt;
    const qint64 index = row < 0 ? 0 : rank(row + 1);
    return index < shownRowCount() ? std::optional(select(index)) : std::nullopt;
}

std::optional<qint64> RowMap::previousShown(qint64 row) const {
    row = std::min(row, lines_.length);
    if (showsAll_)
        return row > 0 ? std::optional(row - 1) : std::nullopt;
    const qint64 index = row > 0 ? rank(row) - 1 : -1;
    return index >= 0 ? std::optional(select(index)) : std::nullopt;
}

std::optional<qint64> RowMap::nearestShown(qint64 row) const {
    if (shows(row))
        return row;
    const auto next = nextShown(row);
    const auto previous = previousShown(row);
    if (!next || !previous)
        return next ? next : previous;
    return *next - row <= row - *previous ? next : previous;
}

RowMap::Gap RowMap::gapAt(qint64 row) const {
    if (row < 0 || row >= lines_.length || shows(row))
        return {row, 0};
    const qint64 first = previousShown(row).value_or(-1) + 1;
    return {first, nextShown(row).value_or(lines_.length) - first};
}

} // namespace korvane
