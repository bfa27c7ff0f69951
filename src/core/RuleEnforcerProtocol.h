#pragma once

#include "foundation/AttributedString.h"

#include <vector>

namespace korvane {

/// What a data source needs of the rule enforcer.
class RuleEnforcerProtocol {
public:
    virtual ~RuleEnforcerProtocol() = default;

    /// Marks and paints one line in place. Off the main thread, one line of a page at a time.
    virtual void applyRules(qint64 lineNum, AttributedString& line) = 0;
    /// Paints what a search found.
    virtual void highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) = 0;
    /// Drops the active rules and what is known of their notifications.
    virtual void clearRules() = 0;
};

} // namespace korvane
