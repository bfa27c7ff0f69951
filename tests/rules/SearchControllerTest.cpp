#include "rules/SearchController.h"

#include "core/search/SearchItem.h"
#include "rules/FakeTailDataSource.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::waitFor;
using Rows = std::vector<qint64>;

/// Rows with texts, searched one by one; a search can be held up until it is cancelled or let go.
class SearchedRows : public test::FakeTailDataSource {
public:
    SearchedRows() : FakeTailDataSource(fileUrlFromPath("/logs/a.log")) {}

    QStringList rows;
    qint64 start = 0;
    std::atomic<bool> holdsSearches{false};
    std::map<qint64, SearchMatch> results;

    /// The rows looked at since the last call.
    Rows takeSearched() {
        const std::lock_guard guard(mutex_);
        return std::exchange(searched_, {});
    }

    qint64 rowStart() const override { return start; }
    qint64 numberOfRows() const override { return rows.size(); }
    const std::map<qint64, SearchMatch>& lastSearchResults() const override { return results; }
    void setLastSearchResults(std::map<qint64, SearchMatch> found) override { results = std::move(found); }
    void addSearchResult(const SearchMatch& found) override { results.insert_or_assign(found.row, found); }
    std::optional<SearchMatch> searchRow(qint64 row, const SearchItem& item) override {
        {
            const std::lock_guard guard(mutex_);
            searched_.push_back(row);
        }
        if (row < 0 || row >= rows.size())
            return std::nullopt;
        auto ranges = item.matchRanges(rows.at(row));
        return ranges.empty() ? std::nullopt : std::optional(SearchMatch{start + row, std::move(ranges)});
    }
    SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override {
        const bool held = holdsSearches;
        while (holdsSearches && !isCancelled())
            std::this_thread::yield();
        // One that was held up found something before it saw the cancel.
        return TailDataSourceProtocol::findNextMatch(firstRow, lastRow, item,
                                                     held ? [] { return false; } : isCancelled);
    }

private:
    std::mutex mutex_;
    Rows searched_;
};

class SearchControllerTest : public ::testing::Test, protected SearchTable, protected SearchProgressItem {
protected:
    SearchControllerTest() {
        source_->rows = {u"alpha"_s, u"Beta error"_s, u"ERROR error"_s, u"gamma"_s, u"a.c error"_s, u"abc"_s};
        controller_ = SearchController::create({*this, *this, directionToggled_}, source_);
        controller_->setNoFurtherMatch([this] { ++noFurtherMatches_; });
    }
    ~SearchControllerTest() override {
        source_->holdsSearches = false;
        controller_.reset();
        EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
        MainThread::shared().runPending();
    }

    void reload() override { ++reloads_; }
    void selectRow(qint64 row) override { selected_.push_back(row); }
    void scrollRowToVisible(qint64 row) override { scrolledTo_ = row; }
    void show() override { ++shownProgress_; }
    void hide() override { --shownProgress_; }

    void search(const QString& text) {
        controller_->performSearch(text);
        ASSERT_TRUE(waitFor([this] { return !controller_->searchInProgress(); }));
        ASSERT_EQ(shownProgress_, 0);
    }
    void setForward(bool forward) { directionToggled_.post(forward); }
    Rows takeSelected() { return std::exchange(selected_, {}); }

    Notice<bool> directionToggled_{"SearchDirectionToggledNotification"};
    std::shared_ptr<SearchedRows> source_ = std::make_shared<SearchedRows>();
    std::shared_ptr<SearchController> controller_;
    int reloads_ = 0;
    int shownProgress_ = 0;
    int noFurtherMatches_ = 0;
    qint64 scrolledTo_ = -1;
    Rows selected_;
};

TEST_F(SearchControllerTest, TheSameTextWalksFromMatchToMatchAndDoesNotWrap) {
    for (const QString& text : {u"error"_s, u"ERROR"_s.toLower(), u" error\t"_s, u"error"_s})
        search(text);
    EXPECT_EQ(takeSelected(), (Rows{1, 2, 4}));
    EXPECT_EQ(scrolledTo_, 4);
    EXPECT_EQ(noFurtherMatches_, 1);
    EXPECT_EQ(controller_->currentSearchRow(), 4);
    EXPECT_EQ(source_->results.size(), 3U);
    EXPECT_EQ(source_->results.at(2).results.size(), 2U);
    EXPECT_EQ(reloads_, 3);
}

