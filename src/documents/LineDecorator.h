#pragma once

#include "core/LogFileReaderProtocol.h"
#include "documents/PageLoad.h"

#include <memory>

namespace korvane {

class RuleEnforcerProtocol;

/// Gives lines their font, colour and rule marks, as the settings and rules stood when the decorator was
/// made. The lines of one decorator share what they have in common. Made for one page load; used on its
/// thread.
class LineDecorator {
public:
    /// `ruleEnforcer` may be null.
    explicit LineDecorator(std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer);

    PageRow row(qint64 lineIndex, DisplayLine line) const;

private:
    const std::shared_ptr<const Attributes> plain_;
    const std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer_;
};

} // namespace korvane
