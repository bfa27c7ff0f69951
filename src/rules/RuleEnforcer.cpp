#include "rules/RuleEnforcer.h"

#include "core/DocumentProtocol.h"
#include "foundation/FilePath.h"
#include "foundation/notices/UserNotifications.h"
#include "foundation/work/MainThread.h"
#include "rules/FilterRule.h"
#include "rules/RulePainter.h"

#include <algorithm>
#include <bitset>
#include <iterator>
#include <optional>
#include <unordered_map>
#include <utility>

namespace korvane {

/// Line numbers, a bit each where they lie close together: a flood of matches takes little.
class LineSet {
public:
    /// False when it was there already.
    bool insert(qint64 line) {
        auto bit = blocks_[line / blockSize][static_cast<std::size_t>(line % blockSize)];
        const bool isNew = !bit;
        bit = true;
        return isNew;
    }
    void clear() { blocks_.clear(); }

private:
    static constexpr qint64 blockSize = 512;
    std::unordered_map<qint64, std::bitset<blockSize>> blocks_;
};

struct NotifiedLines {
    /// The rule has been changed or removed: what older passes still find is not told.
    bool isRetired = false;
    bool hasTold = false;
    LineSet lines;
};

/// Records what the lines of one pass give rise to, and delivers it at its end, all at once.
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
            fileUrl_ = urlOfFile();
        bouncesDock_ |= values.bouncesDock;
        if (values.notifies)
            notifications_.push_back(notificationOf(lineNum, values));
    }
    bool isEmpty() const { return notifications_.empty() && !bouncesDock_; }

