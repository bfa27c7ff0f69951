#pragma once

#include <QString>
#include <QUuid>

namespace korvane {

/// Read and set, in the shared stores, whether a rule is switched on for a document. Rules that were never
/// saved are saved first: otherwise the identity would be unknown at the next start. Main thread.
bool isRuleActive(const QUuid& ruleId, const QString& docKey);
void switchRule(const QUuid& ruleId, const QString& docKey, bool on);

} // namespace korvane
