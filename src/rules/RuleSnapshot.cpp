#include "rules/RuleSnapshot.h"

#include "core/search/SearchItem.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"

namespace korvane {

RuleValues::RuleValues(const FilterRule& rule)
    : id(rule.id()), searchStr(rule.searchItem()->searchStr()), regex(rule.searchItem()->regex()),
      ignoreCase(rule.searchItem()->ignoreCase()), hide(rule.hide()), bold(rule.highlightRule()->bold()),
      italic(rule.highlightRule()->italic()), underline(rule.highlightRule()->underline()),
      foreground(rule.highlightRule()->foreground()), background(rule.highlightRule()->background()),
      useViewBackground(rule.highlightRule()->useViewBackground()),
      notifies(rule.notificationRule()->enabled()), bouncesDock(rule.notificationRule()->bounceDock()),
      frequency(rule.notificationRule()->frequency()) {}

RuleSnapshot::RuleSnapshot(const FilterRule& rule) : values(rule), search(*rule.searchItem()) {}

} // namespace korvane