private:
    QUrl urlOfFile() const {
        const auto document = enforcer_.dataSource_.getDocument();
        return document ? document->fileUrl() : QUrl();
    }

    UserNotification notificationOf(qint64 lineNum, const RuleValues& rule) const {
        const QString address = fileUrl_->isEmpty() ? QString() : absoluteString(*fileUrl_);
        UserNotification told;
        told.title = QStringLiteral("Rule '%1' matched").arg(rule.searchStr);
        if (!address.isEmpty()) {
            told.subtitle =
                QStringLiteral("Line: %1 in %2").arg(QString::number(lineNum + 1), displayName(*fileUrl_));
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
    std::optional<QUrl> fileUrl_; // once it is needed
    std::vector<UserNotification> notifications_;
    bool bouncesDock_ = false; // however often: it is all one moment
};

/// Runs the rules over the lines of one load.
class RuleEnforcer::Pass : public RulePassProtocol {
public:
    Pass(RuleEnforcer& enforcer, std::function<bool()> isCancelled)
        : enforcer_(enforcer), teller_(enforcer), rules_(enforcer.publishedRules()),
          isCancelled_(std::move(isCancelled)) {
        matchers_.reserve(rules_->size());
        for (const ActiveRule& rule : *rules_)
            matchers_.emplace_back(rule.snapshot->search);
    }

    void applyRules(qint64 lineNum, AttributedString& line) override {
        if (enforcer_.canceled_)
            enforcer_.canceled_ = false;
        if (rules_->empty())
            return;
        painter_.beginLine();
        const SearchedLine searched(line.string());
        for (std::size_t i = 0; i < matchers_.size() && !isCancelled(); ++i) {
            const std::vector<TextRange> ranges = matchers_[i].matchRanges(searched);
            if (ranges.empty())
                continue;
            painter_.addMatches((*rules_)[i].snapshot->values, ranges);
            teller_.lineMatches(lineNum, (*rules_)[i]);
        }
        if (enforcer_.dataSource_.defaultLineAction() == DefaultFilterLineAction::hide &&
            !painter_.hasMatches() && !isMarked(line))
            painter_.hide();
        painter_.paint(line);
    }

private:
    bool isCancelled() const { return enforcer_.canceled_ || (isCancelled_ && isCancelled_()); }

    static bool isMarked(const AttributedString& line) {
        const Attributes* const first = line.attributesAt(0);
        return first && (first->isMarked(attribute::hideLine) || first->isMarked(attribute::showOnlyLine));
    }

    RuleEnforcer& enforcer_;
    Teller teller_;
    const std::shared_ptr<const ActiveRules> rules_;
    const std::function<bool()> isCancelled_;
    std::vector<CompiledSearch::Matcher> matchers_; // of the rules
    RulePainter painter_;
};

class RuleEnforcer::NotificationPass : public NotificationPassProtocol {
public:
    NotificationPass(RuleEnforcer& enforcer, ActiveRules rules)
        : teller_(enforcer), rules_(std::move(rules)) {
        matchers_.reserve(rules_.size());
        for (const ActiveRule& rule : rules_)
            matchers_.emplace_back(rule.snapshot->search);
    }

    void look(qint64 lineNum, const QString& line) override {
        const SearchedLine searched(line);
        for (std::size_t i = 0; i < matchers_.size(); ++i)
            if (!matchers_[i].matchRanges(searched).empty())
                teller_.lineMatches(lineNum, rules_[i]);
    }
    bool hasFoundAny() const override { return !teller_.isEmpty(); }

private:
    Teller teller_;
    const ActiveRules rules_;
    std::vector<CompiledSearch::Matcher> matchers_; // of the rules
};

RuleEnforcer::RuleEnforcer(const TailDataSourceProtocol& dataSource)
    : dataSource_(dataSource), published_(std::make_shared<ActiveRules>()) {}

void RuleEnforcer::addRule(std::shared_ptr<FilterRule> rule) {
    // A rule that runs twice has one bookkeeping.
    const auto known = std::find(rules_.begin(), rules_.end(), rule);
    auto notified = known == rules_.end()
                        ? std::make_shared<NotifiedLines>()
                        : active_[static_cast<std::size_t>(known - rules_.begin())].notified;
    active_.push_back({std::make_shared<RuleSnapshot>(*rule), std::move(notified)});
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
        const auto known = std::find(rules_.begin(), rules_.end(), rule);
        if (known != rules_.end()) {
            const ActiveRule& before = active_[static_cast<std::size_t>(known - rules_.begin())];
            if (before.snapshot->values == RuleValues(*rule)) {
                active.push_back(before);
                continue;
            }
        }
        active.push_back({std::make_shared<RuleSnapshot>(*rule), std::make_shared<NotifiedLines>()});
    }
    const auto isSame = [](const ActiveRule& one, const ActiveRule& other) {
        return one.notified == other.notified;
    };
    if (std::equal(active.begin(), active.end(), active_.begin(), active_.end(), isSame))
        return false;
    retire([&](const ActiveRule& rule) {
        return std::none_of(active.begin(), active.end(),
                            [&](const ActiveRule& kept) { return isSame(kept, rule); });
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
    const auto notified = std::make_shared<NotifiedLines>();
    for (std::size_t i = 0; i < rules_.size(); ++i) {
        if (rules_[i] != rule)
            continue;
        retire([&](const ActiveRule& old) { return old.notified == active_[i].notified; });
        active_[i] = {snapshot, notified};
    }
}

void RuleEnforcer::retire(const std::function<bool(const ActiveRule&)>& isMeant) {
    const std::lock_guard guard(mutex_);
    for (const ActiveRule& rule : active_)
        if (isMeant(rule))
            rule.notified->isRetired = true;
}

void RuleEnforcer::publish() {
    auto rules = std::make_shared<const ActiveRules>(active_);
    const std::lock_guard guard(mutex_);
    published_.swap(rules);
}

void RuleEnforcer::applyQuickHighlight(AttributedString& line, const FilterRule& rule) {
    rule.applyHighlight(line, rule.matchRanges(line.string()));
}

std::shared_ptr<const ActiveRules> RuleEnforcer::publishedRules() const {
    const std::lock_guard guard(mutex_);
    return published_;
}

std::uint64_t RuleEnforcer::content() const {
    const std::lock_guard guard(mutex_);
    return content_;
}

std::unique_ptr<RulePassProtocol> RuleEnforcer::makePass(std::function<bool()> isCancelled) {
    return std::make_unique<Pass>(*this, std::move(isCancelled));
}

std::unique_ptr<NotificationPassProtocol> RuleEnforcer::makeNotificationPass() {
    ActiveRules telling;
    {
        const std::lock_guard guard(mutex_);
        std::ranges::copy_if(*published_, std::back_inserter(telling), [](const ActiveRule& rule) {
            const RuleValues& values = rule.snapshot->values;
            return values.tells() && (values.frequency != Frequency::Once || !rule.notified->hasTold);
        });
    }
    return telling.empty() ? nullptr : std::make_unique<NotificationPass>(*this, std::move(telling));
}

void RuleEnforcer::contentForgotten() {
    const std::lock_guard guard(mutex_);
    ++content_;
    for (const ActiveRule& rule : *published_)
        rule.notified->lines.clear();
}

void RuleEnforcer::applyRules(qint64 lineNum, AttributedString& line) {
    makePass({})->applyRules(lineNum, line);
}

AttributedString RuleEnforcer::applyRules(qint64 lineNum, const QString& line) {
    AttributedString attributed(line);
    applyRules(lineNum, attributed);
    return attributed;
}

void RuleEnforcer::highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) {
    line.addAttributesInRanges(
        {{attribute::background, QColor(Qt::yellow)}, {attribute::foreground, QColor(Qt::red)}}, ranges);
}

bool RuleEnforcer::recordLine(const ActiveRule& rule, qint64 lineNum, std::uint64_t content) {
    const std::lock_guard guard(mutex_);
    NotifiedLines& notified = *rule.notified;
    const bool hasDone = rule.snapshot->values.frequency == Frequency::Once && notified.hasTold;
    if (notified.isRetired || hasDone || content != content_)
        return false;
    notified.hasTold = true;
    return notified.lines.insert(lineNum);
}

} // namespace korvane
