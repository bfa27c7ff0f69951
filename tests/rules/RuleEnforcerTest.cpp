#include "rules/RuleEnforcer.h"

#include "rules/FakeRuledRows.h"
#include "rules/QuickHighlightFilterRule.h"
#include "support/PreferencesTest.h"
#include "support/Rules.h"
#include "support/Waiting.h"

#include <thread>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::makeRule;

class RuleEnforcerTest : public test::PreferencesTest {
protected:
    static std::shared_ptr<HighlightRule> look(bool bold, bool italic, bool underline, QColor color) {
        return std::make_shared<HighlightRule>(bold, italic, underline, color, Qt::white);
    }
    static std::shared_ptr<FilterRule> notifyingRule(const QString& text, Frequency frequency,
                                                     bool enabled = true, bool bounces = false) {
        const auto made = makeRule(text);
        made->setNotificationRule(std::make_shared<NotificationRule>(enabled, bounces, frequency));
        return made;
    }
    bool isHidden(const QString& text) { return enforcer_.applyRules(0, text).marks.hideLine; }
    static RuleMarks marksBy(RulePassProtocol& pass, qint64 lineNum, const QString& text) {
        AttributedString line(text);
        RuleMarks marks;
        pass.applyRules(lineNum, line, marks);
        return marks;
    }
    /// One-based numbers of the lines reported so far.
    std::vector<qint64> told() {
        MainThread::shared().runPending();
        std::vector<qint64> lines;
        for (const UserNotification& notification : center_.delivered)
            lines.push_back(notification.userInfo ? notification.userInfo->lineNum : 0);
        return lines;
    }
    using Lines = std::vector<qint64>;

    test::RecordingNotificationCenter center_;
    test::FakeRuledRows source_;
    RuleEnforcer enforcer_{source_};
};

TEST_F(RuleEnforcerTest, MarkTable) {
    const auto hideBad = makeRule(u"bad"_s);
    hideBad->setHide(true);
    const auto showGood = makeRule(u"good"_s);
    using enum DefaultFilterLineAction;
    const RuleMarks hidden{.hideLine = true};
    const RuleMarks shownOnly{.showOnlyLine = true};
    const RuleMarks both{.hideLine = true, .showOnlyLine = true};
    const std::tuple<RuleEnforcer::Rules, DefaultFilterLineAction, QString, RuleMarks> cases[] = {
        {{}, hide, u"good"_s, {}}, // without rules nothing is hidden
        {{showGood}, hide, u"good"_s, shownOnly},
        {{showGood}, hide, u"other"_s, hidden},
        {{showGood}, hide, u""_s, {}}, // an empty line is never hidden
        {{showGood}, show, u"other"_s, {}},
        {{hideBad}, show, u"bad"_s, hidden},
        {{hideBad}, show, u"other"_s, {}},
        {{hideBad, showGood}, show, u"good and bad"_s, both},
        {{showGood, hideBad}, hide, u"good and bad"_s, both},
    };
    for (const auto& [rules, action, line, marks] : cases) {
        enforcer_.setActiveRules(rules);
        source_.setDefaultLineAction(action);
        EXPECT_EQ(enforcer_.applyRules(0, line).marks, marks) << line.toStdString();
    }
    // A line that was marked before is not hidden by default.
    source_.setDefaultLineAction(hide);
    RowLine marked{1, AttributedString(u"other"_s), true, 0, {.showOnlyLine = true}};
    EXPECT_EQ(enforcer_.applyRules(0, marked).marks, shownOnly);
}

TEST_F(RuleEnforcerTest, OnlyRulesThatHaveSomethingToTellMakeANotificationPass) {
    EXPECT_FALSE(enforcer_.makeNotificationPass());
    const std::tuple<const char*, std::shared_ptr<FilterRule>, bool, bool> cases[] = {
        {"paints", makeRule(u"x"_s), false, false},
        {"tells once", notifyingRule(u"x"_s, Frequency::Once), true, false},
        {"tells always", notifyingRule(u"x"_s, Frequency::Always), true, true},
        {"bounces always", notifyingRule(u"x"_s, Frequency::Always, false, true), true, true},
    };
    for (const auto& [what, tested, tellsAtFirst, tellsLater] : cases) {
        SCOPED_TRACE(what);
        enforcer_.setActiveRules({makeRule(u"x"_s), tested});
        EXPECT_EQ(enforcer_.makeNotificationPass() != nullptr, tellsAtFirst);
        enforcer_.applyRules(0, u"x"_s);
        EXPECT_EQ(enforcer_.makeNotificationPass() != nullptr, tellsLater);
        enforcer_.updateRule(tested);
        EXPECT_EQ(enforcer_.makeNotificationPass() != nullptr, tellsAtFirst);
    }
    told();
}

