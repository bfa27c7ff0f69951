#include "rules/QuickHighlightFilterRule.h"

#include "core/search/SearchItem.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"

namespace korvane {
namespace {

const QColor lightBlue(181, 214, 255);

} // namespace

QuickHighlightFilterRule::QuickHighlightFilterRule(const QString& searchStr)
    : FilterRule(false, std::make_shared<SearchItem>(searchStr),
                 std::make_shared<HighlightRule>(false, false, false, Qt::black, Qt::green),
                 NotificationRule::defaultRule()) {}

void QuickHighlightFilterRule::applyHighlight(AttributedString& line,
                                              const std::vector<TextRange>& ranges) const {
    line.add({.foreground = QColor(Qt::black), .background = lightBlue}, ranges);
}

} // namespace korvane
