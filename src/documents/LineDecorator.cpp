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

LineDecorator::LineDecorator(std::unique_ptr<RulePassProtocol> rules)
    : plain_(plainAttributes()), rules_(std::move(rules)) {}

LineDecorator::LineDecorator(LineDecorator&&) noexcept = default;
LineDecorator::~LineDecorator() = default;

PageRow LineDecorator::row(qint64 lineIndex, DisplayLine line) const {
    PageRow row{AttributedString(std::move(line.text), plain_), line.cutBytes};
    if (rules_)
        rules_->applyRules(lineIndex, row.text);
    return row;
}

} // namespace korvane
