#pragma once

#include "foundation/text/AttributedString.h"

#include <QString>
#include <QUuid>

#include <functional>
#include <memory>
#include <vector>

namespace korvane {

/// The rules as they stood when the pass was made, for the lines of one page load, on that load's thread.
class RulePassProtocol {
public:
    virtual ~RulePassProtocol() = default;
    /// Marks and paints one line in place.
    virtual void applyRules(qint64 lineNum, AttributedString& line) = 0;
};

/// The rules that tell the user of lines, as they stood when the pass was made, for lines that nobody may be
/// looking at. What is found is delivered when the pass goes. On one thread.
class NotificationPassProtocol {
public:
    virtual ~NotificationPassProtocol() = default;
    virtual void look(qint64 lineNum, const QString& line) = 0;
    /// Something has been found that will be delivered.
    virtual bool hasFoundAny() const = 0;
};

/// A rule whose pattern takes too long for some lines of a file, of which it is not known whether they match.
struct SlowRule {
    QUuid id;
    QString searchStr;
    /// Those met so far: at least 1.
    qint64 lineCount = 0;
};

/// What a data source needs of the rule enforcer.
class RuleEnforcerProtocol {
public:
    virtual ~RuleEnforcerProtocol() = default;

    /// Any thread; the enforcer and its data source must outlive the pass. Once `isCancelled` answers true,
    /// no further rule is run; it may be empty. Made before the lines are read: lines of a content that has
    /// been let go of since are not told of.
    virtual std::unique_ptr<RulePassProtocol> makePass(std::function<bool()> isCancelled) = 0;
    /// As above, but sends no notifications. Null while no line can be hidden.
    virtual std::unique_ptr<RulePassProtocol> makeSilentPass(const std::function<bool()>& /*isCancelled*/) {
        return nullptr;
    }
    /// As above. Null while there is no rule that has something to tell.
    virtual std::unique_ptr<NotificationPassProtocol> makeNotificationPass() { return nullptr; }
    /// In the order of the active rules; changes are reported by `DocumentNotices::slowRulesChanged`. Any
    /// thread.
    virtual std::vector<SlowRule> slowRules() const { return {}; }
    /// Line numbers mean other lines from now on. Any thread.
    virtual void contentForgotten() {}
    /// Paints what a search found.
    virtual void highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) = 0;
    /// Drops the active rules and what is known of their notifications.
    virtual void clearRules() = 0;
};

} // namespace korvane
