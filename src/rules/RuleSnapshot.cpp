#include "rules/RuleSnapshot.h"

#include "core/search/SearchItem.h"
#include "rules/FilterRule.h"

namespace korvane {

RuleValues::RuleValues(const FilterRule& rule)
    : id(rule.id()), searchStr(rule.searchItem()->searchStr()), regex(rule.searchItem()->regex()),
      ignoreCase(rule.searchItem()->ignoreCase()), hide(rule.hide()), look(rule.highlightRule()->look()),
      notifies(rule.notificationRule()->enabled()), bouncesDock(rule.notificationRule()->bounceDock()),
      frequency(rule.notificationRule()->frequency()) {}

RuleSnapshot::RuleSnapshot(const FilterRule& rule) : values(rule), search(*rule.searchItem()) {}

} // namespace korvane
