#include "ui/logtable/RowSelection.h"

#include <algorithm>

namespace korvane {

void RowSelection::select(qint64 oneEnd, qint64 otherEnd) {
    ranges_.assign(1, {std::min(oneEnd, otherEnd), std::max(oneEnd, otherEnd)});
}

void RowSelection::add(qint64 oneEnd, qint64 otherEnd) {
    Range added{std::min(oneEnd, otherEnd), std::max(oneEnd, otherEnd)};
    std::vector<Range> kept;
    for (const Range& range : ranges_) {
        if (range.last + 1 < added.first || range.first > added.last + 1)
            kept.push_back(range);
        else
            added = {std::min(added.first, range.first), std::max(added.last, range.last)};
    }
    const auto place =
        std::find_if(kept.begin(), kept.end(), [&](const Range& range) { return range.first > added.first; });
    kept.insert(place, added);
    ranges_ = std::move(kept);
}

void RowSelection::toggle(qint64 row) {
    if (!contains(row)) {
        add(row, row);
        return;
    }
    std::vector<Range> kept;
    for (const Range& range : ranges_) {
        if (row < range.first || row > range.last) {
            kept.push_back(range);
            continue;
        }
        if (range.first < row)
            kept.push_back({range.first, row - 1});
        if (range.last > row)
            kept.push_back({row + 1, range.last});
    }
    ranges_ = std::move(kept);
}

void RowSelection::limitTo(qint64 rowCount) {
    std::erase_if(ranges_, [rowCount](const Range& range) { return range.first >= rowCount; });
    if (!ranges_.empty())
        ranges_.back().last = std::min(ranges_.back().last, rowCount - 1);
}

bool RowSelection::contains(qint64 row) const {
    const auto after =
        std::upper_bound(ranges_.begin(), ranges_.end(), row,
                         [](qint64 wanted, const Range& range) { return wanted < range.first; });
    return after != ranges_.begin() && (after - 1)->last >= row;
}

qint64 RowSelection::count() const {
    qint64 total = 0;
    for (const Range& range : ranges_)
        total += range.last - range.first + 1;
    return total;
}

} // namespace korvane
