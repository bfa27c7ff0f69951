#include "rules/RuleEnforcer.h"

#include "core/DocumentProtocol.h"
#include "foundation/FilePath.h"
#include "foundation/notices/UserNotifications.h"
#include "foundation/work/MainThread.h"
#include "rules/FilterRule.h"
#include "rules/RuleMatching.h"
#include "rules/RulePainter.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

namespace korvane {

/// Collects the notifications of one pass and delivers them at its end, all at once.
class RuleEnforcer::Teller {
public:
    explicit Teller(RuleEnforcer& enforcer) : enforcer_(enforcer), content_(enforcer.content()) {}
    ~Teller() { deliver(); }
    Teller(const Teller&) = delete;
    Teller& operator=(const Teller&) = delete;

    void lineMatches(qint64 lineNum, const ActiveRule& rule) {
        const RuleValues& values = rule.snapshot->values;
        if (!values.tells() || !enforcer_.recordLine(rule, lineNum, content_))
            return;
        if (!fileUrl_)
            learnFile();
        bouncesDock_ |= values.bouncesDock;
        if (values.notifies)
            notifications_.push_back(notificationOf(lineNum, values));
    }
    bool isEmpty() const { return notifications_.empty() && !bouncesDock_; }

private:
    void learnFile() {
        const auto document = enforcer_.dataSource_.getDocument();
        fileUrl_ = document ? document->fileUrl() : QUrl();
        fileName_ = document ? document->displayName() : QString();
    }

    UserNotification notificationOf(qint64 lineNum, const RuleValues& rule) const {
        const QString address = fileUrl_->isEmpty() ? QString() : absoluteString(*fileUrl_);
        UserNotification told;
        told.title = QStringLiteral("Rule '%1' matched").arg(rule.searchStr);
        if (!address.isEmpty()) {
            told.subtitle = QStringLiteral("Line: %1 in %2").arg(QString::number(lineNum + 1), fileName_);
            told.informativeText = QStringLiteral("Path: ") + address;
            told.userInfo = UserNotification::UserInfo{lineNum + 1, address};
        }
        told.foldKey = rule.id.toString(QUuid::WithoutBraces) + u' ' + address;
        return told;
    }

    void deliver() {
        if (isEmpty())
            return;
        const QString address = fileUrl_->isEmpty() ? QString() : absoluteString(*fileUrl_);
        MainThread::shared().post(
            [notifications = std::move(notifications_), bouncesDock = bouncesDock_, address] {
                UserNotificationCenter* const center = UserNotificationCenter::shared();
                if (!center)
                    return;
                for (const UserNotification& notification : notifications)
                    center->deliver(notification);
                if (bouncesDock)
                    center->requestUserAttention(address);
            });
    }

    RuleEnforcer& enforcer_;
    const std::uint64_t content_;
    std::optional<QUrl> fileUrl_; // set when it is first needed
    QString fileName_;            // set together with fileUrl_
    std::vector<UserNotification> notifications_;
    bool bouncesDock_ = false; // once for all lines of the pass
};

/// Evaluates the rules of one pass, and records at its end which lines they have given up.
class RuleEnforcer::Evaluation {
public:
    Evaluation(RuleEnforcer& enforcer, std::shared_ptr<const ActiveRules> rules,
               std::function<bool()> isCancelled)
        : enforcer_(enforcer), content_(enforcer.content()), rules_(std::move(rules)),
          isCancelled_(std::move(isCancelled)), lines_(rules_->size()),
          matching_(matchedRules(), isCancelled_) {}
    ~Evaluation() {
        if (!records_)
            return;
        bool hasChanged = false;
        for (std::size_t i = 0; i < rules_->size(); ++i)
            hasChanged |= enforcer_.recordEffort((*rules_)[i], matching_.isTooSlow(i), lines_[i].givenUp,
                                                 lines_[i].decided, content_);
        if (hasChanged)
            enforcer_.postSlowRules();
    }
    /// Disables recording the lines that are given up.
    void recordNothing() { records_ = false; }
    Evaluation(const Evaluation&) = delete;
    Evaluation& operator=(const Evaluation&) = delete;

    std::size_t ruleCount() const { return rules_->size(); }
    const ActiveRule& rule(std::size_t index) const { return (*rules_)[index]; }
    bool isCancelled() const { return isCancelled_ && isCancelled_(); }

