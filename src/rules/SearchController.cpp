#include "rules/SearchController.h"

#include "core/DataSourceRoles.h"
#include "foundation/work/MainThread.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

bool isSpaceOrTab(QChar character) {
    return character == u'\t' || character.category() == QChar::Separator_Space;
}

QString trimmed(const QString& text) {
    const auto begin = std::find_if_not(text.begin(), text.end(), isSpaceOrTab);
    const auto end = std::find_if_not(text.rbegin(), std::make_reverse_iterator(begin), isSpaceOrTab).base();
    return QString(begin, end - begin);
}

} // namespace

std::shared_ptr<SearchController> SearchController::create(Window window,
                                                           std::shared_ptr<SearchedRows> dataSource) {
    return std::shared_ptr<SearchController>(new SearchController(window, std::move(dataSource)));
}

SearchController::SearchController(Window window, std::shared_ptr<SearchedRows> dataSource)
    : window_(window), dataSource_(std::move(dataSource)),
      directionSubscription_(window.directionToggled.subscribe(
          [this](bool forward) { handleSearchDirectionToggled(forward); })) {}

SearchController::~SearchController() = default;

void SearchController::performSearch(SearchItem search, Way way, std::optional<qint64> from) {
    const Direction direction = way == Way::Current ? direction_ : opposite(direction_);
    if (search.searchStr().isEmpty()) {
        clearSearch();
        return;
    }
    if (!search.regex())
        search.setSearchStr(trimmed(search.searchStr()));
    const bool isOther = search != search_;
    if (!isOther && searchInProgress())
        return;
    if (isOther) {
        clearSearch();
        search_ = std::move(search);
        resetPosition(direction);
    }
    if (from && isOther)
        currentSearchRow_ = direction == Direction::Forwards ? *from - 1 : *from + 1;
    else if (from)
        currentSearchRow_ = *from;
    const RowRange rows = rowsToSearch(direction);
    currentOperation_ = std::make_shared<SearchOperation>(dataSource_, search_, rows.start, rows.end);
    window_.progress.show();
    currentOperation_->setCompletion([weak = weak_from_this(), operation = std::weak_ptr(currentOperation_)] {
        MainThread::shared().post([weak, ended = operation.lock()] {
            const auto self = weak.lock();
            // A cancelled search is no longer the current one.
            if (self && ended && self->currentOperation_ == ended)
                self->searchEnded(*ended);
        });
    });
    opQueue_.addOperation(currentOperation_);
}

SearchController::RowRange SearchController::rowsToSearch(Direction direction) const {
    const qint64 rows = rowCount();
    if (direction == Direction::Forwards) {
        const qint64 start = currentSearchRow_ + 1;
        return {std::min(start, rows - 1), rows - 1};
    }
    const qint64 start = currentSearchRow_ - 1;
    return {start >= 0 && start < rows ? start : 0, 0};
}

qint64 SearchController::rowCount() const {
    return dataSource_ ? dataSource_->numberOfRows() : 0;
}

void SearchController::handleSearchDirectionToggled(bool forward) {
    // A pending match would lie in the old direction.
    cancelSearches();
    direction_ = forward ? Direction::Forwards : Direction::Backwards;
    resetPosition(direction_);
}

void SearchController::clearSearch() {
    search_ = SearchItem(QString());
    cancelSearches();
    resetPosition(direction_);
}

void SearchController::cancelSearches() {
    opQueue_.cancelAllOperations();
    if (searchInProgress())
        window_.progress.hide();
    currentOperation_.reset();
}

void SearchController::resetPosition(Direction direction) {
    currentSearchRow_ = direction == Direction::Forwards ? -1 : rowCount();
    if (!dataSource_ || dataSource_->lastSearchResults().empty())
        return;
    dataSource_->setLastSearchResults({});
    window_.table.reload();
}

void SearchController::searchEnded(const SearchOperation& operation) {
    // A copy: the next line may destroy the operation.
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization)
    const SearchOutcome outcome = operation.outcome();
    currentOperation_.reset();
    const bool isNews = outcome && show(*outcome.match);
    window_.progress.hide();
    if (!outcome.fault.isEmpty() && searchFailed_)
        searchFailed_(outcome.fault);
    else if (!isNews && noFurtherMatch_)
        noFurtherMatch_();
}

bool SearchController::show(const SearchMatch& match) {
    const qint64 row = match.row - dataSource_->rowStart();
    if (row < 0 || row >= rowCount())
        return false; // the view was cleared, or the file truncated, during the search
    dataSource_->addSearchResult(match);
    const bool isOther = std::exchange(currentSearchRow_, row) != row;
    window_.table.reload();
    window_.table.selectRow(row);
    window_.table.scrollRowToVisible(row);
    return isOther;
}

SearchController::SearchOperation::SearchOperation(std::shared_ptr<SearchedRows> dataSource,
                                                   SearchItem search, qint64 startingRow, qint64 endRow)
    : dataSource_(std::move(dataSource)), search_(std::move(search)), startingRow_(startingRow),
      endRow_(endRow) {}

void SearchController::SearchOperation::main() {
    if (dataSource_)
        outcome_ =
            dataSource_->findNextMatch(startingRow_, endRow_, search_, [this] { return isCancelled(); });
}

} // namespace korvane
