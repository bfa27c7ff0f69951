#include "ui/page/LogSearch.h"

#include "core/TailDataSourceProtocol.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/ShownRows.h"

#include <utility>

namespace korvane {

LogSearch::LogSearch(LogTableView& table, ShownRows& shownRows,
                     std::shared_ptr<TailDataSourceProtocol> dataSource, QObject* parent)
    : QObject(parent), table_(table), shownRows_(shownRows), dataSource_(std::move(dataSource)),
      searchController_(SearchController::create({*this, *this, directionToggled_}, dataSource_)) {
    searchController_->setNoFurtherMatch([this] { Q_EMIT noFurtherMatch(); });
    searchController_->setSearchFailed([this](const QString& reason) { Q_EMIT searchFailed(reason); });
}

LogSearch::~LogSearch() = default;

void LogSearch::setText(const QString& text) {
    if (std::exchange(text_, text) == text)
        return;
    if (text.isEmpty())
        searchController_->performSearch({});
    Q_EMIT textChanged();
}

void LogSearch::setSearchesForward(bool forward) {
    if (forward == searchesForward())
        return;
    directionToggled_.post(forward);
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
    pendingReveal_.reset();
    searchController_->performSearch(text_, way);
}

void LogSearch::stop() {
    searchController_->stopSearch();
}

void LogSearch::forgetMatches() {
    pendingReveal_.reset();
    searchController_->clearSearch();
}

void LogSearch::rowsArrived() {
    if (!pendingReveal_ || !dataSource_->cachedRowLine(pendingReveal_->row))
        return;
    const Reveal reveal = *std::exchange(pendingReveal_, std::nullopt);
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
        table_.selection().selectRow(row);
}

void LogSearch::scrollRowToVisible(qint64 row) {
    TextRange range;
    const auto& results = dataSource_->lastSearchResults();
    if (const auto found = results.find(dataSource_->rowStart() + row);
        found != results.end() && !found->second.results.empty())
        range = found->second.results.front();
    shownRows_.reveal(ShownRows::Reveal::Match, row, [this, row, range] {
        table_.selection().selectRow(row);
        // Test and scroll in one call: the page may be loaded at any moment.
        if (!table_.scrollTextToVisible(row, range))
            pendingReveal_ = Reveal{row, range};
    });
}

void LogSearch::show() {
    Q_EMIT searchingChanged(true);
}

void LogSearch::hide() {
    Q_EMIT searchingChanged(false);
}

} // namespace korvane
