#include "ui/rules/SlowRules.h"

#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "foundation/text/Translations.h"

#include <QCoreApplication>
#include <QLocale>

namespace korvane {
namespace {

struct SlowRuleTexts {
    Q_DECLARE_TR_FUNCTIONS(SlowRules)
};

} // namespace

std::vector<SlowRule> slowRulesOf(const Document* document) {
    const auto dataSource = document && !document->isClosed() ? document->dataSource() : nullptr;
    const auto enforcer = dataSource ? dataSource->ruleEnforcer() : nullptr;
    return enforcer ? enforcer->slowRules() : std::vector<SlowRule>();
}

QString explanationOf(const SlowRule& rule) {
    const QString lines = SlowRuleTexts::tr("%1 line(s)", nullptr, translations::pluralOf(rule.lineCount))
                              .arg(QLocale().toString(rule.lineCount));
    return SlowRuleTexts::tr("Too slow for this file: given up on %1, which are shown unpainted. A "
                             "pattern with fewer repetitions inside each other is faster.")
        .arg(lines);
}

} // namespace korvane
