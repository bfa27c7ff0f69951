#pragma once

#include "rules/FilterRule.h"

namespace korvane {

/// Marks every occurrence of the text that the user has selected, and nothing else of the line.
class QuickHighlightFilterRule : public FilterRule {
public:
    /// `searchStr` is taken literally, without regard to letter case.
    explicit QuickHighlightFilterRule(const QString& searchStr);

    /// Colours the ranges; the rest of the line and all fonts stay as they are.
    void applyHighlight(AttributedString& line, const std::vector<TextRange>& ranges) const override;
};

} // namespace korvane
