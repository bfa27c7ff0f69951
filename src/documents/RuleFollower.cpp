#include "documents/RuleFollower.h"

#include "core/DocumentProtocol.h"
#include "foundation/FilePath.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/RuleEnforcer.h"

#include <QUuid>

#include <utility>

namespace korvane {

RuleFollower::RuleFollower(std::shared_ptr<RuleEnforcer> enforcer, const DocumentProtocol& document,
                           std::function<void()> rulesChanged)
    : enforcer_(std::move(enforcer)), docKey_(document.settingsId()), rulesChanged_(std::move(rulesChanged)) {
    if (!FiltersManager::hasShared() || !FilterRulesMemento::hasShared())
        return;
    setRules();
    subscriptions_.push_back(FiltersManager::shared().changed().subscribe([this](const auto&) { follow(); }));
    subscriptions_.push_back(
        FilterRulesMemento::shared().activeRulesChanged().subscribe([this](const QString& key) {
            if (key == docKey_)
                follow();
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

} // namespace korvane
