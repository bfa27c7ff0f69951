#pragma once

#include "core/RuleMarks.h"
#include "core/search/SearchItem.h"
#include "foundation/text/AttributedString.h"

#include <QString>
#include <QUuid>

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

/// Evaluates the rules that were active when the pass was made, over the lines of one page load. On the
/// load's thread.
class RulePassProtocol {
public:
    virtual ~RulePassProtocol() = default;
    /// Paints one line in place and adds to its marks.
    virtual void applyRules(qint64 lineNum, AttributedString& line, RuleMarks& marks) = 0;
};

/// Evaluates the notifying rules that were active when the pass was made, over lines that may not be in view.
/// Its destructor delivers the notifications. On one thread.
class NotificationPassProtocol {
public:
    virtual ~NotificationPassProtocol() = default;
    virtual void look(qint64 lineNum, const QString& line) = 0;
    /// A notification is to be delivered.
    virtual bool hasFoundAny() const = 0;
};

/// A rule whose pattern takes too long for some lines of a file: whether it matches them is unknown.
struct SlowRule {
    QUuid id;
    QString searchStr;
    /// Such lines met so far: at least 1.
    qint64 lineCount = 0;
};

/// What a rule searches for, and what becomes of the lines that match.
struct RuleSearch {
    SearchItem item;
    bool hides = false;
};

/// The rule enforcer as data sources use it.
class RuleEnforcerProtocol {
public:
    virtual ~RuleEnforcerProtocol() = default;

    /// Any thread; the enforcer and its data source must outlive the pass. Once `isCancelled` returns true,
    /// no further rule is run; it may be empty. Make the pass before the lines are read: lines of an older
    /// file generation send no notifications.
    virtual std::unique_ptr<RulePassProtocol> makePass(std::function<bool()> isCancelled) = 0;
    /// As above, but sends no notifications. Null while no line can be hidden.
    virtual std::unique_ptr<RulePassProtocol> makeSilentPass(const std::function<bool()>& /*isCancelled*/) {
        return nullptr;
    }
    /// As above. Null while no rule is to notify.
    virtual std::unique_ptr<NotificationPassProtocol> makeNotificationPass() { return nullptr; }
    /// In the order of the active rules; changes are reported by `DocumentNotices::slowRulesChanged`. Any
    /// thread.
    virtual std::vector<SlowRule> slowRules() const { return {}; }
    /// Of the active rules, in their order. Main thread.
    virtual std::vector<RuleSearch> activeSearches() const { return {}; }
    /// A new file generation: line numbers denote other lines from now on. Any thread.
    virtual void contentForgotten() {}
    /// Paints the matches of a search.
    virtual void highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) = 0;
    /// Drops the active rules and the record of their notifications.
    virtual void clearRules() = 0;
};

} // namespace korvane
