#pragma once

#include "core/search/CompiledSearch.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"

#include <QString>
#include <QUuid>

#include <memory>
#include <vector>

namespace korvane {

class FilterRule;

/// The values of a rule at one moment. A rule object itself is changed in place on the main thread.
struct RuleValues {
    explicit RuleValues(const FilterRule& rule);

    QUuid id;
    QString searchStr;
    bool regex;
    bool ignoreCase;
    bool hide;
    RuleLook look;
    bool notifies;
    bool bouncesDock;
    Frequency frequency;

    /// Whether the user gets to know of a match otherwise than by looking.
    bool tells() const { return notifies || bouncesDock; }

    friend bool operator==(const RuleValues&, const RuleValues&) = default;
};

/// One rule as page loads see it. Immutable; any thread.
struct RuleSnapshot {
    explicit RuleSnapshot(const FilterRule& rule);

    const RuleValues values;
    const CompiledSearch search;
};

/// The lines that a rule has raised notifications for, since the rule was switched on or changed. Guarded by
/// the enforcer's lock.
struct NotifiedLines;

/// The active rules in their order, each with its bookkeeping. Immutable but for that.
struct ActiveRule {
    std::shared_ptr<const RuleSnapshot> snapshot;
    std::shared_ptr<NotifiedLines> notified;
};
using ActiveRules = std::vector<ActiveRule>;

} // namespace korvane
