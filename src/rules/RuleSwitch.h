#pragma once

#include <QString>
#include <QUuid>

namespace korvane {

/// Whether a rule is switched on for a document, and switching it, in the shared stores. A rule that was
/// never saved gets its place on the disk first: its identity would not be known at the next start otherwise.
/// Main thread.
bool isRuleActive(const QUuid& ruleId, const QString& docKey);
void switchRule(const QUuid& ruleId, const QString& docKey, bool on);

} // namespace korvane
