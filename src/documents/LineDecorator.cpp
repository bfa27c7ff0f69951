#include "documents/LineDecorator.h"

#include "core/Preferences.h"
#include "core/RuleEnforcerProtocol.h"

#include <utility>

namespace korvane {
namespace {

std::shared_ptr<const Attributes> plainAttributes() {
    return std::make_shared<const Attributes>(
        Attributes{.font = Preferences::shared().logViewFont(),
                   .foreground = Preferences::shared().logViewForeground()});
}

} // namespace

LineDecorator::LineDecorator(std::unique_ptr<RulePassProtocol> rules)
    : plain_(plainAttributes()), rules_(std::move(rules)) {}

LineDecorator::LineDecorator(LineDecorator&&) noexcept = default;
LineDecorator::~LineDecorator() = default;

PageRow LineDecorator::row(qint64 lineIndex, DisplayLine line) const {
    PageRow row{AttributedString(std::move(line.text), plain_), line.cutBytes};
    if (rules_)
        rules_->applyRules(lineIndex, row.text, row.marks);
    return row;
}

} // namespace korvane