TEST_F(RuleEnforcerTest, ALineToldByOnePassIsNotToldByTheOtherKind) {
    enforcer_.setActiveRules({notifyingRule(u"error"_s, Frequency::Always, true, true)});
    enforcer_.applyRules(600, u"error"_s);
    auto pass = enforcer_.makeNotificationPass();
    pass->look(600, u"error"_s);
    EXPECT_FALSE(pass->hasFoundAny());
    pass->look(601, u"nothing"_s);
    EXPECT_FALSE(pass->hasFoundAny());
    for (const qint64 line : {89, 601, 1112, 601})
        pass->look(line, u"an error"_s);
    EXPECT_TRUE(pass->hasFoundAny());
    pass.reset();
    enforcer_.applyRules(601, u"error"_s);
    EXPECT_EQ(told(), (Lines{601, 90, 602, 1113}));
    EXPECT_EQ(center_.attention.size(), 2) << "lines of one moment are one reason to look";
}

TEST_F(RuleEnforcerTest, TheNumbersOfAContentThatIsGoneDoNotSilenceTheNextOne) {
    const auto always = notifyingRule(u"error"_s, Frequency::Always);
    const auto once = notifyingRule(u"error"_s, Frequency::Once);
    enforcer_.setActiveRules({always, once});
    enforcer_.applyRules(0, u"error"_s);
    EXPECT_EQ(told(), (Lines{1, 1}));
    const auto oldPage = enforcer_.makePass({});
    const auto oldPass = enforcer_.makeNotificationPass();
    enforcer_.contentForgotten();
    marksBy(*oldPage, 1, u"error"_s);
    oldPass->look(2, u"error"_s);
    EXPECT_FALSE(oldPass->hasFoundAny());
    for (const qint64 number : {0, 1, 2, 0})
        enforcer_.makeNotificationPass()->look(number, u"error"_s);
    EXPECT_EQ(told(), (Lines{1, 1, 1, 2, 3})) << "once is once";
}

// Compared with a model without runs, which treats every position separately.
TEST_F(RuleEnforcerTest, ColoursAreTheLastRulesAndStylesAreThoseOfAllAtEveryPosition) {
    Preferences::shared().setLogViewBackground(QColor(1, 2, 3));
    std::vector<std::shared_ptr<FilterRule>> rules;
    const auto add = [&](const QString& text, bool bold, bool italic, bool underline, QColor color) {
        rules.push_back(makeRule(text, look(bold, italic, underline, color)));
        enforcer_.addRule(rules.back());
    };
    add(u"error"_s, true, false, false, Qt::red);
    add(u"ror in d"_s, false, true, true, Qt::green);
    add(u"r"_s, false, false, true, Qt::blue);
    add(u"error"_s, true, false, false, Qt::magenta);
    add(u"elsewhere"_s, true, true, true, Qt::black);
    add(u"in"_s, false, false, false, Qt::cyan);
    rules.back()->highlightRule()->setUseViewBackground(false);
    enforcer_.updateRule(rules.back());

    const AttributedString line = enforcer_.applyRules(0, u"an error in door: error"_s).line;
    for (int i = 0; i < line.length(); ++i) {
        SCOPED_TRACE(i);
        bool bold = false;
        bool italic = false;
        bool underline = false;
        for (const auto& each : rules)
            for (const TextRange& range : each->matchRanges(line.string())) {
                const bool isIn = i >= range.location && i < range.end();
                bold |= isIn && each->highlightRule()->bold();
                italic |= isIn && each->highlightRule()->italic();
                underline |= isIn && each->highlightRule()->underline();
            }
        const Attributes& here = *line.attributesAt(i);
        EXPECT_EQ(here.foreground, QColor(Qt::cyan));
        EXPECT_EQ(here.background, QColor(Qt::white));
        EXPECT_EQ(here.font->family(), Preferences::shared().logViewFont().family());
        EXPECT_EQ(here.font->bold(), bold);
        EXPECT_EQ(here.font->italic(), italic);
        EXPECT_EQ(here.underline, underline);
    }
    EXPECT_EQ(enforcer_.applyRules(0, u"elsewhere"_s).line.attributesAt(0)->background, QColor(1, 2, 3));
}

