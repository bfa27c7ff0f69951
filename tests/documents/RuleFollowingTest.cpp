#include "core/RuleEnforcerProtocol.h"
#include "documents/DocumentFixture.h"
#include "documents/RowsTest.h"
#include "support/Rules.h"
#include "tail/FollowedDataSource.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::Rules;
using test::waitFor;
using Lines = std::vector<qint64>;

const QString key = QStringLiteral("file:///logs/a%20b.log");

class RuleFollowingTest : public test::RowsTest {
protected:
    ~RuleFollowingTest() override { source_->close(); }

    void open(qint64 lineCount = 12'001) {
        RowsTest::open(lineCount);
        const auto count = [this](auto...) { ++notices_; };
        subscriptions_.push_back(source_->notices().pageLoaded.subscribe(count));
        subscriptions_.push_back(source_->notices().rowsStale.subscribe(count));
    }
    static std::shared_ptr<FilterRule> addRule(const QString& text, QColor color, bool isActive) {
        const auto rule = Rules::add(text, color, Frequency::Once);
        if (isActive)
            Rules::active().addActiveRule(rule->id(), key);
        return rule;
    }
    std::optional<QColor> colorOf(qint64 row) {
        const RowLine line = source_->rowLine(row);
        return line.isLoaded ? line.line.attributesAt(0)->foreground : std::nullopt;
    }
    bool waitForColor(qint64 row, QColor color) {
        return waitFor([&] { return colorOf(row) == color; });
    }
    static QColor plain() { return Preferences::shared().logViewForeground(); }

    Rules rules_;
    int notices_ = 0;
    Subscriptions subscriptions_;
};

TEST_F(RuleFollowingTest, TheFirstPageIsPaintedWithTheStoredRulesInTheirOrder) {
    const auto last = addRule(u"1"_s, Qt::red, false);
    addRule(u"1"_s, Qt::blue, true);
    Rules::active().addActiveRule(QUuid::createUuid(), key); // belongs to a deleted rule
    Rules::active().addActiveRule(last->id(), key);
    addRule(u"2"_s, Qt::green, false);
    open();
    EXPECT_TRUE(waitForColor(0, Qt::red)) << "the rule switched on last paints last";
    EXPECT_EQ(colorOf(1), plain()) << "not switched on";
    EXPECT_EQ(reader_->readStarts().size(), 1U);
    source_->reset();
    EXPECT_TRUE(waitForColor(0, plain())) << "a reset drops the rules";
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

    Rules::active().addActiveRule(rule->id(), u"file:///other"_s);
    EXPECT_EQ(notices_, 0);
    Rules::active().addActiveRule(rule->id(), key);
    EXPECT_EQ(notices_, 1) << "the view must ask again";
    EXPECT_EQ(colorOf(0), plain()) << "the old row stays until the new one is there";
    reader_->readGate.open();
    EXPECT_TRUE(waitForColor(0, Qt::red));
    EXPECT_EQ(reader_->readStarts().size(), 3U) << "only what is looked at is read again";
    EXPECT_EQ(source_->lastSearchResults().size(), 1U);

    Rules::active().removeActiveRule(rule->id(), key);
    EXPECT_TRUE(waitForColor(0, plain()));
    notices_ = 0;
    source_->close();
    Rules::active().addActiveRule(rule->id(), key);
    Rules::all().updateRule(rule, 0);
    EXPECT_EQ(notices_, 0) << "a closed document follows nothing";
}

