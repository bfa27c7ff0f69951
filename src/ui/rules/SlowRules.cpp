#include "ui/rules/SlowRules.h"

#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"

#include <QCoreApplication>
#include <QLocale>

namespace korvane {

std::vector<SlowRule> slowRulesOf(const Document* document) {
    const auto dataSource = document && !document->isClosed() ? document->dataSource() : nullptr;
    const auto enforcer = dataSource ? dataSource->ruleEnforcer() : nullptr;
    return enforcer ? enforcer->slowRules() : std::vector<SlowRule>();
}

QString explanationOf(const SlowRule& rule) {
    const QString lines =
        rule.lineCount == 1
            ? QCoreApplication::translate("SlowRules", "1 line")
            : QCoreApplication::translate("SlowRules", "%1 lines").arg(QLocale().toString(rule.lineCount));
    return QCoreApplication::translate("SlowRules",
                                       "Too slow for this file: given up on %1, which are shown unpainted. A "
                                       "pattern with fewer repetitions inside each other is faster.")
        .arg(lines);
}

} // namespace korvane
