#include "rules/NotificationRule.h"

namespace korvane {

const std::shared_ptr<NotificationRule>& NotificationRule::defaultRule() {
    // Never destroyed: workers that outlast main() may still use it.
    static const auto* const rule = new std::shared_ptr<NotificationRule>(
        std::make_shared<NotificationRule>(false, false, Frequency::Once));
    return *rule;
}

} // namespace korvane