    MatchOutcome match(std::size_t rule, qint64 lineNum, const SearchedLine& line) {
        MatchOutcome outcome = matching_.match(rule, line);
        Lines& lines = lines_[rule];
        if (!outcome.gaveUp) {
            if (lines.hadGivenUp)
                lines.decided.push_back(lineNum);
        } else if (!isCancelled()) {
            lines.givenUp.push_back(lineNum);
        }
        return outcome;
    }

private:
    struct Lines {
        std::vector<qint64> givenUp;
        /// Only for rules that have given up lines before.
        std::vector<qint64> decided;
        bool hadGivenUp = false;
    };

    std::vector<RuleMatching::Rule> matchedRules() {
        std::vector<RuleMatching::Rule> matched;
        matched.reserve(rules_->size());
        const MutexLock guard(enforcer_.mutex_);
        for (std::size_t i = 0; i < rules_->size(); ++i) {
            const ActiveRule& rule = (*rules_)[i];
            lines_[i].hadGivenUp = rule.record->givenUpLines.size() > 0;
            matched.push_back({rule.snapshot->search, rule.record->isTooSlow});
        }
        return matched;
    }

    RuleEnforcer& enforcer_;
    const std::uint64_t content_;
    const std::shared_ptr<const ActiveRules> rules_;
    const std::function<bool()> isCancelled_;
    std::vector<Lines> lines_; // of the rules
    RuleMatching matching_;
    bool records_ = true;
};

/// Evaluates the rules over the lines of one load.
class RuleEnforcer::Pass : public RulePassProtocol {
public:
    enum class Telling { On, Off };
    Pass(RuleEnforcer& enforcer, std::function<bool()> isCancelled, Telling telling)
        : enforcer_(enforcer),
          evaluation_(enforcer, enforcer.publishedRules(), [&enforcer, isCancelled = std::move(isCancelled)] {
              return enforcer.canceled_ || (isCancelled && isCancelled());
          }) {
        if (telling == Telling::On)
            teller_.emplace(enforcer);
        else
            evaluation_.recordNothing();
    }

    void applyRules(qint64 lineNum, AttributedString& line, RuleMarks& marks) override {
        if (enforcer_.canceled_)
            enforcer_.canceled_ = false;
        if (evaluation_.ruleCount() == 0)
            return;
        painter_.beginLine();
        RuleMarks found = marks;
        const SearchedLine searched(line.string());
        for (std::size_t i = 0; i < evaluation_.ruleCount() && !evaluation_.isCancelled(); ++i) {
            const auto [ranges, gaveUp] = evaluation_.match(i, lineNum, searched);
            found.givenUp |= gaveUp;
            if (ranges.empty())
                continue;
            const RuleValues& rule = evaluation_.rule(i).snapshot->values;
            painter_.addMatches(rule, ranges);
            (rule.hide ? found.hideLine : found.showOnlyLine) = true;
            if (teller_)
                teller_->lineMatches(lineNum, evaluation_.rule(i));
        }
        painter_.paint(line);
        if (line.length() == 0)
            return;
        if (enforcer_.dataSource_.defaultLineAction() == DefaultFilterLineAction::hide &&
            found == RuleMarks())
            found.hideLine = true;
        marks = found;
    }

private:
    RuleEnforcer& enforcer_;
    std::optional<Teller> teller_;
    Evaluation evaluation_;
    RulePainter painter_;
};

class RuleEnforcer::NotificationPass : public NotificationPassProtocol {
public:
    NotificationPass(RuleEnforcer& enforcer, std::shared_ptr<const ActiveRules> rules)
        : teller_(enforcer), evaluation_(enforcer, std::move(rules), {}) {}

