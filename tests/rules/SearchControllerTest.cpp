#include "rules/SearchController.h"

#include "core/DataSourceRoles.h"
#include "core/search/SearchItem.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>

#include <thread>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::waitFor;
using Rows = std::vector<qint64>;

/// Rows with texts, searched one by one; a search can be held until it is cancelled or released.
class FakeSearchedRows : public SearchedRows {
public:
    QStringList rows{u"alpha"_s, u"Beta error"_s, u"ERROR error"_s, u"gamma"_s, u"a.c error"_s, u"abc"_s};
    qint64 start = 0;
    std::atomic<bool> holdsSearches{false};
    std::map<qint64, SearchMatch> results;

    qint64 rowStart() const override { return start; }
    qint64 rowCount() const override { return rows.size(); }
    qint64 numberOfRows() const override { return rows.size(); }
    const std::map<qint64, SearchMatch>& lastSearchResults() const override { return results; }
    void setLastSearchResults(std::map<qint64, SearchMatch> found) override { results = std::move(found); }
    void setShownSearch(const std::optional<SearchItem>&) override {}
    void addSearchResult(const SearchMatch& found) override { results.insert_or_assign(found.row, found); }
    std::optional<SearchMatch> searchRow(qint64 row, const SearchItem& item) override {
        auto ranges = item.matchRanges(rows.value(row));
        return ranges.empty() ? std::nullopt : std::optional(SearchMatch{start + row, std::move(ranges)});
    }
    SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override {
        const bool held = holdsSearches;
        while (holdsSearches && !isCancelled())
            std::this_thread::yield();
        const qint64 step = firstRow <= lastRow ? 1 : -1;
        // A held search finds its match before it notices the cancel.
        for (qint64 row = firstRow; row != lastRow + step && (held || !isCancelled()); row += step) {
            if (auto match = searchRow(row, item))
                return {std::move(match)};
        }
        return {};
    }
};

class SearchControllerTest : public ::testing::Test, protected SearchTable, protected SearchProgressItem {
protected:
    SearchControllerTest() { makeController(); }
    ~SearchControllerTest() override {
        source_->holdsSearches = false;
        controller_.reset();
        EXPECT_TRUE(test::settle());
    }

    void makeController() {
        source_ = std::make_shared<FakeSearchedRows>();
        controller_ = SearchController::create({*this, *this, directionToggled_}, source_);
        controller_->setNoFurtherMatch([this] { ++noFurtherMatches_; });
        selected_.clear();
        reloads_ = noFurtherMatches_ = 0;
    }
    void reload() override { ++reloads_; }
    void selectRow(qint64 row) override { selected_.push_back(row); }
    void scrollRowToVisible(qint64 row) override { scrolledTo_ = row; }
    void show() override { ++shownProgress_; }
    void hide() override { --shownProgress_; }

    using Way = SearchController::Way;
    void search(const QString& text, Way way = Way::Current) {
        controller_->performSearch(text, way);
        ASSERT_TRUE(waitFor([this] { return !controller_->searchInProgress(); }));
        ASSERT_EQ(shownProgress_, 0);
    }
    /// Starts a search that is held until `endHeld`.
    void startHeld(const QString& text) {
        source_->holdsSearches = true;
        controller_->performSearch(text);
    }
    void endHeld() {
        source_->holdsSearches = false;
        ASSERT_TRUE(test::settle());
    }
    void setForward(bool forward) { directionToggled_.post(forward); }
    Rows takeSelected() { return std::exchange(selected_, {}); }

    Notice<bool> directionToggled_{"SearchDirectionToggledNotification"};
    std::shared_ptr<FakeSearchedRows> source_;
    std::shared_ptr<SearchController> controller_;
    int reloads_ = 0;
    int shownProgress_ = 0;
    int noFurtherMatches_ = 0;
    qint64 scrolledTo_ = -1;
    Rows selected_;
};

