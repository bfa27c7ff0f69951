#pragma once

#include "foundation/work/OperationQueue.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace korvane {

class SearchItem;

/// Counts in the background how many of some lines a search matches, within the limits of a page. A new
/// request replaces earlier ones, which then report nothing. Main thread.
class LineMatchCounter {
public:
    struct Answer {
        /// The error of an invalid pattern; nullopt for a valid one.
        std::optional<QString> patternFault;
        qsizetype matching = 0;
        /// Lines for which the pattern is too slow.
        qsizetype givenUp = 0;
        qsizetype lines = 0;
    };

    LineMatchCounter();

    /// Copies the item's present values. `report` is called later on the main thread, unless the counter has
    /// been destroyed.
    void count(const SearchItem& item, QStringList lines, std::function<void(const Answer&)> report);
    /// Drops all requests without a report.
    void cancel() { queue_.cancelAllOperations(); }

private:
    OperationQueue queue_;
    const std::shared_ptr<const bool> life_ = std::make_shared<const bool>(true);
};

} // namespace korvane
