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

/// Which lines of one document a table shows: those that the rules do not hide and that meet the user's
/// conditions, the lines around them, and those that are shown whatever these say. Scans the file in the
/// background only while lines are left out. Main thread.
class ShownLines {
public:
    struct Rules {
        std::vector<RuleSearch> rules;
        /// Lines that no rule matches are hidden.
        bool hidesUnclaimed = false;
    };

    /// What lines must contain, beside the rules.
    struct Condition {
        enum class Kind : unsigned char { Only, Without };
        SearchItem item;
        Kind kind = Kind::Only;
    };
    struct Conditions {
        std::vector<Condition> conditions;
        /// A line must meet one of the `Only` conditions, not all of them.
        bool isOneEnough = false;
    };

    /// Calls `changed` whenever `map` or `linesLeft` has changed, `countedChanged` whenever the matches of
    /// the counted search have.
    ShownLines(std::shared_ptr<LogFileReaderProtocol> reader, std::function<void()> changed,
               std::function<void()> countedChanged = {});
    ~ShownLines();
    ShownLines(const ShownLines&) = delete;
    ShownLines& operator=(const ShownLines&) = delete;

    /// For the lines that `setLines` named last, but with an old map until the first lines have been
    /// examined.
    const RowMap& map() const { return map_; }
    /// Lines that have not been examined yet for what is shown.
    qint64 linesLeft() const;

    /// Whether the end of the file had been examined when the map was made: before, its last row is not the
    /// last one that there will be.
    bool reachesEnd() const { return mapReachesEnd_; }

    /// Whether the rules may hide lines.
    bool canHide() const;
    /// Of the rules; conditions leave lines out in every mode.
    void setMode(HiddenLines mode);
    void setConditions(Conditions conditions);
    /// Lines found so far; nullopt if they are not searched for.
    std::optional<qint64> matchCount(const SearchItem& item) const;
    /// A search whose matches are counted; nothing is left out because of it.
    void setCounted(const std::optional<SearchItem>& search);
    struct Counted {
        /// The lines found so far.
        LineSet lines;
        bool isComplete = false;
    };
    /// Nullopt while nothing is counted.
    std::optional<Counted> counted() const;
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

    bool areRulesApplied() const;
    bool leavesOut() const;
    /// Of the rules that are applied, then of the conditions.
    std::vector<SearchItem> searches() const;
    struct Place {
        const Scan* scan;
        std::size_t item;
    };
    std::optional<Place> placeOf(const SearchItem& item) const;
    void startScans();
    std::unique_ptr<Scan> makeScan(std::vector<SearchItem> items);
    bool isEndExamined() const;
    /// The map in the background, from what is known now.
    void make();
    std::optional<Request> request() const;
    void showAll();

    const std::shared_ptr<LogFileReaderProtocol> reader_;
    const std::function<void()> changed_;
    const std::function<void()> countedChanged_;
    HiddenLines mode_ = HiddenLines::AsFiltered;
    Rules rules_;
    Conditions conditions_;
    std::optional<SearchItem> counted_;
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
    /// Since rules or conditions last changed.
    bool hasReachedEnd_ = true;
    bool mapReachesEnd_ = true;
    /// Counts the contents of the file: a map made for an earlier one is dropped.
    std::uint64_t content_ = 0;
    const std::shared_ptr<const bool> life_ = std::make_shared<const bool>(true);
    OperationQueue queue_;
};

} // namespace korvane