TEST_F(SearchControllerTest, BackwardsStartsAtTheLastRow) {
    setForward(false);
    for (int i = 0; i < 4; ++i)
        search(u"error"_s);
    EXPECT_EQ(takeSelected(), (Rows{4, 2, 1}));
    EXPECT_EQ(source_->takeSearched(), (Rows{5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(noFurtherMatches_, 1);
}

TEST_F(SearchControllerTest, TheRowsSearchedDependOnTheLastMatch) {
    const struct {
        bool forward;
        qsizetype rows;
        const char16_t* text;
        Rows first;
        Rows second;
    } cases[] = {
        {true, 6, u"gamma", {0, 1, 2, 3}, {4, 5}},
        {true, 6, u"abc", {0, 1, 2, 3, 4, 5}, {5}},
        {false, 6, u"gamma", {5, 4, 3}, {2, 1, 0}},
        {false, 6, u"alpha", {5, 4, 3, 2, 1, 0}, {0}},
        {true, 1, u"none", {0}, {0}},
        {true, 0, u"none", {-1}, {-1}},
        {false, 0, u"none", {0}, {0}},
    };
    const QStringList all = source_->rows;
    for (const auto& test : cases) {
        SCOPED_TRACE(QString::fromUtf16(test.text).toStdString());
        source_->rows = all.first(test.rows);
        setForward(test.forward);
        search(QString());
        search(QString::fromUtf16(test.text));
        EXPECT_EQ(source_->takeSearched(), test.first);
        search(QString::fromUtf16(test.text));
        EXPECT_EQ(source_->takeSearched(), test.second);
    }
}

TEST_F(SearchControllerTest, AStepTheOtherWayLeavesTheDirection) {
    using Way = SearchController::Way;
    const auto step = [this](Way way) {
        controller_->performSearch(u"error"_s, way);
        ASSERT_TRUE(waitFor([this] { return !controller_->searchInProgress(); }));
    };
    step(Way::Opposite); // with a new text: from the end where a search this way begins
    step(Way::Opposite);
    step(Way::Current);
    step(Way::Current);
    EXPECT_EQ(takeSelected(), (Rows{4, 2, 4}));
    EXPECT_EQ(noFurtherMatches_, 1);
    EXPECT_TRUE(controller_->searchingForward());
}

TEST_F(SearchControllerTest, AMatchInTheEndRowIsFoundAgainAndSaidToBeTheLast) {
    search(u"abc"_s);
    EXPECT_EQ(noFurtherMatches_, 0);
    search(u"abc"_s);
    EXPECT_EQ(takeSelected(), (Rows{5, 5}));
    EXPECT_EQ(noFurtherMatches_, 1);
}

TEST_F(SearchControllerTest, AStoppedSearchKeepsItsPlaceAndMatches) {
    search(u"error"_s);
    source_->holdsSearches = true;
    controller_->performSearch(u"error"_s);
    controller_->stopSearch();
    source_->holdsSearches = false;
    EXPECT_FALSE(controller_->searchInProgress());
    EXPECT_EQ(shownProgress_, 0);
    EXPECT_EQ(source_->results.size(), 1U);
    search(u"error"_s);
    EXPECT_EQ(takeSelected(), (Rows{1, 2}));
}

TEST_F(SearchControllerTest, AnotherTextStartsAnew) {
    search(u"error"_s);
    search(u"error"_s);
    search(u"a"_s);
    EXPECT_EQ(takeSelected(), (Rows{1, 2, 0}));
    EXPECT_EQ(source_->results.size(), 1U);
}

TEST_F(SearchControllerTest, TheTextIsLiteralAndItsCaseDoesNotCount) {
    search(u"A.C"_s);
    search(u"ALPHA"_s);
    EXPECT_EQ(takeSelected(), (Rows{4, 0}));
}

TEST_F(SearchControllerTest, SpacesAloneMatchNothing) {
    search(u"error"_s);
    search(u" \t "_s);
    EXPECT_EQ(takeSelected(), Rows{1});
    EXPECT_EQ(controller_->currentSearchItem(), QString());
    EXPECT_EQ(noFurtherMatches_, 1);
}

TEST_F(SearchControllerTest, AnEmptyTextClearsItemPositionAndResults) {
    search(u"error"_s);
    search(QString());
    EXPECT_EQ(controller_->currentSearchItem(), QString());
    EXPECT_EQ(controller_->currentSearchRow(), -1);
    EXPECT_TRUE(source_->results.empty());
    EXPECT_EQ(reloads_, 2);
    EXPECT_EQ(noFurtherMatches_, 0);
}

TEST_F(SearchControllerTest, AnotherDirectionForgetsTheMatches) {
    search(u"error"_s);
    setForward(false);
    EXPECT_FALSE(controller_->searchingForward());
    EXPECT_EQ(controller_->currentSearchRow(), 6);
    EXPECT_TRUE(source_->results.empty());
}

TEST_F(SearchControllerTest, TheSameTextIsIgnoredWhileItIsSearched) {
    source_->holdsSearches = true;
    controller_->performSearch(u"error"_s);
    controller_->performSearch(u"error "_s);
    EXPECT_EQ(shownProgress_, 1);
    source_->holdsSearches = false;
    ASSERT_TRUE(waitFor([this] { return !controller_->searchInProgress(); }));
    EXPECT_EQ(takeSelected(), Rows{1});
}

TEST_F(SearchControllerTest, TheEndOfACancelledSearchChangesNothing) {
    const struct {
        const char* name;
        std::function<void()> cancel;
        Rows selected;
    } cases[] = {
        {"another text", [this] { controller_->performSearch(u"gamma"_s); }, {3}},
        {"an empty text", [this] { controller_->performSearch(QString()); }, {}},
        {"the other direction", [this] { setForward(true); }, {}},
    };
    for (const auto& [name, cancel, selected] : cases) {
        SCOPED_TRACE(name);
        search(QString());
        source_->holdsSearches = true;
        controller_->performSearch(u"error"_s);
        cancel();
        source_->holdsSearches = false;
        ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
        MainThread::shared().runPending();
        EXPECT_FALSE(controller_->searchInProgress());
        EXPECT_EQ(takeSelected(), selected);
        EXPECT_EQ(source_->results.size(), selected.size());
        EXPECT_EQ(shownProgress_, 0);
        EXPECT_EQ(noFurtherMatches_, 0);
    }
}

TEST_F(SearchControllerTest, ASearchThatOutlivesItsWindowReportsNothing) {
    source_->holdsSearches = true;
    controller_->performSearch(u"error"_s);
    controller_.reset();
    source_->holdsSearches = false;
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
    MainThread::shared().runPending();
    EXPECT_EQ(takeSelected(), Rows());
}

TEST_F(SearchControllerTest, MatchesAreKeptByLineAndShownByRow) {
    source_->start = 100;
    search(u"error"_s);
    search(u"error"_s);
    EXPECT_EQ(takeSelected(), (Rows{1, 2}));
    EXPECT_TRUE(source_->results.contains(101) && source_->results.contains(102));
}

TEST_F(SearchControllerTest, AMatchThatHasLeftTheTableIsNotShown) {
    source_->holdsSearches = true;
    controller_->performSearch(u"alpha"_s);
    ASSERT_TRUE(waitFor([this] { return shownProgress_ == 1; }));
    source_->holdsSearches = false;
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
    source_->start = 5;
    MainThread::shared().runPending();
    EXPECT_EQ(takeSelected(), Rows());
    EXPECT_TRUE(source_->results.empty());
    EXPECT_EQ(shownProgress_, 0);
}

TEST(SearchOperation, WithoutADataSourceThereIsNoMatch) {
    SearchController::SearchOperation operation(nullptr, u"a"_s, 0, 5);
    operation.runBody();
    EXPECT_FALSE(operation.outcome().match);
}

} // namespace
} // namespace korvane
