#include "rules/FilterRule.h"

#include "core/search/SearchItem.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"

namespace korvane {

FilterRule::FilterRule(bool hide, std::shared_ptr<SearchItem> searchItem,
                       std::shared_ptr<HighlightRule> highlightRule,
                       std::shared_ptr<NotificationRule> notificationRule)
    : FilterRule(QUuid::createUuid(), hide, std::move(searchItem), std::move(highlightRule),
                 std::move(notificationRule)) {}

FilterRule::FilterRule(const QUuid& id, bool hide, std::shared_ptr<SearchItem> searchItem,
                       std::shared_ptr<HighlightRule> highlightRule,
                       std::shared_ptr<NotificationRule> notificationRule)
    : id_(id), searchItem_(std::move(searchItem)), hide_(hide), highlightRule_(std::move(highlightRule)),
      notificationRule_(std::move(notificationRule)) {}

FilterRule::~FilterRule() = default;

std::vector<TextRange> FilterRule::matchRanges(const QString& line) const {
    return searchItem_->matchRanges(line);
}

void FilterRule::applyHighlight(AttributedString& line, const std::vector<TextRange>& ranges) const {
    highlightRule_->applyHighlight(line, ranges);
}

AttributedString FilterRule::previewSearchStr() const {
    return highlightRule_->previewString(searchItem_->searchStr());
}

QString FilterRule::description() const {
    return QStringLiteral("Filter: Search: %1, Hide=%2, Highlight: %3")
        .arg(searchItem_->searchStr(), hide_ ? QStringLiteral("true") : QStringLiteral("false"),
             highlightRule_->description());
}

} // namespace korvane
