#pragma once

#include "core/search/CompiledSearch.h"

#include <functional>
#include <vector>

namespace korvane {

/// Matches rules against the lines of one page for any caller, within limits: one for each rule, and
/// one for all of them. What is over its limit gives up all lines that it would have to look into. For a
/// worker's thread, one at a time.
class RuleMatching {
public:
    struct Rule {
        /// Must outlive the matching.
        const CompiledSearch& search;
        /// Begin with a tenth of the limit.
        bool isTooSlow = false;
    };

    /// `isCancelled` may be empty; it is asked while a line is matched, too.
    RuleMatching(const std::vector<Rule>& rules, std::function<bool()> isCancelled);

    /// `rule`: an index of the list given at first.
    MatchOutcome match(std::size_t rule, const SearchedLine& line);
    /// The rule has had more to do than it may, now or before.
    bool isTooSlow(std::size_t rule) const { return rules_[rule].isTooSlow; }

private:
    using Steps = MatchBudget::Steps;

    struct Entry {
        CompiledSearch::Matcher matcher;
        bool isTooSlow;
        Steps limit;
        Steps spent = 0;
    };

    /// What is left of the rule's limit, or of its share when the limit of all is reached.
    Steps stepsLeft(const Entry& rule) const;

    std::vector<Entry> rules_;
    Steps patterns_ = 0; // how many of the rules are patterns
    Steps spent_ = 0;    // by all rules
    MatchBudget budget_; // of the line under way
};

} // namespace korvane
