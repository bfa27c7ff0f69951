#include "core/TailDataSourceProtocol.h"

namespace korvane {

SearchOutcome TailDataSourceProtocol::findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                                    const std::function<bool()>& isCancelled) {
    const qint64 step = firstRow <= lastRow ? 1 : -1;
    for (qint64 row = firstRow; !isCancelled(); row += step) {
        if (auto match = searchRow(row, item))
            return {std::move(match)};
        if (row == lastRow)
            break;
    }
    return {};
}

} // namespace korvane
