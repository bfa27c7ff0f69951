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

FilteredLines LogFileReaderProtocol::filterLines(qint64 first, qint64 count, LineFilter::Pass& pass,
                                                 std::span<MatchBudget::Steps> budgets,
                                                 const std::function<bool()>& isCancelled) {
    FilteredLines result;
    result.items.resize(pass.filter().itemCount());
    for (; result.lineCount < count && !isCancelled(); ++result.lineCount) {
        const qint64 line = first + result.lineCount;
        const DisplayLines rows = readRows(line + 1, 1, RowLength::Whole);
        if (line >= lineCount() || rows.lines.empty())
            break;
        for (std::size_t i = 0; i < result.items.size(); ++i) {
            MatchBudget budget{budgets[i], isCancelled};
            const LineFilter::Verdict verdict = pass.examine(i, rows.lines.front().text, budget);
            budgets[i] = budget.stepsLeft;
            if (verdict != LineFilter::Verdict::NoMatch)
                (verdict == LineFilter::Verdict::Match ? result.items[i].lines : result.items[i].givenUp)
                    .push_back(line);
        }
    }
    return result;
}

} // namespace korvane
