#pragma once

#include "core/search/CompiledSearch.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RecordedLines.h"

#include <QString>
#include <QUuid>

#include <memory>
#include <vector>

namespace korvane {

class FilterRule;

/// The values of a rule at one moment; the rule object itself changes on the main thread.
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

    /// Whether a match notifies the user.
    bool tells() const { return notifies || bouncesDock; }
    /// Equal in everything but identity.
    bool isLike(RuleValues other) const {
        other.id = id;
        return *this == other;
    }
    /// Whether both match the same lines and notify equally often.
    bool matchesLike(const RuleValues& other) const {
        return searchStr == other.searchStr && regex == other.regex && ignoreCase == other.ignoreCase &&
               frequency == other.frequency;
    }

    friend bool operator==(const RuleValues&, const RuleValues&) = default;
};

/// One rule as page loads see it. Immutable; any thread.
struct RuleSnapshot {
    explicit RuleSnapshot(const FilterRule& rule);

    const RuleValues values;
    const CompiledSearch search;
};

/// The history of a rule since it was switched on or changed. Guarded by the enforcer's lock.
struct RuleRecord {
    /// The rule has been changed or removed: matches of older passes are not reported.
    bool isRetired = false;
    bool hasNotified = false;
    RecordedLines notifiedLines;
    /// It has exceeded its limit for a page of this file generation.
    bool isTooSlow = false;
    RecordedLines givenUpLines;
};

/// An active rule and its record. Only the record is mutable.
struct ActiveRule {
    std::shared_ptr<const RuleSnapshot> snapshot;
    std::shared_ptr<RuleRecord> record;
};
using ActiveRules = std::vector<ActiveRule>;

} // namespace korvane
