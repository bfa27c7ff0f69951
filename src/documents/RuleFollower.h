#pragma once

#include "foundation/notices/NotificationCenter.h"

#include <QString>
#include <QUuid>

#include <functional>
#include <memory>
#include <set>
#include <vector>

namespace korvane {

class DocumentProtocol;
class RuleEnforcer;

/// Keeps the active rules of one document as the stores say: those that are switched on for it and still
/// exist, in the order of switching on. Without stores (tools, tests) there are none. Tells the user, once a
/// rule, that it is too slow for the file. Main thread.
class RuleFollower {
public:
    /// Sets the rules at once. `rulesChanged` is called after every later change.
    RuleFollower(std::shared_ptr<RuleEnforcer> enforcer, const DocumentProtocol& document,
                 std::function<void()> rulesChanged);

private:
    /// Returns whether anything has changed.
    bool setRules();
    void follow();
    void tellOfSlowRules();

    const std::shared_ptr<RuleEnforcer> enforcer_;
    const QString docKey_;
    /// Never dereferenced.
    const DocumentProtocol* const document_;
    const std::function<void()> rulesChanged_;
    /// Rules of which the user has been told.
    std::set<QUuid> toldRules_;
    std::vector<NotificationToken> tokens_;
};

} // namespace korvane
