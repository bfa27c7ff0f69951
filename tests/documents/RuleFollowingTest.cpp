#include "core/RuleEnforcerProtocol.h"
#include "core/search/SearchItem.h"
#include "documents/FakeDocument.h"
#include "documents/FakeReader.h"
#include "documents/LogTableDataSource.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "support/PreferencesTest.h"
#include "support/RecordingNotificationCenter.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::waitFor;

const QString key = QStringLiteral("file:///logs/a%20b.log");

class RuleFollowingTest : public test::PreferencesTest {
protected:
    RuleFollowingTest() {
        FiltersManager::setShared(std::move(FiltersManager::load(stores_.path()).value()));
        FilterRulesMemento::setShared(std::move(FilterRulesMemento::load(stores_.path()).value()));
        while (!rules().rules().empty())
            rules().removeRule(0);
    }
    ~RuleFollowingTest() override {
        reader_->readGate.open();
        source_->close();
        FiltersManager::setShared(nullptr);
        FilterRulesMemento::setShared(nullptr);
    }

    static FiltersManager& rules() { return FiltersManager::shared(); }
    static FilterRulesMemento& memento() { return FilterRulesMemento::shared(); }

    void open(qint64 lineCount = 12'001) {
        reader_ = std::make_shared<test::FakeReader>(lineCount);
        document_ = std::make_shared<test::FakeDocument>(reader_);
        source_ = std::make_shared<LogTableDataSource>(document_);
        const auto count = [this](auto...) { ++notices_; };
        subscriptions_.push_back(source_->notices().pageLoaded.subscribe(count));
        subscriptions_.push_back(source_->notices().rowsStale.subscribe(count));
    }
    static std::shared_ptr<FilterRule> addRule(const QString& text, QColor color, bool isActive) {
        const auto rule = makeRule(text, color);
        rules().addRule(rule);
        if (isActive)
            memento().addActiveRule(rule->id(), key);
        return rule;
    }
    static std::shared_ptr<FilterRule> makeRule(const QString& text, QColor color) {
        return std::make_shared<FilterRule>(
            false, std::make_shared<SearchItem>(text),
            std::make_shared<HighlightRule>(false, false, false, color, Qt::white),
            std::make_shared<NotificationRule>(true, false, Frequency::Once));
    }
    std::optional<QColor> colorOf(qint64 row) {
        const RowLine line = source_->rowLine(row);
        return line.isLoaded ? line.line.attributesAt(0)->foreground : std::nullopt;
    }
    bool waitForColor(qint64 row, QColor color) {
        return waitFor([&] { return colorOf(row) == color; });
    }
    static QColor plain() { return Preferences::shared().logViewForeground(); }

    QTemporaryDir stores_;
    test::RecordingNotificationCenter center_;
    std::shared_ptr<test::FakeReader> reader_;
    std::shared_ptr<test::FakeDocument> document_;
    std::shared_ptr<LogTableDataSource> source_;
    int notices_ = 0;
    Subscriptions subscriptions_;
};

TEST_F(RuleFollowingTest, TheFirstPageIsPaintedWithTheStoredRulesInTheirOrder) {
    const auto last = addRule(u"1"_s, Qt::red, false);
    addRule(u"1"_s, Qt::blue, true);
    memento().addActiveRule(QUuid::createUuid(), key); // of a rule long gone
    memento().addActiveRule(last->id(), key);
    addRule(u"2"_s, Qt::green, false);
    open();
    EXPECT_TRUE(waitForColor(0, Qt::red)) << "the rule switched on last paints last";
    EXPECT_EQ(colorOf(1), plain()) << "not switched on";
    EXPECT_EQ(reader_->readStarts().size(), 1U);
}

TEST_F(RuleFollowingTest, SwitchingARuleRepaintsTheRowsInSightWithoutFlicker) {
    const auto rule = addRule(u"1"_s, Qt::red, false);
    open();
    ASSERT_TRUE(waitForColor(0, plain()));
    ASSERT_TRUE(waitForColor(5000, plain()));
    MainThread::shared().runPending();
    source_->setLastSearchResults({{5001, {5001, {{0, 1}}}}});
    reader_->readGate.shut();
    notices_ = 0;

    memento().addActiveRule(rule->id(), u"file:///other"_s);
    EXPECT_EQ(notices_, 0);
    memento().addActiveRule(rule->id(), key);
    EXPECT_EQ(notices_, 1) << "the view must ask again";
    EXPECT_EQ(colorOf(0), plain()) << "the old row stays until the new one is there";
    reader_->readGate.open();
    EXPECT_TRUE(waitForColor(0, Qt::red));
    EXPECT_EQ(reader_->readStarts().size(), 3U) << "only what is looked at is read again";
    EXPECT_EQ(source_->lastSearchResults().size(), 1U);

    memento().removeActiveRule(rule->id(), key);
    EXPECT_TRUE(waitForColor(0, plain()));
}

