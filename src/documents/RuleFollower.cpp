#include "documents/RuleFollower.h"

#include "core/DocumentProtocol.h"
#include "core/NotificationNames.h"
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
    auto& center = NotificationCenter::shared();
    tokens_.push_back(center.observe(notification::filterManager, [this](const Notification&) { follow(); }));
    tokens_.push_back(center.observe(notification::activeRulesChanged, [this](const Notification& posted) {
        const auto* const key = std::any_cast<QString>(&posted.object);
        if (key && *key == docKey_)
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
