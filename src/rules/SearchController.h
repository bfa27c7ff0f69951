#pragma once

#include "core/search/Direction.h"
#include "core/search/SearchItem.h"
#include "core/search/SearchMatch.h"
#include "foundation/notices/Notice.h"
#include "foundation/work/Operation.h"
#include "foundation/work/OperationQueue.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace korvane {

class SearchedRows;

/// The table that shows the rows, as a search uses it. Main thread.
class SearchTable {
public:
    virtual ~SearchTable() = default;
    /// Repaints the rows: their matches have changed.
    virtual void reload() = 0;
    /// Selects this row and no other.
    virtual void selectRow(qint64 row) = 0;
    virtual void scrollRowToVisible(qint64 row) = 0;
};

/// Shows that a search is under way. Main thread.
class SearchProgressItem {
public:
    virtual ~SearchProgressItem() = default;
    virtual void show() = 0;
    virtual void hide() = 0;
};

/// Steps one window from match to match: the same text continues after the last match, another text starts
/// from the beginning, and a search never wraps around.
///
/// Main thread; the searches run on a queue and report back through `MainThread`. Held by the window alone.
class SearchController : public std::enable_shared_from_this<SearchController> {
public:
    class SearchOperation;

    struct Window {
        SearchTable& table;
        SearchProgressItem& progress;
        /// The user has chosen another direction. Payload: whether searches go forwards from now on.
        Notice<bool>& directionToggled;
    };
    /// The references in `window` must outlive the controller. Without a data source no search finds
    /// anything.
    static std::shared_ptr<SearchController> create(Window window, std::shared_ptr<SearchedRows> dataSource);
    ~SearchController();

    /// The direction from the last match to the next one.
    enum class Way {
        Current,  ///< in the direction of the window's searches
        Opposite, ///< one step against it, without changing the direction
    };
    /// Searches for the next line with the text. Does nothing while the same text is being searched; an empty
    /// text ends and clears the search.
    void performSearch(const QString& searchText, Way way = Way::Current) {
        performSearch(SearchItem(searchText), way);
    }
    /// `from`: the row where the user stands, for another search the first one, for the same one the row next
    /// to it; without it a search starts at the first or last row, or next to its last match.
    void performSearch(SearchItem search, Way way, std::optional<qint64> from = std::nullopt);
    /// Cancels the search under way. The position stays.
    void stopSearch() { cancelSearches(); }
    /// Forgets text, position and matches.
    void clearSearch();

    /// Called when a search has ended without a new match.
    void setNoFurtherMatch(std::function<void()> action) { noFurtherMatch_ = std::move(action); }
    /// Called with the reason when a search has failed.
    void setSearchFailed(std::function<void(const QString& reason)> action) {
        searchFailed_ = std::move(action);
    }

    const QString& currentSearchItem() const { return search_.searchStr(); }
    qint64 currentSearchRow() const { return currentSearchRow_; }
    bool searchingForward() const { return direction_ == Direction::Forwards; }
    bool searchInProgress() const { return currentOperation_ != nullptr; }

private:
    SearchController(Window window, std::shared_ptr<SearchedRows> dataSource);

    struct RowRange {
        qint64 start = 0;
        qint64 end = 0;
    };
    RowRange rowsToSearch(Direction direction) const;
    qint64 rowCount() const;
    void handleSearchDirectionToggled(bool forward);
    void cancelSearches();
    /// Resets the position to the start of a search in this direction, and drops the matches.
    void resetPosition(Direction direction);
    void searchEnded(const SearchOperation& operation);
    /// Returns whether the match differs from the last one.
    bool show(const SearchMatch& match);

    const Window window_;
    const std::shared_ptr<SearchedRows> dataSource_;
    std::function<void()> noFurtherMatch_;
    std::function<void(const QString&)> searchFailed_;
    Subscription directionSubscription_;

    SearchItem search_{QString()};
    /// The row of the last match; the next search starts next to it.
    qint64 currentSearchRow_ = -1;
    Direction direction_ = Direction::Forwards;
    /// The current search; null while none is under way. The end of any other one is ignored.
    std::shared_ptr<SearchOperation> currentOperation_;
    OperationQueue opQueue_{"Search queue", 1};
};

/// Searches from one row to another, and stops at the first row that
/// contains it.
class SearchController::SearchOperation : public Operation {
public:
    /// Both rows are searched; backwards when `endRow` lies before `startingRow`.
    SearchOperation(std::shared_ptr<SearchedRows> dataSource, SearchItem search, qint64 startingRow,
                    qint64 endRow);

    /// The result. Precondition: the operation has ended.
    const SearchOutcome& outcome() const { return outcome_; }

protected:
    void main() override;

private:
    const std::shared_ptr<SearchedRows> dataSource_;
    const SearchItem search_;
    const qint64 startingRow_;
    const qint64 endRow_;
    SearchOutcome outcome_;
};

} // namespace korvane