TEST_F(RuleFollowingTest, AnEditedReplacedOrRemovedRuleIsFollowedAndTheOthersStayQuiet) {
    const auto edited = addRule(u"1"_s, Qt::red, true);
    const auto kept = addRule(u"2"_s, Qt::blue, true);
    open();
    ASSERT_TRUE(waitForColor(0, Qt::red));
    ASSERT_TRUE(waitFor([&] { return center_.delivered.size() == 2; }));

    edited->highlightRule()->setForeground(Qt::green);
    rules().updateRule(edited, 0);
    EXPECT_TRUE(waitForColor(0, Qt::green));
    MainThread::shared().runPending();
    EXPECT_EQ(center_.delivered.size(), 2U) << "of another colour alone nobody is notified";
    edited->searchItem()->setIgnoreCase(false);
    rules().updateRule(edited, 0);
    ASSERT_TRUE(waitFor([&] {
        colorOf(0);
        return center_.delivered.size() == 3;
    }));
    EXPECT_EQ(center_.delivered.back().title, u"Rule '1' matched"_s);

    MainThread::shared().runPending();
    notices_ = 0;
    addRule(u"3"_s, Qt::cyan, false);
    EXPECT_EQ(notices_, 0) << "a rule that is not switched on concerns no one";
    rules().removeRule(0);
    EXPECT_TRUE(waitForColor(0, plain()));
    EXPECT_EQ(colorOf(1), QColor(Qt::blue));
    rules().removeRule(0);
    EXPECT_TRUE(waitForColor(1, plain()));
    EXPECT_EQ(center_.delivered.size(), 3U) << "an untouched rule has told the same again";
}

TEST_F(RuleFollowingTest, TheDefaultActionHidesAndShowsAtOnce) {
    addRule(u"1"_s, Qt::red, true);
    open();
    ASSERT_TRUE(waitForColor(0, Qt::red));
    const auto isHidden = [&](qint64 row) { return source_->rowLine(row).marks.hideLine; };
    EXPECT_FALSE(isHidden(1));
    notices_ = 0;
    source_->setDefaultLineAction(DefaultFilterLineAction::hide);
    EXPECT_EQ(notices_, 1);
    EXPECT_TRUE(waitFor([&] { return isHidden(1); }));
    EXPECT_FALSE(isHidden(0));
    source_->setDefaultLineAction(DefaultFilterLineAction::show);
    EXPECT_TRUE(waitFor([&] { return !isHidden(1); }));
}

TEST_F(RuleFollowingTest, AResetDropsTheRules) {
    addRule(u"1"_s, Qt::red, true);
    open(1);
    ASSERT_TRUE(waitForColor(0, Qt::red));
    source_->reset();
    EXPECT_TRUE(waitForColor(0, plain()));
}

TEST_F(RuleFollowingTest, AClosedDocumentFollowsNothing) {
    const auto rule = addRule(u"1"_s, Qt::red, false);
    open();
    source_->close();
    memento().addActiveRule(rule->id(), key);
    rules().updateRule(rule, 0);
    EXPECT_EQ(notices_, 0);
}

TEST_F(RuleFollowingTest, LinesReadAgainAreNotToldAgain) {
    const auto rule = addRule(u"00"_s, Qt::red, true);
    rule->notificationRule()->setFrequency(Frequency::Always);
    open(200); // 100 and 200
    ASSERT_TRUE(waitForColor(99, Qt::red));
    reader_->setLineCount(300);
    source_->linesChanged(199);
    EXPECT_TRUE(waitForColor(299, Qt::red));
    source_->invalidateRows();
    source_->loadPage(1, false);
    MainThread::shared().runPending();
    std::vector<qint64> told;
    for (const UserNotification& notification : center_.delivered)
        told.push_back(notification.userInfo->lineNum);
    EXPECT_EQ(told, (std::vector<qint64>{100, 200, 300}));
}

} // namespace
} // namespace korvane
