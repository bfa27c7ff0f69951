#pragma once

#include "foundation/work/OperationQueue.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace korvane {

class SearchItem;

/// Counts in the background which of some lines a search matches, within the limits of a page. A new request
/// takes the place of those before it, which report nothing any more. Main thread.
class LineMatchCounter {
public:
    struct Answer {
        /// Why the pattern matches nothing anywhere; nothing for a valid one.
        std::optional<QString> patternFault;
        qsizetype matching = 0;
        /// Lines for which the pattern is too slow.
        qsizetype givenUp = 0;
        qsizetype lines = 0;
    };

    LineMatchCounter();

    /// Takes the item's values as they are now. `report` is called later on the main thread, unless the
    /// counter does not exist any more.
    void count(const SearchItem& item, QStringList lines, std::function<void(const Answer&)> report);
    /// Nothing is reported of what was requested.
    void cancel() { queue_.cancelAllOperations(); }

private:
    OperationQueue queue_;
    const std::shared_ptr<const bool> life_ = std::make_shared<const bool>(true);
};

} // namespace korvane
