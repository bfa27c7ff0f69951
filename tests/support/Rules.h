#pragma once

#include "core/search/SearchItem.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "support/RecordingNotificationCenter.h"

#include <QTemporaryDir>

namespace korvane::test {

/// A rule that highlights and does not notify.
inline std::shared_ptr<FilterRule>
makeRule(const QString& text, std::shared_ptr<HighlightRule> look = std::make_shared<HighlightRule>()) {
    return std::make_shared<FilterRule>(false, std::make_shared<SearchItem>(text), std::move(look),
                                        NotificationRule::defaultRule());
}

/// The program's rule stores while it lives, empty at first, and the notifications of the rules.
class Rules {
public:
    Rules() {
        FiltersManager::setShared(std::move(FiltersManager::load(directory_.path()).value()));
        FilterRulesMemento::setShared(std::move(FilterRulesMemento::load(directory_.path()).value()));
        while (!all().rules().empty())
            all().removeRule(0);
    }
    ~Rules() {
        FiltersManager::setShared(nullptr);
        FilterRulesMemento::setShared(nullptr);
    }

    static FiltersManager& all() { return FiltersManager::shared(); }
    static FilterRulesMemento& active() { return FilterRulesMemento::shared(); }
    static std::shared_ptr<FilterRule> add(const QString& text, QColor color, Frequency frequency) {
        const auto rule =
            makeRule(text, std::make_shared<HighlightRule>(false, false, false, color, Qt::white));
        rule->setNotificationRule(std::make_shared<NotificationRule>(true, false, frequency));
        all().addRule(rule);
        return rule;
    }
    /// One-based numbers of the reported lines.
    std::vector<qint64> told() const {
        std::vector<qint64> lines;
        for (const UserNotification& notification : center.delivered)
            lines.push_back(notification.userInfo->lineNum);
        return lines;
    }

    test::RecordingNotificationCenter center;

private:
    const QTemporaryDir directory_;
};

} // namespace korvane::test