TEST_F(RuleFollowingTest, AnEditedReplacedOrRemovedRuleIsFollowedAndTheOthersStayQuiet) {
    const auto edited = addRule(u"1"_s, Qt::red, true);
    const auto kept = addRule(u"2"_s, Qt::blue, true);
    open();
    ASSERT_TRUE(waitForColor(0, Qt::red));
    ASSERT_TRUE(waitFor([&] { return rules_.told().size() == 2; }));

    edited->highlightRule()->setForeground(Qt::green);
    Rules::all().updateRule(edited, 0);
    EXPECT_TRUE(waitForColor(0, Qt::green));
    MainThread::shared().runPending();
    EXPECT_EQ(rules_.told().size(), 2U) << "of another colour alone nobody is notified";
    edited->searchItem()->setIgnoreCase(false);
    Rules::all().updateRule(edited, 0);
    ASSERT_TRUE(waitFor([&] { return colorOf(0) && rules_.told().size() == 3; }));
    EXPECT_EQ(rules_.center.delivered.back().title, u"Rule '1' matched"_s);

    MainThread::shared().runPending();
    notices_ = 0;
    addRule(u"3"_s, Qt::cyan, false);
    EXPECT_EQ(notices_, 0) << "a rule that is not switched on concerns no one";
    Rules::all().removeRule(0);
    EXPECT_TRUE(waitForColor(0, plain()));
    EXPECT_EQ(colorOf(1), QColor(Qt::blue));
    Rules::all().removeRule(0);
    EXPECT_TRUE(waitForColor(1, plain()));
    EXPECT_EQ(rules_.told().size(), 3U) << "an untouched rule has told the same again";
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

TEST_F(RuleFollowingTest, LinesReadAgainAreNotToldAgain) {
    const auto rule = addRule(u"00"_s, Qt::red, true);
    rule->notificationRule()->setFrequency(Frequency::Always);
    open(200); // lines 100 and 200 match
    ASSERT_TRUE(waitForColor(99, Qt::red));
    reader_->setLineCount(300);
    source_->linesChanged(199);
    EXPECT_TRUE(waitForColor(299, Qt::red));
    source_->invalidateRows();
    source_->loadPage(1, false);
    MainThread::shared().runPending();
    EXPECT_EQ(rules_.told(), (Lines{100, 200, 300}));
}

/// A rule that reports every "error" of a followed file whose rows are not shown.
class AppendedNotificationsTest : public test::DocumentFixture {
protected:
    void openWithRule(const QByteArray& content) {
        open(content);
        const auto rule = Rules::add(u"error"_s, Qt::red, Frequency::Always);
        Rules::active().addActiveRule(rule->id(), absoluteString(file_->url()));
        document_->startTailingWhenLoaded();
        document_->startLoading();
    }
    /// Waits until these lines have been reported, and expects no others.
    void expectTold(const Lines& lines) {
        ASSERT_TRUE(waitFor([&] { return rules_.told().size() >= lines.size(); }));
        const auto source = std::dynamic_pointer_cast<FollowedDataSource>(document_->dataSource());
        // Tasks posted by the last check of this wait are run after it.
        ASSERT_TRUE(waitFor([&] { return source->letArrivedLinesPass(); }));
        MainThread::shared().runPending();
        ASSERT_EQ(rules_.told(), lines);
    }

    Rules rules_;
};

TEST_F(AppendedNotificationsTest, OnlyLinesThatArriveAreToldOfThoughNoPageOfThemIsRead) {
    // The first page is read when a file is opened, whether or not it is shown.
    openWithRule(QByteArray("quiet\n").repeated(6000) + "error: of old\n");
    ASSERT_TRUE(waitForTailing(true));
    file_->append(QByteArray("quiet\n").repeated(11'000) + "an error\n" + "quiet\n" + "Error");
    expectTold({17'002, 17'004});
    file_->append(" and its end\nerror\n");
    expectTold({17'002, 17'004, 17'005});
}

TEST_F(AppendedNotificationsTest, AReloadDuringTheFirstLoadTellsOfNothingThatWasThere) {
    openWithRule(QByteArray("quiet\n").repeated(2'000'000) + "error: of old\n");
    document_->reload();
    ASSERT_TRUE(waitForTailing(true));
    file_->append("error\n");
    expectTold({2'000'002});
}

TEST_F(AppendedNotificationsTest, TheLastLinesBeforeARotationAndTheFirstOnesAfterItAreToldOf) {
    openWithRule("quiet\n");
    ASSERT_TRUE(waitForTailing(true));
    Lines expected;
    for (int round = 0; round < 30; ++round) {
        const test::TemporaryFile next("error: begins\nquiet\n");
        file_->append("quiet\nerror: " + QByteArray(round % 2 ? "ends" : "ends\n"));
        file_->replace(next);
        expected.insert(expected.end(), {round == 0 ? 3 : 4, 1});
        expectTold(expected);
    }
    // Also lines of a loaded page, and lines written after the file was emptied.
    ASSERT_TRUE(waitFor([&] { return document_->dataSource()->rowLine(1).isLoaded; }));
    file_->truncate(0);
    ASSERT_TRUE(waitFor([&] { return document_->dataSource()->numberOfRows() == 1; }));
    file_->append("error\n");
    expected.push_back(1);
    expectTold(expected);
}

TEST_F(AppendedNotificationsTest, WhatComesWhileNotFollowingIsNotToldOfLater) {
    openWithRule("quiet\n");
    ASSERT_TRUE(waitForTailing(true));
    document_->stopTailing();
    ASSERT_TRUE(waitForTailing(false));
    file_->append("error\n");
    document_->startTailingWhenLoaded();
    ASSERT_TRUE(waitFor([&] { return document_->dataSource()->rowCount() == 3; }));
    document_->stopTailing(); // and the poll that found the line ends
    ASSERT_TRUE(waitForTailing(false));
    expectTold({});
}

} // namespace
} // namespace korvane