TEST_F(SearchControllerTest, EverySearchGoesOnFromTheLastMatchOrBeginsAgain) {
    const QString backwards = u"<"_s; // an entry that sets the direction
    const QString error = u"error"_s;
    const struct {
        const char* what;
        QStringList searches;
        Rows selected;
        int noFurtherMatches;
        Rows results;
        qint64 currentRow;
        QString item;
        int reloads;
    } cases[] = {
        {"no wrapping", {error, error, u" error\t"_s, error}, {1, 2, 4}, 1, {1, 2, 4}, 4, error, 3},
        {"backwards", {backwards, error, error, error, error}, {4, 2, 1}, 1, {1, 2, 4}, 1, error, 3},
        {"back from the last row", {backwards, u"abc"_s}, {5}, 0, {5}, 5, u"abc"_s, 1},
        {"back to the first row", {backwards, u"alpha"_s, u"alpha"_s}, {0, 0}, 1, {0}, 0, u"alpha"_s, 2},
        {"the end row again", {u"abc"_s, u"abc"_s}, {5, 5}, 1, {5}, 5, u"abc"_s, 2},
        {"another text", {error, error, u"a"_s}, {1, 2, 0}, 0, {0}, 0, u"a"_s, 4},
        {"literal, in any case", {u"A.C"_s, u"ALPHA"_s}, {4, 0}, 0, {0}, 0, u"ALPHA"_s, 3},
        {"spaces alone", {error, u" \t "_s}, {1}, 1, {}, -1, {}, 2},
        {"no text", {error, {}}, {1}, 0, {}, -1, {}, 2},
        {"another direction", {error, backwards}, {1}, 0, {}, 6, error, 2},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        makeController();
        for (const QString& text : c.searches)
            text == backwards ? setForward(false) : search(text);
        EXPECT_EQ(controller_->searchingForward(), !c.searches.contains(backwards));
        EXPECT_EQ(selected_, c.selected);
        EXPECT_EQ(scrolledTo_, c.selected.back());
        EXPECT_EQ(noFurtherMatches_, c.noFurtherMatches);
        EXPECT_EQ(controller_->currentSearchRow(), c.currentRow);
        EXPECT_EQ(controller_->currentSearchItem(), c.item);
        Rows results;
        for (const auto& [row, match] : source_->results)
            results.insert(results.end(), match.row);
        EXPECT_EQ(results, c.results);
        EXPECT_EQ(reloads_, c.reloads);
    }
}

TEST_F(SearchControllerTest, AStepTheOtherWayLeavesTheDirection) {
    search(u"error"_s, Way::Opposite); // a new text: starts at the end of the log, as backward searches do
    search(u"error"_s, Way::Opposite);
    search(u"error"_s);
    search(u"error"_s);
    EXPECT_EQ(takeSelected(), (Rows{4, 2, 4}));
    EXPECT_EQ(noFurtherMatches_, 1);
    EXPECT_TRUE(controller_->searchingForward());
}

TEST_F(SearchControllerTest, AStoppedSearchKeepsItsPlaceAndMatches) {
    search(u"error"_s);
    startHeld(u"error"_s);
    controller_->stopSearch();
    source_->holdsSearches = false;
    EXPECT_FALSE(controller_->searchInProgress());
    EXPECT_EQ(shownProgress_, 0);
    EXPECT_EQ(source_->results.size(), 1U);
    search(u"error"_s);
    EXPECT_EQ(takeSelected(), (Rows{1, 2}));
}

TEST_F(SearchControllerTest, TheSameTextIsIgnoredWhileItIsSearched) {
    startHeld(u"error"_s);
    controller_->performSearch(u"error "_s);
    EXPECT_EQ(shownProgress_, 1);
    endHeld();
    EXPECT_EQ(takeSelected(), Rows{1});
}

TEST_F(SearchControllerTest, TheEndOfACancelledSearchChangesNothing) {
    const std::tuple<const char*, std::function<void()>, Rows> cases[] = {
        {"another text", [this] { controller_->performSearch(u"gamma"_s); }, {3}},
        {"an empty text", [this] { controller_->performSearch(QString()); }, {}},
        {"the other direction", [this] { setForward(true); }, {}},
    };
    for (const auto& [name, cancel, selected] : cases) {
        SCOPED_TRACE(name);
        search(QString());
        startHeld(u"error"_s);
        cancel();
        endHeld();
        EXPECT_FALSE(controller_->searchInProgress());
        EXPECT_EQ(takeSelected(), selected);
        EXPECT_EQ(source_->results.size(), selected.size());
        EXPECT_EQ(shownProgress_, 0);
        EXPECT_EQ(noFurtherMatches_, 0);
    }
    // A search that outlives its window reports nothing.
    startHeld(u"error"_s);
    controller_.reset();
    endHeld();
    EXPECT_EQ(takeSelected(), Rows());
}

TEST_F(SearchControllerTest, MatchesAreKeptByLineAndShownByRowWhileTheyAreInTheTable) {
    source_->start = 100;
    search(u"error"_s);
    search(u"error"_s);
    EXPECT_EQ(takeSelected(), (Rows{1, 2}));
    EXPECT_TRUE(source_->results.contains(101) && source_->results.contains(102));

    startHeld(u"alpha"_s);
    source_->holdsSearches = false;
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
    source_->start = 105;
    MainThread::shared().runPending();
    EXPECT_EQ(takeSelected(), Rows());
    EXPECT_TRUE(source_->results.empty());
    EXPECT_EQ(shownProgress_, 0);
}

TEST(SearchOperation, WithoutADataSourceThereIsNoMatch) {
    SearchController::SearchOperation operation(nullptr, SearchItem(u"a"_s), 0, 5);
    operation.runBody();
    EXPECT_FALSE(operation.outcome().match);
}

} // namespace
} // namespace korvane
