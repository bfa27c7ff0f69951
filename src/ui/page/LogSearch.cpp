#include "ui/page/LogSearch.h"

#include "core/Preferences.h"
#include "core/TailDataSourceProtocol.h"
#include "core/search/PatternFault.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/ShownRows.h"

#include <utility>

namespace korvane {

LogSearch::LogSearch(LogTableView& table, ShownRows& shownRows,
                     std::shared_ptr<TailDataSourceProtocol> dataSource, QObject* parent)
    : QObject(parent), table_(table), shownRows_(shownRows), dataSource_(std::move(dataSource)),
      searchController_(SearchController::create({*this, *this, directionToggled_}, dataSource_)) {
    switches_ = Preferences::shared().searchSwitches();
    searchController_->setNoFurtherMatch([this] {
        canGoRound_ = !searchesAll_;
        Q_EMIT noMatch(canGoRound_ ? Ending::NoFurtherMatch : Ending::NoMatch, goesForwards_);
    });
    connect(&shownRows_, &ShownRows::countedChanged, this, &LogSearch::countChanged);
    connect(&table_, &LogTableView::selectionChanged, this, &LogSearch::countChanged);
    searchController_->setSearchFailed([this](const QString& reason) { Q_EMIT searchFailed(reason); });
}

LogSearch::~LogSearch() = default;

void LogSearch::setText(const QString& text) {
    if (std::exchange(text_, text) == text)
        return;
    if (text.isEmpty())
        forgetSearch();
    Q_EMIT textChanged();
}

void LogSearch::setSwitches(SearchSwitches switches) {
    if (std::exchange(switches_, switches) == switches)
        return;
    Preferences::shared().setSearchSwitches(switches);
    Q_EMIT textChanged();
}

void LogSearch::forgetSearch() {
    searchController_->clearSearch();
    item_ = SearchItem(QString());
    dataSource_->setShownSearch({});
    shownRows_.setCounted({});
    table_.redecorate();
    Q_EMIT countChanged();
}

void LogSearch::setSearchesForward(bool forward) {
    if (forward == searchesForward())
        return;
    directionToggled_.post(forward);
    // The search goes on where the user stands.
    rowOfMatch_.reset();
    Q_EMIT directionChanged();
}

void LogSearch::findNext() {
    find(SearchController::Way::Current);
}

void LogSearch::findOtherWay() {
    find(SearchController::Way::Opposite);
}

void LogSearch::findForwards() {
    find(searchesForward() ? SearchController::Way::Current : SearchController::Way::Opposite);
}

void LogSearch::findBackwards() {
    find(searchesForward() ? SearchController::Way::Opposite : SearchController::Way::Current);
}

void LogSearch::find(SearchController::Way way) {
    if (text_.isEmpty())
        return;
    if (const auto fault = switches_.isPattern ? patternFault(text_) : std::nullopt) {
        Q_EMIT searchFailed(tr("This is no pattern: %1").arg(*fault));
        return;
    }
    const SearchItem item = switches_.itemFor(text_);
    if (item.searchStr().isEmpty()) {
        forgetSearch();
        Q_EMIT noMatch(Ending::NoMatch, searchesForward());
        return;
    }
    const bool isForwards = searchesForward() == (way == SearchController::Way::Current);
    if (item == item_ && isSearching())
        return;
    pendingReveal_.reset();
    const auto start = startOf(item, isForwards);
    canGoRound_ = false;
    goesForwards_ = isForwards;
    if (item != item_) {
        item_ = item;
        dataSource_->setShownSearch(item);
        shownRows_.setCounted(item);
        table_.redecorate();
        Q_EMIT searched(text_);
        Q_EMIT countChanged();
    }
    searchController_->performSearch(item, way, start);
}

std::optional<qint64> LogSearch::startOf(const SearchItem& item, bool isForwards) {
    const qint64 rows = dataSource_->numberOfRows();
    const qint64 current = table_.selection().currentRow();
    if (std::exchange(startsAgain_, false) || item != item_) {
        const qint64 inView =
            isForwards ? table_.scroller().firstVisibleRow() : table_.scroller().lastVisibleRow();
        const qint64 start = table_.rowRect(current) ? current : inView;
        searchesAll_ = isForwards ? start <= 0 : start >= rows - 1;
        return start;
    }
    const bool hasMoved = current >= 0 && current != rowOfMatch_;
    searchesAll_ = !hasMoved && canGoRound_ && goesForwards_ == isForwards;
    if (searchesAll_)
        return isForwards ? -1 : rows;
    return hasMoved ? std::optional(current) : std::nullopt;
}

std::optional<LogSearch::Count> LogSearch::count() const {
    const auto counted = shownRows_.counted();
    if (!counted || item_ != switches_.itemFor(text_))
        return std::nullopt;
    Count count{{}, counted->lines.size(), counted->isComplete};
    const qint64 line = dataSource_->rowStart() + table_.selection().currentRow();
    if (counted->isComplete && table_.selection().currentRow() >= 0 && counted->lines.contains(line))
        count.place = counted->lines.rank(line) + 1;
    return count;
}

void LogSearch::stop() {
    searchController_->stopSearch();
}

void LogSearch::forgetMatches() {
    pendingReveal_.reset();
    canGoRound_ = false;
    startsAgain_ = true;
    searchController_->clearSearch();
}

void LogSearch::rowsArrived() {
    if (!pendingReveal_ || !dataSource_->cachedRowLine(pendingReveal_->row))
        return;
    const Reveal reveal = *std::exchange(pendingReveal_, std::nullopt);
    tellIfHidden(reveal.row);
    // Skip it if the user has scrolled elsewhere meanwhile.
    if (table_.rowRect(reveal.row))
        table_.scrollTextToVisible(reveal.row, reveal.range);
}

void LogSearch::reload() {
    table_.redecorate();
}

void LogSearch::selectRow(qint64 row) {
    // The notice of the last lines may still be pending.
    if (row >= table_.rowCount())
        shownRows_.update();
    // A row that is left out is selected once it is shown.
    if (table_.scroller().map().shows(row))
        select(row);
}

void LogSearch::scrollRowToVisible(qint64 row) {
    TextRange range;
    const auto& results = dataSource_->lastSearchResults();
    if (const auto found = results.find(dataSource_->rowStart() + row);
        found != results.end() && !found->second.results.empty())
        range = found->second.results.front();
    const bool isLeftOut = !table_.scroller().map().shows(row);
    shownRows_.reveal(ShownRows::Reveal::Match, row, [this, row, range, isLeftOut] {
        select(row);
        if (isLeftOut)
            Q_EMIT hiddenLineShown(dataSource_->rowStart() + row + 1);
        else
            tellIfHidden(row);
        // Test and scroll in one call: the page may be loaded at any moment.
        if (!table_.scrollTextToVisible(row, range))
            pendingReveal_ = Reveal{row, range};
    });
}

void LogSearch::select(qint64 row) {
    rowOfMatch_ = row;
    table_.selection().selectRow(row);
    Q_EMIT countChanged();
}

void LogSearch::tellIfHidden(qint64 row) {
    if (const auto line = dataSource_->cachedRowLine(row); line && line->isShownAnyway)
        Q_EMIT hiddenLineShown(line->rowNum);
}

void LogSearch::show() {
    Q_EMIT searchingChanged(true);
}

void LogSearch::hide() {
    Q_EMIT searchingChanged(false);
}

} // namespace korvane
