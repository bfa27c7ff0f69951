#pragma once

#include "core/RuleEnforcerProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "rules/RuleSnapshot.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace korvane {

class FilterRule;

/// Runs the active rules of a document over its lines: paints them, marks those to hide, and tells the user
/// of matches, each once however often its line is read.
///
/// The rules are changed on the main thread. Lines are run through a pass, on any number of threads: it works
/// on the rules' values as they were when they were last added or updated. A rule that has been removed or
/// updated meanwhile raises nothing any more in older passes. Notifications are delivered on the main thread.
class RuleEnforcer : public RuleEnforcerProtocol {
public:
    using Rules = std::vector<std::shared_ptr<FilterRule>>;

    /// `dataSource` must outlive the enforcer's use; its default action and document are asked for by any
    /// thread.
    explicit RuleEnforcer(const TailDataSourceProtocol& dataSource);

    // Main thread.

    const Rules& activeRules() const { return rules_; }
    bool hasActiveRules() const { return !rules_.empty(); }
    /// At the end; one that is active already runs twice.
    void addRule(std::shared_ptr<FilterRule> rule);
    /// Returns whether there was such a rule, as do the next ones.
    bool removeRule(const std::shared_ptr<FilterRule>& rule);
    /// Takes over the values of the rule, which notifies afresh. Needed only when text, kind, case or
    /// frequency have changed.
    bool updateRule(const std::shared_ptr<FilterRule>& rule);
    /// Makes these the active rules. Those that were active before and match the same do not notify
    /// afresh. Returns whether anything has changed.
    bool setActiveRules(Rules rules);
    void clearRules() override;

    /// Paints what the rule matches in the line.
    static void applyQuickHighlight(AttributedString& line, const FilterRule& rule);

    // Any thread.

    std::unique_ptr<RulePassProtocol> makePass(std::function<bool()> isCancelled) override;
    std::unique_ptr<RulePassProtocol> makeSilentPass(const std::function<bool()>& isCancelled) override;
    /// Leaves out what cannot be seen: rules that only paint, and those that tell once and have.
    std::unique_ptr<NotificationPassProtocol> makeNotificationPass() override;
    /// Rules that tell of every line tell of the new ones whatever their numbers; those that tell once have
    /// done so.
    void contentForgotten() override;
    std::vector<SlowRule> slowRules() const override;
    /// One line by itself, changed in place.
    RowLine& applyRules(qint64 lineNum, RowLine& line);
    RowLine applyRules(qint64 lineNum, const QString& line);
    /// Ends the run of rules over the line under way; the next line begins anew.
    void setCanceled(bool canceled) { canceled_ = canceled; }
    void highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) override;

private:
    class Teller;
    class Evaluation;
    class Pass;
    class NotificationPass;

    /// Takes over the rule's values, with nothing notified yet.
    void startAfresh(const std::shared_ptr<FilterRule>& rule);
    void retire(const std::function<bool(const ActiveRule&)>& isMeant);
    /// What a rule made of lines of the content, for its record. Returns whether that changes what is known.
    bool recordEffort(const ActiveRule& rule, bool isTooSlow, const std::vector<qint64>& givenUp,
                      const std::vector<qint64>& decided, std::uint64_t content);
    void postSlowRules() const;
    void publish();
    /// Checks and records in one step: true when the user is to be told of this line. `content`: the one that
    /// the line was read from.
    bool recordLine(const ActiveRule& rule, qint64 lineNum, std::uint64_t content);
    std::shared_ptr<const ActiveRules> publishedRules() const;
    std::uint64_t content() const;

    const TailDataSourceProtocol& dataSource_;
    std::atomic<bool> canceled_{false};

    // Main thread only, of equal length.
    Rules rules_;
    ActiveRules active_;

    mutable std::mutex mutex_;
    // Guarded by mutex_, as is all bookkeeping.
    std::shared_ptr<const ActiveRules> published_;
    std::uint64_t content_ = 0; // counts the contents that the line numbers have stood for
};

} // namespace korvane
