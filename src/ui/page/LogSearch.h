#pragma once

#include "foundation/text/AttributedString.h"
#include "rules/SearchController.h"

#include <QObject>

#include <memory>
#include <optional>

namespace korvane {

class LogTableView;

/// The search of one log view: what is looked for, in which direction, and how a match is shown. Main thread.
class LogSearch : public QObject, private SearchTable, private SearchProgressItem {
    Q_OBJECT

public:
    /// `table` must outlive the search.
    LogSearch(LogTableView& table, std::shared_ptr<TailDataSourceProtocol> dataSource,
              QObject* parent = nullptr);
    ~LogSearch() override;

    /// As the user has typed it; kept for the page while another one is in front. An empty text ends the
    /// search.
    const QString& text() const { return text_; }
    void setText(const QString& text);
    bool searchesForward() const { return searchController_->searchingForward(); }
    /// From now on from the first line forwards, or from the last one backwards.
    void setSearchesForward(bool forward);
    bool isSearching() const { return searchController_->searchInProgress(); }

    /// The next match in the current direction.
    void findNext();
    /// One match the other way, without changing the direction.
    void findOtherWay();
    /// The next match towards the end or the beginning, whatever the direction.
    void findForwards();
    void findBackwards();
    /// Gives up a search under way; what was found stays.
    void stop();
    /// The rows are others now: nothing has been found in them yet.
    void forgetMatches();
    /// Rows have been loaded: a match among them can be brought into view sideways.
    void rowsArrived();

Q_SIGNALS:
    void textChanged();
    void directionChanged();
    void searchingChanged(bool isSearching);
    /// There is nothing more in this direction.
    void noFurtherMatch();
    /// Not all lines could be searched.
    void searchFailed(const QString& reason);

private:
    void reload() override;
    void selectRow(qint64 row) override;
    void scrollRowToVisible(qint64 row) override;
    void show() override;
    void hide() override;

    void find(SearchController::Way way);

    LogTableView& table_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    /// Before the controller, which subscribes to it.
    Notice<bool> directionToggled_{"SearchDirectionToggledNotification"};
    std::shared_ptr<SearchController> searchController_;
    QString text_;
    /// A match in a row whose text was not there yet when it was shown.
    struct Reveal {
        qint64 row;
        TextRange range;
    };
    std::optional<Reveal> pendingReveal_;
};

} // namespace korvane
