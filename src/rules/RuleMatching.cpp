#include "rules/RuleMatching.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

using Steps = MatchBudget::Steps;

/// Limits for one page, in matching steps.
constexpr Steps mostStepsOfRule = 15'000'000;
constexpr Steps mostStepsOfAll = 30'000'000;
/// Divisor of the limit for a rule that has exceeded it before.
constexpr Steps slowPart = 10;
/// Steps that an empty line always has, so that it is never given up.
constexpr Steps stepsForNothing = 20'000;

} // namespace

RuleMatching::RuleMatching(const std::vector<Rule>& rules, std::function<bool()> isCancelled)
    : budget_{0, std::move(isCancelled)} {
    rules_.reserve(rules.size());
    for (const auto& [search, isTooSlow] : rules) {
        rules_.push_back({CompiledSearch::Matcher(search), isTooSlow,
                          isTooSlow ? mostStepsOfRule / slowPart : mostStepsOfRule});
        patterns_ += search.isRegex();
    }
}

Steps RuleMatching::stepsLeft(const Entry& rule) const {
    // Cheap rules continue when a few others have used up the common limit.
    const Steps limit = spent_ < mostStepsOfAll
                            ? rule.limit
                            : std::min(rule.limit, mostStepsOfAll / std::max<Steps>(patterns_, 1));
    return limit - rule.spent;
}

MatchOutcome RuleMatching::match(std::size_t rule, const SearchedLine& line) {
    Entry& entry = rules_[rule];
    const Steps left = line.text().isEmpty() ? std::max(stepsLeft(entry), stepsForNothing) : stepsLeft(entry);
    budget_.stepsLeft = left;
    MatchOutcome outcome = entry.matcher.match(line, budget_);
    const Steps spent = left - budget_.stepsLeft;
    entry.spent += spent;
    spent_ += spent;
    entry.isTooSlow |= outcome.gaveUp && budget_.stepsLeft <= 0;
    return outcome;
}

} // namespace korvane
