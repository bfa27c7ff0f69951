#pragma once

#include "core/LineSet.h"
#include "core/search/SearchItem.h"

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class LogFileReaderProtocol;

/// Fills a set of lines for each of several searches in the background, from the line in view outwards, and
/// extends them while the file grows. It paints, hides and notifies nothing. Main thread.
class LineSetScan {
public:
    /// What is known of the lines that match one item.
    struct Item {
        LineSet lines;
        /// Lines that the item gave up: whether they match is unknown.
        LineSet givenUp;
    };
    struct Sets {
        /// In the order of the searches.
        std::vector<Item> items;
        /// Lines that have been examined, if not since their last change.
        LineSet examined;
        qint64 lineCount = 0;
        /// Of these, lines that have not been examined, or not since they changed.
        qint64 linesLeft = 0;
        bool isComplete() const { return linesLeft == 0; }
    };
    /// Calls `publish` on the main thread: at most 30 times a second, and once when the scan is complete.
    LineSetScan(std::shared_ptr<LogFileReaderProtocol> reader, std::vector<SearchItem> items,
                std::function<void(const Sets&)> publish);
    /// Does not wait.
    ~LineSetScan();
    LineSetScan(const LineSetScan&) = delete;
    LineSetScan& operator=(const LineSetScan&) = delete;

    /// The line that is examined next, and from which the rest follows outwards.
    void setFocus(qint64 line);
    /// Lines from `first` on were appended, or changed; there are `lineCount` now.
    void linesChanged(qint64 first, qint64 lineCount);
    /// The file holds other lines, or its encoding has changed: all are examined again.
    void startAgain(qint64 lineCount);
    /// A stopped scan keeps what it has found.
    void setRunning(bool isRunning);

private:
    class Worker;
    struct State;
    void startWorkers();

    const std::shared_ptr<State> state_;
};

} // namespace korvane