    void look(qint64 lineNum, const QString& line) override {
        const SearchedLine searched(line);
        for (std::size_t i = 0; i < evaluation_.ruleCount(); ++i)
            if (!evaluation_.match(i, lineNum, searched).ranges.empty())
                teller_.lineMatches(lineNum, evaluation_.rule(i));
    }
    bool hasFoundAny() const override { return !teller_.isEmpty(); }

private:
    Teller teller_;
    Evaluation evaluation_;
};

RuleEnforcer::RuleEnforcer(const RuledRows& dataSource)
    : dataSource_(dataSource), published_(std::make_shared<ActiveRules>()) {}

void RuleEnforcer::addRule(std::shared_ptr<FilterRule> rule) {
    // A rule that runs twice has one common record.
    const auto known = std::find(rules_.begin(), rules_.end(), rule);
    auto record = known == rules_.end() ? std::make_shared<RuleRecord>()
                                        : active_[static_cast<std::size_t>(known - rules_.begin())].record;
    active_.push_back({std::make_shared<RuleSnapshot>(*rule), std::move(record)});
    rules_.push_back(std::move(rule));
    publish();
}

bool RuleEnforcer::removeRule(const std::shared_ptr<FilterRule>& rule) {
    const auto place = std::find(rules_.begin(), rules_.end(), rule);
    if (place == rules_.end())
        return false;
    startAfresh(rule);
    active_.erase(active_.begin() + (place - rules_.begin()));
    rules_.erase(place);
    publish();
    return true;
}

bool RuleEnforcer::updateRule(const std::shared_ptr<FilterRule>& rule) {
    if (std::find(rules_.begin(), rules_.end(), rule) == rules_.end())
        return false;
    startAfresh(rule);
    publish();
    return true;
}

bool RuleEnforcer::setActiveRules(Rules rules) {
    ActiveRules active;
    for (const auto& rule : rules) {
        const RuleValues values(*rule);
        const auto known = std::find(rules_.begin(), rules_.end(), rule);
        const ActiveRule* const before =
            known == rules_.end() ? nullptr : &active_[static_cast<std::size_t>(known - rules_.begin())];
        if (before && before->snapshot->values == values)
            active.push_back(*before);
        else
            active.push_back(
                {std::make_shared<RuleSnapshot>(*rule), before && before->snapshot->values.matchesLike(values)
                                                            ? before->record
                                                            : std::make_shared<RuleRecord>()});
    }
    if (std::equal(active.begin(), active.end(), active_.begin(), active_.end(),
                   [](const ActiveRule& one, const ActiveRule& other) {
                       return one.snapshot == other.snapshot && one.record == other.record;
                   }))
        return false;
    retire([&](const ActiveRule& rule) {
        return std::none_of(active.begin(), active.end(),
                            [&](const ActiveRule& kept) { return kept.record == rule.record; });
    });
    rules_ = std::move(rules);
    active_ = std::move(active);
    publish();
    return true;
}

void RuleEnforcer::clearRules() {
    retire([](const ActiveRule&) { return true; });
    rules_.clear();
    active_.clear();
    publish();
}

void RuleEnforcer::startAfresh(const std::shared_ptr<FilterRule>& rule) {
    const auto snapshot = std::make_shared<RuleSnapshot>(*rule);
    const auto record = std::make_shared<RuleRecord>();
    for (std::size_t i = 0; i < rules_.size(); ++i) {
        if (rules_[i] != rule)
            continue;
        retire([&](const ActiveRule& old) { return old.record == active_[i].record; });
        active_[i] = {snapshot, record};
    }
}

void RuleEnforcer::retire(const std::function<bool(const ActiveRule&)>& isMeant) {
    bool wasSlow = false;
    {
        const MutexLock guard(mutex_);
        for (const ActiveRule& rule : active_) {
            if (!isMeant(rule))
                continue;
            rule.record->isRetired = true;
            wasSlow |= rule.record->givenUpLines.size() > 0;
        }
    }
    if (wasSlow)
        postSlowRules();
}

void RuleEnforcer::publish() {
    auto rules = std::make_shared<const ActiveRules>(active_);
    const MutexLock guard(mutex_);
    published_.swap(rules);
}

void RuleEnforcer::applyQuickHighlight(AttributedString& line, const FilterRule& rule) {
    rule.applyHighlight(line, rule.matchRanges(line.string()));
}

std::shared_ptr<const ActiveRules> RuleEnforcer::publishedRules() const {
    const MutexLock guard(mutex_);
    return published_;
}

std::uint64_t RuleEnforcer::content() const {
    const MutexLock guard(mutex_);
    return content_;
}

std::unique_ptr<RulePassProtocol> RuleEnforcer::makePass(std::function<bool()> isCancelled) {
    return std::make_unique<Pass>(*this, std::move(isCancelled), Pass::Telling::On);
}

std::unique_ptr<RulePassProtocol> RuleEnforcer::makeSilentPass(const std::function<bool()>& isCancelled) {
    if (publishedRules()->empty())
        return nullptr;
    return std::make_unique<Pass>(*this, isCancelled, Pass::Telling::Off);
}

std::unique_ptr<NotificationPassProtocol> RuleEnforcer::makeNotificationPass() {
    auto telling = std::make_shared<ActiveRules>();
    {
        const MutexLock guard(mutex_);
        std::ranges::copy_if(*published_, std::back_inserter(*telling), [](const ActiveRule& rule) {
            const RuleValues& values = rule.snapshot->values;
            return values.tells() && (values.frequency != Frequency::Once || !rule.record->hasNotified);
        });
    }
    return telling->empty() ? nullptr : std::make_unique<NotificationPass>(*this, std::move(telling));
}

void RuleEnforcer::contentForgotten() {
    bool wasSlow = false;
    {
        const MutexLock guard(mutex_);
        ++content_;
        for (const ActiveRule& rule : *published_) {
            wasSlow |= rule.record->givenUpLines.size() > 0;
            rule.record->notifiedLines.clear();
            rule.record->givenUpLines.clear();
            rule.record->isTooSlow = false;
        }
    }
    if (wasSlow)
        postSlowRules();
}

std::vector<RuleSearch> RuleEnforcer::activeSearches() const {
    std::vector<RuleSearch> searches;
    for (const auto& rule : rules_)
        searches.push_back({*rule->searchItem(), rule->hide()});
    return searches;
}

std::vector<SlowRule> RuleEnforcer::slowRules() const {
    std::vector<SlowRule> slow;
    const MutexLock guard(mutex_);
    for (const ActiveRule& rule : *published_)
        if (const qint64 count = rule.record->givenUpLines.size(); count > 0)
            slow.push_back({rule.snapshot->values.id, rule.snapshot->values.searchStr, count});
    return slow;
}

bool RuleEnforcer::recordEffort(const ActiveRule& rule, bool isTooSlow, const std::vector<qint64>& givenUp,
                                const std::vector<qint64>& decided, std::uint64_t content) {
    if (!isTooSlow && givenUp.empty() && decided.empty())
        return false;
    const MutexLock guard(mutex_);
    RuleRecord& record = *rule.record;
    if (record.isRetired || content != content_)
        return false;
    record.isTooSlow |= isTooSlow;
    bool hasChanged = false;
    for (const qint64 line : decided)
        hasChanged |= record.givenUpLines.remove(line);
    for (const qint64 line : givenUp)
        hasChanged |= record.givenUpLines.insert(line);
    return hasChanged;
}

void RuleEnforcer::postSlowRules() const {
    const auto document = dataSource_.getDocument();
    if (!document)
        return;
    MainThread::shared().post([weak = std::weak_ptr(document)] {
        if (const auto open = weak.lock())
            open->notices().slowRulesChanged.post();
    });
}

RowLine& RuleEnforcer::applyRules(qint64 lineNum, RowLine& line) {
    makePass({})->applyRules(lineNum, line.line, line.marks);
    return line;
}

RowLine RuleEnforcer::applyRules(qint64 lineNum, const QString& line) {
    RowLine row{lineNum + 1, AttributedString(line), true};
    return applyRules(lineNum, row);
}

void RuleEnforcer::highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) {
    line.add({.foreground = QColor(Qt::red), .background = QColor(Qt::yellow)}, ranges);
}

void RuleEnforcer::paintMatches(AttributedString& line, const std::vector<TextRange>& ranges) {
    line.add({.foreground = QColor(Qt::black), .background = QColor(255, 236, 130)}, ranges);
}

bool RuleEnforcer::recordLine(const ActiveRule& rule, qint64 lineNum, std::uint64_t content) {
    const MutexLock guard(mutex_);
    RuleRecord& record = *rule.record;
    const bool hasDone = rule.snapshot->values.frequency == Frequency::Once && record.hasNotified;
    if (record.isRetired || hasDone || content != content_)
        return false;
    record.hasNotified = true;
    return record.notifiedLines.insert(lineNum);
}

} // namespace korvane