TEST_F(RuleEnforcerTest, LinesOfAPassThatLookAlikeShareTheirAttributes) {
    enforcer_.addRule(makeRule(u"x"_s, look(true, false, false, Qt::red)));
    const auto plain = std::make_shared<Attributes>();
    AttributedString lines[] = {AttributedString(u"ax"_s, plain), AttributedString(u"bx"_s, plain)};
    const auto pass = enforcer_.makePass({});
    RuleMarks marks;
    for (AttributedString& line : lines)
        pass->applyRules(0, line, marks);
    EXPECT_EQ(lines[0].attributesAt(0), lines[1].attributesAt(0));
    EXPECT_EQ(lines[0].attributesAt(1), lines[1].attributesAt(1));
    EXPECT_NE(lines[0].attributesAt(0), lines[0].attributesAt(1));
}

TEST_F(RuleEnforcerTest, OnceTellsOfOneLineUntilTheRuleIsUpdatedOrCleared) {
    const auto once = notifyingRule(u"error"_s, Frequency::Once);
    enforcer_.addRule(once);
    enforcer_.applyRules(3, u"error"_s);
    enforcer_.applyRules(9, u"error"_s);
    EXPECT_EQ(told(), (Lines{4}));
    EXPECT_TRUE(enforcer_.updateRule(once));
    enforcer_.applyRules(9, u"error"_s);
    EXPECT_EQ(told(), (Lines{4, 10}));
    enforcer_.clearRules();
    enforcer_.addRule(once);
    enforcer_.applyRules(9, u"error"_s);
    EXPECT_EQ(told(), (Lines{4, 10, 10}));
    EXPECT_TRUE(enforcer_.removeRule(once));
    EXPECT_FALSE(enforcer_.hasActiveRules());
    enforcer_.applyRules(10, u"error"_s);
    EXPECT_EQ(told().size(), 3U);
    EXPECT_FALSE(enforcer_.removeRule(once));
    EXPECT_FALSE(enforcer_.updateRule(once));

    // A rule that was added twice runs twice and reports once; a rule that only requests attention shows
    // nothing.
    const auto twice = notifyingRule(u"error"_s, Frequency::Always);
    for (const auto& added : {twice, twice, notifyingRule(u"error"_s, Frequency::Once, false, true)})
        enforcer_.addRule(added);
    enforcer_.applyRules(11, u"error"_s);
    enforcer_.applyRules(12, u"error"_s);
    EXPECT_EQ(told(), (Lines{4, 10, 10, 12, 13}));
    EXPECT_EQ(center_.attention, QStringList{u"file:///logs/a%20b.log"_s});
    EXPECT_TRUE(enforcer_.removeRule(twice));
    EXPECT_TRUE(enforcer_.removeRule(twice));
    EXPECT_TRUE(enforcer_.hasActiveRules());
}

TEST_F(RuleEnforcerTest, ANotificationSaysWhichRuleLineAndFile) {
    const auto once = notifyingRule(u"100%2 %1"_s, Frequency::Once);
    enforcer_.addRule(once);
    enforcer_.applyRules(41, u"100%2 %1"_s);
    ASSERT_EQ(told(), Lines{42});
    const UserNotification notification = center_.delivered.front();
    EXPECT_EQ(notification.title, u"Rule '100%2 %1' matched"_s);
    EXPECT_EQ(notification.subtitle, u"Line: 42 in a b.log"_s);
    EXPECT_EQ(notification.informativeText, u"Path: file:///logs/a%20b.log"_s);
    EXPECT_EQ(notification.userInfo->fileUrl, u"file:///logs/a%20b.log"_s);
    EXPECT_TRUE(notification.foldKey.contains(once->id().toString(QUuid::WithoutBraces)));
    EXPECT_TRUE(notification.foldKey.contains(u"file:///logs/a%20b.log"_s));

    source_.closeDocument();
    enforcer_.updateRule(once);
    enforcer_.applyRules(41, u"100%2 %1"_s);
    ASSERT_EQ(told(), (Lines{42, 0}));
    EXPECT_EQ(center_.delivered.back().subtitle, QString());
    EXPECT_EQ(center_.delivered.back().title, notification.title);
}

