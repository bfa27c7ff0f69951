#include "core/reader/LogFileReaderProtocol.h"

#include "core/search/Direction.h"
#include "core/search/SearchItem.h"

#include <algorithm>

namespace korvane {

SearchOutcome LogFileReaderProtocol::findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                                   const std::function<bool()>& isCancelled) {
    const Direction direction = directionFrom(first, last);
    const qint64 low = std::max<qint64>(std::min(first, last), 0);
    const qint64 high = std::min(std::max(first, last), lineCount() - 1);
    for (qint64 i = 0; i <= high - low && !isCancelled(); ++i) {
        const qint64 line = direction == Direction::Forwards ? low + i : high - i;
        const DisplayLines rows = readRows(line + 1, 1, RowLength::Whole);
        if (rows.lines.empty())
            continue;
        if (auto ranges = item.matchRanges(rows.lines.front().text); !ranges.empty())
            return {SearchMatch{line, std::move(ranges)}};
    }
    return {};
}

} // namespace korvane
