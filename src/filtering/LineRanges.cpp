#include "filtering/LineRanges.h"

#include <algorithm>
#include <iterator>

namespace korvane {

qint64 LineRanges::lineCount() const {
    qint64 count = 0;
    for (const auto& [begin, end] : ranges_)
        count += end - begin;
    return count;
}

void LineRanges::add(LineRange range) {
    if (range.length <= 0)
        return;
    qint64 begin = range.location;
    qint64 end = begin + range.length;
    auto next = ranges_.upper_bound(begin);
    if (next != ranges_.begin() && std::prev(next)->second >= begin)
        --next;
    while (next != ranges_.end() && next->first <= end) {
        begin = std::min(begin, next->first);
        end = std::max(end, next->second);
        next = ranges_.erase(next);
    }
    ranges_.emplace(begin, end);
}

void LineRanges::truncate(qint64 line) {
    ranges_.erase(ranges_.lower_bound(line), ranges_.end());
    if (!ranges_.empty() && ranges_.rbegin()->second > line)
        ranges_.rbegin()->second = line;
}

std::optional<LineRange> LineRanges::takeNear(qint64 line, qint64 count) {
    if (ranges_.empty())
        return std::nullopt;
    // The range that holds the line, or the one behind it; and the one before.
    auto behind = ranges_.upper_bound(line);
    if (behind != ranges_.begin() && std::prev(behind)->second > line)
        return take(line, std::min(line + count, std::prev(behind)->second));
    const auto before = behind == ranges_.begin() ? ranges_.end() : std::prev(behind);
    const bool takesBehind =
        behind != ranges_.end() && (before == ranges_.end() || behind->first - line <= line - before->second);
    if (takesBehind)
        return take(behind->first, std::min(behind->first + count, behind->second));
    return take(std::max(before->second - count, before->first), before->second);
}

LineRange LineRanges::take(qint64 begin, qint64 end) {
    const auto found = std::prev(ranges_.upper_bound(begin));
    const auto [rangeBegin, rangeEnd] = *found;
    ranges_.erase(found);
    if (rangeBegin < begin)
        ranges_.emplace(rangeBegin, begin);
    if (end < rangeEnd)
        ranges_.emplace(end, rangeEnd);
    return {begin, end - begin};
}

} // namespace korvane
