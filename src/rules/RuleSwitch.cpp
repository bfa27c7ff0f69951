#include "rules/RuleSwitch.h"

#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"

#include <algorithm>

namespace korvane {

bool isRuleActive(const QUuid& ruleId, const QString& docKey) {
    const auto ids = FilterRulesMemento::shared().activeRuleIds(docKey);
    return std::find(ids.begin(), ids.end(), ruleId) != ids.end();
}

void switchRule(const QUuid& ruleId, const QString& docKey, bool on) {
    if (!on) {
        FilterRulesMemento::shared().removeActiveRule(ruleId, docKey);
        return;
    }
    FiltersManager::shared().saveIfNeverSaved();
    FilterRulesMemento::shared().addActiveRule(ruleId, docKey);
}

} // namespace korvane
