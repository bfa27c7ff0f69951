#pragma once

#include "foundation/AttributedString.h"

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

/// The rules as they stood when the pass was made, for the lines of one page load, on that load's thread.
class RulePassProtocol {
public:
    virtual ~RulePassProtocol() = default;
    /// Marks and paints one line in place.
    virtual void applyRules(qint64 lineNum, AttributedString& line) = 0;
};

/// What a data source needs of the rule enforcer.
class RuleEnforcerProtocol {
public:
    virtual ~RuleEnforcerProtocol() = default;

    /// Any thread; the enforcer and its data source must outlive the pass. Once `isCancelled` answers true,
    /// no further rule is run; it may be empty.
    virtual std::unique_ptr<RulePassProtocol> makePass(std::function<bool()> isCancelled) = 0;
    /// Paints what a search found.
    virtual void highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) = 0;
    /// Drops the active rules and what is known of their notifications.
    virtual void clearRules() = 0;
};

} // namespace korvane