TEST_F(RuleEnforcerTest, ChangingOneRuleLeavesTheBookkeepingOfTheOthers) {
    const auto kept = notifyingRule(u"error"_s, Frequency::Once);
    const auto changed = notifyingRule(u"error"_s, Frequency::Once);
    enforcer_.setActiveRules({kept, changed});
    enforcer_.applyRules(0, u"error"_s);
    EXPECT_EQ(told().size(), 2U);
    EXPECT_FALSE(enforcer_.setActiveRules({kept, changed})) << "nothing has changed";

    changed->highlightRule()->setForeground(Qt::magenta);
    EXPECT_TRUE(enforcer_.setActiveRules({kept, changed}));
    EXPECT_EQ(enforcer_.applyRules(1, u"error"_s).line.attributesAt(0)->foreground, QColor(Qt::magenta));
    EXPECT_EQ(told().size(), 2U) << "only the look has changed";

    changed->searchItem()->setIgnoreCase(false);
    EXPECT_TRUE(enforcer_.setActiveRules({changed, kept}));
    enforcer_.applyRules(1, u"error"_s);
    EXPECT_EQ(told().size(), 3U);
}

TEST_F(RuleEnforcerTest, ALineThatARuleGaveUpOnIsShownMarkedAndCounted) {
    const auto slow = notifyingRule(u"^(\\S+\\s*)+[#%]"_s, Frequency::Always);
    slow->searchItem()->setRegex(true);
    slow->setHide(true);
    const auto other = notifyingRule(u"urgent"_s, Frequency::Always);
    enforcer_.setActiveRules({slow, other});
    source_.setDefaultLineAction(DefaultFilterLineAction::hide);
    int changes = 0;
    const auto subscription = source_.getDocument()->notices().slowRulesChanged.subscribe([&] { ++changes; });

    const QString endless = u"2026-11-22 06:59:01 INFO an urgent request of a worker has finished"_s;
    EXPECT_EQ(enforcer_.applyRules(7, endless).marks, (RuleMarks{.showOnlyLine = true, .givenUp = true}));
    EXPECT_EQ(enforcer_.applyRules(8, QString(endless).remove(u"urgent"_s)).marks,
              (RuleMarks{.givenUp = true}))
        << "hidden as if no rule claimed it";
    EXPECT_TRUE(isHidden(u"quick"_s));
    EXPECT_EQ(told(), Lines{8}) << "of the other rule only";
    EXPECT_GT(changes, 0);
    const auto countOfSlow = [this] {
        const auto slowRules = enforcer_.slowRules();
        return slowRules.empty() ? 0 : slowRules.front().lineCount;
    };
    EXPECT_EQ(countOfSlow(), 2);
    enforcer_.applyRules(7, endless);
    EXPECT_EQ(countOfSlow(), 2) << "a line is counted as often as it is read";
    enforcer_.applyRules(7, u"quick"_s);
    EXPECT_EQ(countOfSlow(), 1) << "another line stands there now";

    slow->highlightRule()->setBold(true);
    enforcer_.setActiveRules({slow, other});
    EXPECT_EQ(countOfSlow(), 1);
    told();
    changes = 0;
    enforcer_.contentForgotten();
    EXPECT_EQ(countOfSlow(), 0);
    enforcer_.applyRules(0, endless);
    slow->searchItem()->setSearchStr(u"[#%]"_s);
    enforcer_.setActiveRules({slow, other});
    EXPECT_EQ(countOfSlow(), 0);
    told();
    EXPECT_EQ(changes, 3);
}

