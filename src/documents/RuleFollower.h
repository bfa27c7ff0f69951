#pragma once

#include "foundation/notices/Notice.h"

#include <QString>

#include <functional>
#include <memory>

namespace korvane {

class DocumentProtocol;
class RuleEnforcer;

/// Keeps the active rules of one document in step with the stores: those that are switched on for it and
/// still exist, in the order of switching on. Without stores (tools, tests) no rule is active. Main thread.
class RuleFollower {
public:
    /// Sets the rules at once; calls `rulesChanged` after every later change.
    RuleFollower(std::shared_ptr<RuleEnforcer> enforcer, const DocumentProtocol& document,
                 std::function<void()> rulesChanged);

private:
    /// Returns whether anything has changed.
    bool setRules();
    void follow();

    const std::shared_ptr<RuleEnforcer> enforcer_;
    const QString docKey_;
    const std::function<void()> rulesChanged_;
    Subscriptions subscriptions_;
};

} // namespace korvane
