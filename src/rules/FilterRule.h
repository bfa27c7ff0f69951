#pragma once

#include "foundation/text/AttributedString.h"

#include <QUuid>

#include <memory>
#include <vector>

namespace korvane {

class HighlightRule;
class NotificationRule;
class SearchItem;

/// What to do with the lines that contain a text or match a pattern. A reference object, held by shared
/// pointer: two rules are the same only if they are the same object. Changed on the main thread only.
class FilterRule {
public:
    /// None of the three may be null. The rule gets a new random `id`.
    FilterRule(bool hide, std::shared_ptr<SearchItem> searchItem,
               std::shared_ptr<HighlightRule> highlightRule,
               std::shared_ptr<NotificationRule> notificationRule);
    /// With an existing identity.
    FilterRule(const QUuid& id, bool hide, std::shared_ptr<SearchItem> searchItem,
               std::shared_ptr<HighlightRule> highlightRule,
               std::shared_ptr<NotificationRule> notificationRule);
    virtual ~FilterRule();
    FilterRule(const FilterRule&) = delete;
    FilterRule& operator=(const FilterRule&) = delete;

    /// The identity that lasts across saves.
    const QUuid& id() const { return id_; }
    const std::shared_ptr<SearchItem>& searchItem() const { return searchItem_; }
    void setSearchItem(std::shared_ptr<SearchItem> item) { searchItem_ = std::move(item); }
    bool hide() const { return hide_; }
    void setHide(bool value) { hide_ = value; }
    const std::shared_ptr<HighlightRule>& highlightRule() const { return highlightRule_; }
    void setHighlightRule(std::shared_ptr<HighlightRule> rule) { highlightRule_ = std::move(rule); }
    const std::shared_ptr<NotificationRule>& notificationRule() const { return notificationRule_; }
    void setNotificationRule(std::shared_ptr<NotificationRule> rule) { notificationRule_ = std::move(rule); }

    std::vector<TextRange> matchRanges(const QString& line) const;
    /// Paints the line; `ranges` are its matches.
    virtual void applyHighlight(AttributedString& line, const std::vector<TextRange>& ranges) const;

    /// The search text painted like a match, for the list of rules.
    AttributedString previewSearchStr() const;
    /// For the log only.
    QString description() const;
    QString debugDescription() const { return description(); }

private:
    const QUuid id_;
    std::shared_ptr<SearchItem> searchItem_;
    bool hide_;
    std::shared_ptr<HighlightRule> highlightRule_;
    std::shared_ptr<NotificationRule> notificationRule_;
};

} // namespace korvane
