#pragma once

#include "core/DataSourceRoles.h"
#include "core/RuleEnforcerProtocol.h"
#include "foundation/Mutex.h"
#include "rules/RuleSnapshot.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace korvane {

class FilterRule;

/// Evaluates the active rules of a document over its lines: paints the lines, marks those to hide, and
/// notifies the user of each match once, however often its line is read.
///
/// The rules are changed on the main thread. Lines are evaluated by passes, on any number of threads: a pass
/// has the values of the rules when they were last added or updated. A rule that was removed or updated since
/// sends no notifications from older passes. Notifications are delivered on the main thread.
class RuleEnforcer : public RuleEnforcerProtocol {
public:
    using Rules = std::vector<std::shared_ptr<FilterRule>>;

    /// `dataSource` must outlive the enforcer; any thread reads its default action and document.
    explicit RuleEnforcer(const RuledRows& dataSource);

    // Main thread.

    const Rules& activeRules() const { return rules_; }
    bool hasActiveRules() const { return !rules_.empty(); }
    /// Adds the rule at the end; a rule that is already active runs twice.
    void addRule(std::shared_ptr<FilterRule> rule);
    /// Returns whether the rule was active, as `updateRule` does.
    bool removeRule(const std::shared_ptr<FilterRule>& rule);
    /// Copies the values of the rule, which then notifies again. Needed only when text, kind, case or
    /// frequency have changed.
    bool updateRule(const std::shared_ptr<FilterRule>& rule);
    /// Makes these the active rules. Rules that were active before and match the same lines do not notify
    /// again. Returns whether anything has changed.
    bool setActiveRules(Rules rules);
    void clearRules() override;

    /// Paints the matches of the rule in the line.
    /// Paints matches of the search less strongly than the one that it stands at.
    static void paintMatches(AttributedString& line, const std::vector<TextRange>& ranges);
    static void applyQuickHighlight(AttributedString& line, const FilterRule& rule);

    // Any thread.

    std::unique_ptr<RulePassProtocol> makePass(std::function<bool()> isCancelled) override;
    std::unique_ptr<RulePassProtocol> makeSilentPass(const std::function<bool()>& isCancelled) override;
    /// Leaves out rules that only paint, and rules that notify once and have done so.
    std::unique_ptr<NotificationPassProtocol> makeNotificationPass() override;
    /// Clears the line numbers notified by rules that notify of every line; rules that notify once stay
    /// silent.
    void contentForgotten() override;
    std::vector<SlowRule> slowRules() const override;
    std::vector<RuleSearch> activeSearches() const override;
    /// Evaluates one line, changed in place.
    RowLine& applyRules(qint64 lineNum, RowLine& line);
    RowLine applyRules(qint64 lineNum, const QString& line);
    /// Stops evaluating the current line; the next line is evaluated again.
    void setCanceled(bool canceled) { canceled_ = canceled; }
    void highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) override;

private:
    class Teller;
    class Evaluation;
    class Pass;
    class NotificationPass;

    /// Copies the rule's values and starts a new record.
    void startAfresh(const std::shared_ptr<FilterRule>& rule);
    void retire(const std::function<bool(const ActiveRule&)>& isMeant);
    /// Records the lines that a rule has given up or decided. Returns whether the record has changed.
    bool recordEffort(const ActiveRule& rule, bool isTooSlow, const std::vector<qint64>& givenUp,
                      const std::vector<qint64>& decided, std::uint64_t content);
    void postSlowRules() const;
    void publish();
    /// Checks and records in one step: true when the user is to be notified of this line. `content`: the file
    /// generation that the line was read from.
    bool recordLine(const ActiveRule& rule, qint64 lineNum, std::uint64_t content);
    std::shared_ptr<const ActiveRules> publishedRules() const;
    std::uint64_t content() const;

    const RuledRows& dataSource_;
    std::atomic<bool> canceled_{false};

    // Main thread only, of equal length.
    Rules rules_;
    ActiveRules active_;

    /// Also guards the history of every rule.
    mutable Mutex mutex_;
    std::shared_ptr<const ActiveRules> published_ GUARDED_BY(mutex_);
    std::uint64_t content_ GUARDED_BY(mutex_) = 0; // counts the file generations
};

} // namespace korvane
