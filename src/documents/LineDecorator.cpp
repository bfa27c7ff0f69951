#include "documents/LineDecorator.h"

#include "core/Preferences.h"
#include "core/RuleEnforcerProtocol.h"

#include <utility>

namespace korvane {
namespace {

std::shared_ptr<const Attributes> plainAttributes() {
    auto attributes = std::make_shared<Attributes>();
    attributes->set(attribute::font, Preferences::shared().logViewFont());
    attributes->set(attribute::foreground, Preferences::shared().logViewForeground());
    return attributes;
}

} // namespace

LineDecorator::LineDecorator(std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer)
    : plain_(plainAttributes()), ruleEnforcer_(std::move(ruleEnforcer)) {}

PageRow LineDecorator::row(qint64 lineIndex, DisplayLine line) const {
    PageRow row{AttributedString(std::move(line.text), plain_), line.cutBytes};
    if (ruleEnforcer_)
        ruleEnforcer_->applyRules(lineIndex, row.text);
    return row;
}

} // namespace korvane
