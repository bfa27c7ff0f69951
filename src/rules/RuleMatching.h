#pragma once

#include "core/search/CompiledSearch.h"

#include <functional>
#include <vector>

namespace korvane {

/// Matches rules against the lines of one page within limits: one for each rule, and one for all of them. A
/// rule over its limit gives up every line that it would have to examine. One worker's thread at a time.
class RuleMatching {
public:
    struct Rule {
        /// Must outlive the matching.
        const CompiledSearch& search;
        /// If true, the rule gets a tenth of the limit.
        bool isTooSlow = false;
    };

    /// `isCancelled` may be empty; it is polled also while a line is matched.
    RuleMatching(const std::vector<Rule>& rules, std::function<bool()> isCancelled);

    /// `rule`: an index into the list of the constructor.
    MatchOutcome match(std::size_t rule, const SearchedLine& line);
    /// Whether the rule has exceeded its limit, on this page or before.
    bool isTooSlow(std::size_t rule) const { return rules_[rule].isTooSlow; }

private:
    using Steps = MatchBudget::Steps;

    struct Entry {
        CompiledSearch::Matcher matcher;
        bool isTooSlow;
        Steps limit;
        Steps spent = 0;
    };

    /// The rest of the rule's limit, or of its share once the common limit is reached.
    Steps stepsLeft(const Entry& rule) const;

    std::vector<Entry> rules_;
    Steps patterns_ = 0; // how many of the rules are patterns
    Steps spent_ = 0;    // by all rules
    MatchBudget budget_; // of the current line
};

} // namespace korvane
