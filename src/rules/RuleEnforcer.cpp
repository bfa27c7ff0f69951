#include "rules/RuleEnforcer.h"

#include "core/DocumentProtocol.h"
#include "foundation/FilePath.h"
#include "foundation/MainThread.h"
#include "rules/FilterRule.h"
#include "rules/RulePainter.h"

#include <algorithm>
#include <unordered_set>
#include <utility>

namespace korvane {

struct NotifiedLines {
    /// The rule has been changed or removed: what older passes still find is not told.
    bool isRetired = false;
    std::unordered_set<qint64> lines;
};

/// Runs the rules over the lines of one load. What is to be told is delivered at its end, all at once.
class RuleEnforcer::Pass : public RulePassProtocol {
public:
    Pass(RuleEnforcer& enforcer, std::shared_ptr<const ActiveRules> rules, std::function<bool()> isCancelled)
        : enforcer_(enforcer), rules_(std::move(rules)), isCancelled_(std::move(isCancelled)) {
        matchers_.reserve(rules_->size());
        for (const ActiveRule& rule : *rules_)
            matchers_.emplace_back(rule.snapshot->search);
    }
    ~Pass() override { deliver(); }

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
            notify(lineNum, (*rules_)[i]);
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

    void notify(qint64 lineNum, const ActiveRule& rule) {
        const RuleValues& values = rule.snapshot->values;
        if ((values.notifies || values.bouncesDock) && enforcer_.recordLine(rule, lineNum))
            deliveries_.push_back(enforcer_.notify(lineNum, values));
    }

    void deliver() {
        if (deliveries_.empty())
            return;
        MainThread::shared().post([deliveries = std::move(deliveries_)] {
            UserNotificationCenter* const center = UserNotificationCenter::shared();
            if (!center)
                return;
            for (const Delivery& delivery : deliveries) {
                if (delivery.notification)
                    center->deliver(*delivery.notification);
                if (delivery.bouncesDock)
                    center->requestUserAttention(delivery.fileUrl);
            }
        });
    }

    RuleEnforcer& enforcer_;
    const std::shared_ptr<const ActiveRules> rules_;
    const std::function<bool()> isCancelled_;
    std::vector<CompiledSearch::Matcher> matchers_; // of the rules
    RulePainter painter_;
    std::vector<Delivery> deliveries_;
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

std::unique_ptr<RulePassProtocol> RuleEnforcer::makePass(std::function<bool()> isCancelled) {
    std::shared_ptr<const ActiveRules> rules;
    {
        const std::lock_guard guard(mutex_);
        rules = published_;
    }
    return std::make_unique<Pass>(*this, std::move(rules), std::move(isCancelled));
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

bool RuleEnforcer::recordLine(const ActiveRule& rule, qint64 lineNum) {
    const std::lock_guard guard(mutex_);
    NotifiedLines& notified = *rule.notified;
    if (notified.isRetired || (rule.snapshot->values.frequency == Frequency::Once && !notified.lines.empty()))
        return false;
    return notified.lines.insert(lineNum).second;
}

RuleEnforcer::Delivery RuleEnforcer::notify(qint64 lineNum, const RuleValues& rule) const {
    Delivery delivery;
    delivery.bouncesDock = rule.bouncesDock;
    const auto document = dataSource_.getDocument();
    const QUrl url = document ? document->fileUrl() : QUrl();
    if (!url.isEmpty())
        delivery.fileUrl = absoluteString(url);
    if (!rule.notifies)
        return delivery;
    UserNotification told;
    told.title = QStringLiteral("Rule '%1' matched").arg(rule.searchStr);
    if (!url.isEmpty()) {
        told.subtitle = QStringLiteral("Line: %1 in %2").arg(QString::number(lineNum + 1), displayName(url));
        told.informativeText = QStringLiteral("Path: ") + delivery.fileUrl;
        told.userInfo = UserNotification::UserInfo{lineNum + 1, delivery.fileUrl};
    }
    told.foldKey = rule.id.toString(QUuid::WithoutBraces) + u' ' + delivery.fileUrl;
    delivery.notification = std::move(told);
    return delivery;
}

} // namespace korvane
