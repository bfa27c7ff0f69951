#pragma once

#include "foundation/text/AttributedString.h"
#include "rules/SearchController.h"

#include <QObject>

#include <memory>
#include <optional>

namespace korvane {

class LogTableView;
class ShownRows;
class TailDataSourceProtocol;

/// The search of one log view: the text, the direction, and how a match is shown. Main thread.
class LogSearch : public QObject, private SearchTable, private SearchProgressItem {
    Q_OBJECT

public:
    /// `table` must outlive the search.
    LogSearch(LogTableView& table, ShownRows& shownRows, std::shared_ptr<TailDataSourceProtocol> dataSource,
              QObject* parent = nullptr);
    ~LogSearch() override;

    /// As the user typed it; kept for the page while another one is in front. An empty text ends the search.
    const QString& text() const { return text_; }
    void setText(const QString& text);
    bool searchesForward() const { return searchController_->searchingForward(); }
    /// Later searches start at the first line and go forwards, or at the last line and go backwards.
    void setSearchesForward(bool forward);
    bool isSearching() const { return searchController_->searchInProgress(); }

    /// Goes to the next match in the current direction.
    void findNext();
    /// Goes to the next match in the other direction, without changing the direction.
    void findOtherWay();
    /// Goes to the next match towards the end or the beginning, whatever the direction.
    void findForwards();
    void findBackwards();
    /// Stops a search under way; matches found so far stay.
    void stop();
    /// Drops all matches, because the rows have been replaced.
    void forgetMatches();
    /// Rows have been loaded: scrolls a match among them into view sideways.
    void rowsArrived();

Q_SIGNALS:
    void textChanged();
    void directionChanged();
    void searchingChanged(bool isSearching);
    /// No more match in this direction.
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
    ShownRows& shownRows_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    /// Declared before the controller, which subscribes to it.
    Notice<bool> directionToggled_{"SearchDirectionToggledNotification"};
    std::shared_ptr<SearchController> searchController_;
    QString text_;
    /// A match in a row whose text was not loaded when the row was shown.
    struct Reveal {
        qint64 row;
        TextRange range;
    };
    std::optional<Reveal> pendingReveal_;
};

} // namespace korvane
