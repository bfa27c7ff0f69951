#include "documents/RuleFollower.h"

#include "core/DocumentProtocol.h"
#include "core/NotificationNames.h"
#include "foundation/FilePath.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/RuleEnforcer.h"

#include <QCoreApplication>
#include <QLocale>

#include <utility>

namespace korvane {
namespace {

/// Characters of a rule's text that a message has room for.
constexpr qsizetype mostCharacters = 60;

QString slowRuleText(QString searchStr, qint64 lineCount) {
    if (searchStr.size() > mostCharacters)
        searchStr = searchStr.left(mostCharacters) + u'…';
    // The end is what a narrow window leaves out.
    if (lineCount == 1)
        return QCoreApplication::translate("RuleFollower",
                                           "Rule too slow for this file, 1 line given up: “%1”")
            .arg(searchStr);
    return QCoreApplication::translate("RuleFollower", "Rule too slow for this file, %1 lines given up: “%2”")
        .arg(QLocale().toString(lineCount), searchStr);
}

} // namespace

RuleFollower::RuleFollower(std::shared_ptr<RuleEnforcer> enforcer, const DocumentProtocol& document,
                           std::function<void()> rulesChanged)
    : enforcer_(std::move(enforcer)), docKey_(document.settingsId()), document_(&document),
      rulesChanged_(std::move(rulesChanged)) {
    if (!FiltersManager::hasShared() || !FilterRulesMemento::hasShared())
        return;
    setRules();
    auto& center = NotificationCenter::shared();
    tokens_.push_back(center.observe(notification::filterManager, [this](const Notification&) { follow(); }));
    tokens_.push_back(center.observe(notification::activeRulesChanged, [this](const Notification& posted) {
        const auto* const key = std::any_cast<QString>(&posted.object);
        if (key && *key == docKey_)
            follow();
    }));
    tokens_.push_back(center.observe(notification::slowRulesChanged, [this](const Notification& posted) {
        const auto* const key = std::any_cast<QString>(&posted.object);
        if (key && *key == docKey_)
            tellOfSlowRules();
    }));
}

bool RuleFollower::setRules() {
    RuleEnforcer::Rules rules;
    for (const QUuid& id : FilterRulesMemento::shared().activeRuleIds(docKey_))
        if (auto rule = FiltersManager::shared().ruleWithId(id))
            rules.push_back(std::move(rule));
    return enforcer_->setActiveRules(std::move(rules));
}

void RuleFollower::follow() {
    if (setRules())
        rulesChanged_();
}

void RuleFollower::tellOfSlowRules() {
    std::set<QUuid> slow;
    for (const auto& [id, searchStr, lineCount] : enforcer_->slowRules()) {
        slow.insert(id);
        if (!toldRules_.contains(id))
            NotificationCenter::shared().post(notification::globalUserUpdate,
                                              slowRuleText(searchStr, lineCount), document_);
    }
    // One that is quick again may become slow again.
    toldRules_ = std::move(slow);
}

} // namespace korvane
