#pragma once

#include "core/HiddenLines.h"
#include "core/LineSet.h"
#include "core/RowMap.h"
#include "core/RuleEnforcerProtocol.h"
#include "core/search/SearchItem.h"
#include "filtering/LineSetScan.h"
#include "foundation/work/OperationQueue.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class LogFileReaderProtocol;

/// Which lines of one document a table shows: those that the rules do not hide, the lines around them, and
/// those that are shown whatever the rules say. Scans the file in the background only while lines are left
/// out. Main thread.
class ShownLines {
public:
    struct Rules {
        std::vector<RuleSearch> rules;
        /// Lines that no rule matches are hidden.
        bool hidesUnclaimed = false;
    };

    /// Calls `changed` whenever `map` or `linesLeft` has changed.
    ShownLines(std::shared_ptr<LogFileReaderProtocol> reader, std::function<void()> changed);
    ~ShownLines();
    ShownLines(const ShownLines&) = delete;
    ShownLines& operator=(const ShownLines&) = delete;

    /// For the lines that `setLines` named last, but with an old map until the first lines have been
    /// examined.
    const RowMap& map() const { return map_; }
    /// Lines that have not been examined yet.
    qint64 linesLeft() const;

    /// Whether the rules may hide lines.
    bool canHide() const;
    void setMode(HiddenLines mode);
    /// The scan of a rule that was there before goes on.
    void setRules(Rules rules);
    /// Lines that are shown whatever the rules say.
    void setAlwaysShown(LineSet lines);
    /// The lines that have rows.
    void setLines(LineRange lines);
    /// The line in view: the scan begins there.
    void setFocus(qint64 line);
    /// Lines from `first` on were appended or have changed.
    void linesChanged(qint64 first);
    /// All lines are other lines.
    void startAgain();
    /// A stopped scan keeps what it has found.
    void setRunning(bool isRunning);

private:
    /// One scan, for the rules that came together.
    struct Scan {
        std::vector<SearchItem> items;
        LineSetScan::Sets sets;
        std::unique_ptr<LineSetScan> scan;
    };
    class Maker;
    struct Request;

    bool leavesOut() const;
    void startScans();
    std::unique_ptr<Scan> makeScan(std::vector<SearchItem> items);
    /// The map in the background, from what is known now.
    void make();
    std::optional<Request> request() const;
    void showAll();

    const std::shared_ptr<LogFileReaderProtocol> reader_;
    const std::function<void()> changed_;
    HiddenLines mode_ = HiddenLines::AsFiltered;
    Rules rules_;
    LineSet alwaysShown_;
    LineRange lines_;
    qint64 focus_ = 0;
    bool isRunning_ = true;
    RowMap map_;
    std::vector<std::unique_ptr<Scan>> scans_;

    std::shared_ptr<Maker> maker_;
    bool isMaking_ = false;
    /// Something has changed since the map under way was begun.
    bool isStale_ = false;
    /// Counts the contents of the file: a map made for an earlier one is dropped.
    std::uint64_t content_ = 0;
    const std::shared_ptr<const bool> life_ = std::make_shared<const bool>(true);
    OperationQueue queue_;
};

} // namespace korvane