TEST_F(RuleEnforcerTest, APassKeepsTheRulesItStartedFromAndTellsNothingOfChangedOnes) {
    const auto edited = notifyingRule(u"one"_s, Frequency::Always);
    edited->setHide(true);
    enforcer_.addRule(edited);
    auto pass = enforcer_.makePass({});
    edited->searchItem()->setSearchStr(u"two"_s);
    edited->setHide(false);

    EXPECT_TRUE(marksBy(*pass, 0, u"one"_s).hideLine);
    enforcer_.updateRule(edited);
    EXPECT_TRUE(marksBy(*pass, 1, u"one"_s).hideLine);
    EXPECT_FALSE(isHidden(u"one"_s));
    EXPECT_TRUE(enforcer_.applyRules(2, u"two"_s).marks.showOnlyLine);
    pass.reset();
    EXPECT_EQ(told(), (Lines{3, 1})) << "the second line of the old pass is not told";
}

TEST_F(RuleEnforcerTest, ACancelledRunSkipsTheRulesThatAreLeftButNotTheDefaultAction) {
    enforcer_.addRule(makeRule(u"x"_s));
    source_.setDefaultLineAction(DefaultFilterLineAction::hide);
    EXPECT_EQ(marksBy(*enforcer_.makePass([] { return true; }), 0, u"x"_s), (RuleMarks{.hideLine = true}));

    enforcer_.setCanceled(true);
    EXPECT_FALSE(isHidden(u"x"_s)) << "the next line starts afresh";
    // A cancel in the middle of a line keeps the results of the rules before it.
    const auto hiding = makeRule(u"x"_s);
    hiding->setHide(true);
    enforcer_.addRule(hiding);
    int asked = 0;
    EXPECT_EQ(marksBy(*enforcer_.makePass([&] { return ++asked > 1; }), 0, u"x"_s),
              (RuleMarks{.showOnlyLine = true}));
}

TEST_F(RuleEnforcerTest, SearchAndQuickHighlightPaintTheirMatchesOnly) {
    AttributedString line(u"abab"_s);
    enforcer_.highlightSearchMatches(line, {{1, 1}});
    EXPECT_EQ(line.attributesAt(1)->background, QColor(Qt::yellow));
    EXPECT_EQ(line.attributesAt(1)->foreground, QColor(Qt::red));
    EXPECT_EQ(*line.attributesAt(0), Attributes());
    RuleEnforcer::applyQuickHighlight(line, QuickHighlightFilterRule(u"BA"_s));
    EXPECT_EQ(*line.attributesAt(2), (Attributes{{}, QColor(Qt::black), QColor(181, 214, 255)}));
    EXPECT_EQ(*line.attributesAt(3), Attributes());
    RuleEnforcer::applyQuickHighlight(line, QuickHighlightFilterRule(u"b."_s));
    EXPECT_EQ(*line.attributesAt(3), Attributes()) << "no pattern";
}

TEST_F(RuleEnforcerTest, ManyLoadsAtOnceTellOfEachLineOnceWhileRulesChange) {
    const auto always = notifyingRule(u"error"_s, Frequency::Always);
    const auto once = notifyingRule(u"[0-9]+"_s, Frequency::Once);
    once->searchItem()->setRegex(true);
    enforcer_.setActiveRules({always, once});
    constexpr int lines = 500;
    std::vector<std::thread> loads;
    for (int t = 0; t < 4; ++t)
        loads.emplace_back([this] {
            for (int first = 0; first < lines; first += 50) {
                const auto pass = enforcer_.makePass({});
                for (int line = first; line < first + 50; ++line)
                    marksBy(*pass, line, u"error %1"_s.arg(line));
            }
        });
    for (int edit = 0; edit < 50; ++edit) {
        const auto other = makeRule(QString::number(edit));
        enforcer_.addRule(other);
        other->searchItem()->setSearchStr(u"x"_s);
        other->highlightRule()->setBold(edit % 2 == 0);
        enforcer_.updateRule(other);
        enforcer_.removeRule(other);
        MainThread::shared().runPending();
    }
    for (std::thread& load : loads)
        load.join();
    EXPECT_EQ(told().size(), lines + 1U) << "all of one rule, one of the other";
    const QString key = always->id().toString(QUuid::WithoutBraces);
    EXPECT_EQ(std::ranges::count_if(center_.delivered,
                                    [&](const auto& told) { return told.foldKey.startsWith(key); }),
              lines);
}

} // namespace
} // namespace korvane
