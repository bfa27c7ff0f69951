#include "documents/LogTableDataSource.h"

#include "core/LineMarkLookup.h"
#include "core/RuleEnforcerProtocol.h"
#include "core/reader/LogReader.h"
#include "core/reader/Pages.h"
#include "core/search/SearchItem.h"
#include "documents/RowsTest.h"
#include "support/NumberedLines.h"
#include "support/TemporaryFile.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::waitFor;

/// Hides the lines whose text ends in 3.
class FakeEnforcer : public RuleEnforcerProtocol {
public:
    std::unique_ptr<RulePassProtocol> makePass(std::function<bool()>) override {
        struct Pass : RulePassProtocol {
            void applyRules(qint64 lineNum, AttributedString& line, RuleMarks& marks) override {
                marks.hideLine =
                    line.string().endsWith(u'3') && line.string() == QString::number(lineNum + 1);
            }
        };
        return std::make_unique<Pass>();
    }
    void highlightSearchMatches(AttributedString& line, const std::vector<TextRange>& ranges) override {
        line.add({.background = QColor(Qt::yellow)}, ranges);
    }
    void clearRules() override { isCleared = true; }
    bool isCleared = false;
};

class LogTableDataSourceTest : public test::RowsTest {
protected:
    LogTableDataSourceTest() { open(12'001); }

    void open(qint64 lineCount) {
        RowsTest::open(lineCount);
        subscription_ =
            source_->notices().pageLoaded.subscribe([this](qint64 page) { loaded_.push_back(page); });
    }
    /// Requests the row, and holds its load until the gate is opened.
    void holdLoadOf(qint64 row) {
        reader_->readGate.shut();
        source_->rowLine(row);
        ASSERT_TRUE(waitForHeldReads(1));
    }
    /// The row's text once it is loaded.
    QString textOf(qint64 row) {
        EXPECT_TRUE(waitFor([&] { return source_->rowLine(row).isLoaded; }));
        return source_->rowLine(row).line.string();
    }
    bool waitForText(qint64 row, const QString& text) {
        return waitFor([&] { return source_->rowLine(row).line.string() == text; });
    }
    bool hasBackground(qint64 row, int position) {
        return source_->rowLine(row).line.attributesAt(position)->background.has_value();
    }

    using Starts = std::vector<qint64>;

    /// The pages whose loads were reported.
    std::vector<qint64> loaded_;
    Subscription subscription_;
};

TEST_F(LogTableDataSourceTest, ARowRequestsThePageItsLineLiesOnOnce) {
    const std::pair<qint64, qint64> rowsAndReadStarts[] = {
        {0, 1}, {4999, 1}, {5000, 5001}, {9999, 5001}, {12'000, 10'001}};
    for (const auto& [row, readStart] : rowsAndReadStarts) {
        SCOPED_TRACE(row);
        open(12'001);
        holdLoadOf(row);
        const RowLine before = source_->rowLine(row);
        reader_->readGate.open();
        EXPECT_FALSE(before.isLoaded);
        EXPECT_EQ(before.rowNum, row + 1);
        EXPECT_EQ(textOf(row), QString::number(row + 1));
        ASSERT_TRUE(test::settle());
        EXPECT_EQ(reader_->readStarts(), Starts{readStart});
    }
}

// For a line beyond the end, a reader returns its last line.
TEST_F(LogTableDataSourceTest, APageOutsideTheFileStaysEmpty) {
    source_->loadPage(4, false);
    EXPECT_FALSE(source_->rowLine(15'000).isLoaded);
    EXPECT_FALSE(source_->cachedRowLine(15'000));
    EXPECT_EQ(reader_->readStarts(), Starts{});
}

TEST_F(LogTableDataSourceTest, ALoadedPageIsReportedUnlessItIsThereAtOnce) {
    source_->loadPage(1, false);
    EXPECT_EQ(source_->cachedRowLine(10)->line.string(), u"11"_s);
    MainThread::shared().runPending();
    EXPECT_EQ(loaded_, Starts{});
    source_->loadPage(2, true);
    EXPECT_TRUE(waitFor([&] { return loaded_ == Starts{2}; }));
    EXPECT_TRUE(source_->cachedRowLine(pages::size));
}

TEST_F(LogTableDataSourceTest, LinesCarryFontColourAndWhatWasCutOffThem) {
    textOf(0);
    const RowLine row = source_->rowLine(6);
    EXPECT_EQ(row.cutBytes, 99U);
    EXPECT_EQ(row.line.attributesAt(0)->font, Preferences::shared().logViewFont());
    EXPECT_EQ(row.line.attributesAt(0)->foreground, Preferences::shared().logViewForeground());
    EXPECT_EQ(source_->rowLine(5).cutBytes, 0U);
    EXPECT_EQ(source_->rowLine(5).line.attributesAt(0), row.line.attributesAt(0)) << "not shared";
}

TEST_F(LogTableDataSourceTest, AnInvalidatedRowShowsItsOldTextUntilTheNewOneIsThere) {
    textOf(0);
    reader_->readGate.shut();
    reader_->setPrefix(u"new "_s);
    source_->invalidateRows();
    for (int i = 0; i < 3; ++i) {
        const RowLine row = source_->rowLine(0);
        EXPECT_TRUE(row.isLoaded);
        EXPECT_EQ(row.line.string(), u"1"_s);
    }
    reader_->readGate.open();
    EXPECT_TRUE(waitForText(0, u"new 1"_s));
    EXPECT_EQ(reader_->readStarts(), (Starts{1, 1}));
}

TEST_F(LogTableDataSourceTest, AClearedCacheShowsNothingOldAndDropsLoadsUnderWay) {
    for (const bool isCleared : {true, false}) {
        SCOPED_TRACE(isCleared);
        open(100);
        holdLoadOf(0);
        reader_->setPrefix(u"new "_s);
        isCleared ? source_->clearCache() : source_->invalidateRows();
        EXPECT_FALSE(source_->rowLine(0).isLoaded);
        ASSERT_TRUE(waitForHeldReads(2));
        reader_->readGate.open();
        EXPECT_EQ(textOf(0), u"new 1"_s) << "the load from before was stored";
        textOf(99);
        EXPECT_EQ(reader_->readStarts(), (Starts{1, 1}));
    }
}

TEST_F(LogTableDataSourceTest, AShortPageIsRequestedAgainWhenMoreIsKnown) {
    open(3);
    EXPECT_EQ(textOf(2), u"3"_s);
    reader_->setLineCount(8);
    EXPECT_FALSE(source_->rowLine(7).isLoaded);
    source_->linesChanged(2);
    EXPECT_EQ(source_->cachedRowLine(2)->line.string(), u"3"_s) << "flickers";
    EXPECT_EQ(textOf(7), u"8"_s);
}

TEST_F(LogTableDataSourceTest, ChangedLinesReopenOnlyThePagesFromThereOn) {
    for (const qint64 row : {0, 5000, 10'000})
        textOf(row);
    reader_->setPrefix(u"new "_s);
    source_->linesChanged(5000);
    EXPECT_TRUE(waitForText(5000, u"new 5001"_s));
    EXPECT_TRUE(waitForText(10'000, u"new 10001"_s));
    EXPECT_EQ(source_->rowLine(4999).line.string(), u"5000"_s);
}

TEST_F(LogTableDataSourceTest, GrowthThatNeverStopsDoesNotStarveTheScreen) {
    holdLoadOf(0);
    source_->linesChanged(0);
    reader_->readGate.open();
    ASSERT_TRUE(waitFor([&] { return source_->cachedRowLine(0).has_value(); }))
        << "the load under way was thrown away";
    reader_->setPrefix(u"new "_s);
    EXPECT_TRUE(waitForText(0, u"new 1"_s)) << "not requested again";
}

TEST_F(LogTableDataSourceTest, AnEmptyAnswerReplacesNoRowsAndInvalidLinesAreKnown) {
    reader_->isInvalid = true;
    EXPECT_EQ(textOf(0), u"1"_s);
    EXPECT_TRUE(source_->hasInvalidLines());
    reader_->isUnreadable = true;
    source_->linesChanged(0);
    source_->rowLine(0);
    ASSERT_TRUE(waitFor([&] { return reader_->readStarts().size() == 2; }));
    ASSERT_TRUE(test::settle());
    EXPECT_EQ(textOf(0), u"1"_s);
    EXPECT_EQ(textOf(5000), QString());
    reader_->isInvalid = reader_->isUnreadable = false;
    source_->invalidateRows();
    EXPECT_FALSE(source_->hasInvalidLines()) << "known until the lines are read again";
    textOf(0);
    EXPECT_FALSE(source_->hasInvalidLines());
}

TEST_F(LogTableDataSourceTest, ClearingTheViewLeavesTheLastLineAndWhatFollows) {
    open(100);
    textOf(0);
    source_->clearView();
    EXPECT_EQ(source_->numberOfRows(), 1);
    EXPECT_EQ(textOf(0), u"100"_s);
    EXPECT_EQ(source_->rowLine(0).rowNum, 100);

    reader_->setLineCount(102);
    source_->linesChanged(99);
    EXPECT_EQ(source_->numberOfRows(), 3);
    EXPECT_TRUE(waitForText(2, u"102"_s));

    reader_->setLineCount(10); // truncated
    EXPECT_EQ(source_->numberOfRows(), 0);
    source_->clearCache();
    EXPECT_EQ(source_->numberOfRows(), 10);

    reader_->setLineCount(0);
    source_->clearView();
    EXPECT_EQ(source_->rowStart(), 0);
}

TEST_F(LogTableDataSourceTest, ResetForgetsRulesAndLetsPagesBeRequestedAgain) {
    const auto enforcer = std::make_shared<FakeEnforcer>();
    source_->setRuleEnforcer(enforcer);
    holdLoadOf(12'000);
    source_->reset();
    EXPECT_TRUE(enforcer->isCleared);
    reader_->readGate.open();
    EXPECT_EQ(textOf(0), u"12001"_s);
    EXPECT_EQ(reader_->readStarts(), (Starts{10'001, 10'001}));
}

TEST_F(LogTableDataSourceTest, AJumpRunsThePagesInSightBeforeThoseScrolledPast) {
    open(1'000'000);
    reader_->readGate.shut();
    for (qint64 page = 0; page < 100; ++page)
        source_->rowLine(page * pages::size);
    ASSERT_TRUE(waitFor([&] { return reader_->readGate.waiting() > 0; }));
    const std::size_t underWay = reader_->readStarts().size();
    source_->dropRequestsOutside(90 * pages::size + 4999, 91 * pages::size);
    reader_->readGate.open();
    const auto isCached = [&](qint64 page) { return source_->cachedRowLine(page * pages::size).has_value(); };
    ASSERT_TRUE(waitFor([&] { return isCached(90) && isCached(91); }));
    EXPECT_FALSE(isCached(89) || isCached(92));
    EXPECT_LE(reader_->readStarts().size(), underWay + 2 + 4) << "pages out of sight were read first";
    EXPECT_LE(loaded_.size(), 6U) << "dropped pages were reported";
    EXPECT_EQ(textOf(99 * pages::size), QString::number(99 * pages::size + 1))
        << "a dropped page cannot come back";
}

TEST_F(LogTableDataSourceTest, SlowLoadsOfAGrowingPageDoNotPileUp) {
    reader_->readGate.shut();
    for (int i = 0; i < 100; ++i) {
        source_->linesChanged(0);
        source_->rowLine(0);
    }
    reader_->readGate.open();
    textOf(0);
    ASSERT_TRUE(test::settle());
    EXPECT_LE(reader_->readStarts().size(), 6U);
}

TEST_F(LogTableDataSourceTest, QuickHighlightStartsAsThePreferenceSaysAndGoesWithoutATrace) {
    for (const bool isOn : {false, true}) {
        Preferences::shared().setQuickHighlightSelection(isOn);
        open(12'001);
        EXPECT_EQ(source_->quickHighlightEnabled(), isOn);
    }
    textOf(0);
    EXPECT_FALSE(hasBackground(1233, 0));
    source_->setQuickHighlightSelectionString(u"23"_s);
    EXPECT_FALSE(hasBackground(1233, 0));
    EXPECT_TRUE(hasBackground(1233, 1));
    EXPECT_TRUE(source_->cachedRowLine(1233)->line.attributesAt(2)->background);
    source_->setQuickHighlightEnabled(false);
    EXPECT_FALSE(hasBackground(1233, 1));
    source_->setQuickHighlightEnabled(true);
    source_->setQuickHighlightSelectionString({});
    EXPECT_FALSE(hasBackground(1233, 1));
}

TEST_F(LogTableDataSourceTest, LinesPassTheRulesAndSearchMatchesArePaintedWhereTheyStillLieInTheText) {
    source_->setRuleEnforcer(std::make_shared<FakeEnforcer>());
    textOf(5002);
    EXPECT_TRUE(source_->rowLine(5002).marks.hideLine) << "the rules know another number";
    EXPECT_FALSE(source_->rowLine(5003).marks.hideLine);
    EXPECT_EQ(textOf(99), u"100"_s);
    source_->setLastSearchResults({{99, {99, {{1, 1}, {2, 500}, {600, 3}}}}});
    EXPECT_FALSE(hasBackground(99, 0));
    EXPECT_TRUE(hasBackground(99, 1));
    EXPECT_TRUE(hasBackground(99, 2));
    EXPECT_FALSE(hasBackground(98, 0));
    source_->invalidateRows();
    EXPECT_EQ(source_->lastSearchResults().size(), 1U);
    source_->clearCache();
    EXPECT_TRUE(source_->lastSearchResults().empty());
}

TEST_F(LogTableDataSourceTest, LineMarksAreLookedUpByAddressAndLineIndex) {
    struct Marks : LineMarkLookup {
        bool hasLineMark(const QString& urlString, qint64 lineNum) const override {
            return urlString == u"file:///logs/a%20b.log"_s && lineNum == 12'000;
        }
    };
    EXPECT_FALSE(source_->hasLineMark(12'000));
    source_->setLineMarkLookup(std::make_shared<Marks>());
    EXPECT_TRUE(source_->hasLineMark(12'000));
    EXPECT_FALSE(source_->hasLineMark(0));
    source_->clearView();
    EXPECT_TRUE(source_->hasLineMark(0));
}

TEST_F(LogTableDataSourceTest, ALoadThatOutlivesItsDataSourcePostsNothing) {
    for (const bool isDestroyed : {true, false}) {
        open(100);
        holdLoadOf(0);
        isDestroyed ? source_.reset() : source_->close();
        reader_->readGate.open();
        ASSERT_TRUE(test::settle());
    }
    open(100);
    source_->rowLine(0);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
    source_->close();
    MainThread::shared().runPending();
    EXPECT_EQ(loaded_, Starts{});
}

TEST_F(LogTableDataSourceTest, ASearchReadsLinesThatNoPageHasLoadedAndLoadsNone) {
    const test::TemporaryFile file(test::numberedLines(1, 12'000));
    const auto reader = LogReader::create(file.url());
    reader->refresh();
    openRows(reader);
    const SearchItem item(u"LINE 1100"_s);

    EXPECT_FALSE(source_->searchRow(1098, item));
    const auto match = source_->searchRow(11'005, item);
    ASSERT_TRUE(match);
    EXPECT_EQ(match->row, 11'005);
    EXPECT_EQ(match->results, (std::vector<TextRange>{{0, 9}}));
    const auto never = [] { return false; };
    EXPECT_EQ(source_->findNextMatch(1100, 12'000, item, never)->row, 10'999);
    EXPECT_EQ(source_->findNextMatch(12'000, 0, item, never)->row, 11'008);
    EXPECT_FALSE(source_->findNextMatch(-1, -1, SearchItem(u"line 1"_s), never));
    EXPECT_FALSE(source_->cachedRowLine(11'005));

    // Rows of a cleared view are not searched.
    source_->clearView();
    file.append("quiet\nline 1");
    reader->refresh();
    const SearchItem one(u"line 1"_s);
    EXPECT_EQ(source_->findNextMatch(0, 1, one, never)->row, 12'001);
    EXPECT_FALSE(source_->searchRow(0, one));
    EXPECT_EQ(source_->searchRow(1, one)->row, 12'001);
    EXPECT_FALSE(source_->searchRow(-1, one));
}

} // namespace
} // namespace korvane
