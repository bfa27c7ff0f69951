#pragma once

#include "core/search/SearchSwitches.h"
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
    /// How the text is meant; at first as in the search used last.
    SearchSwitches switches() const { return switches_; }
    void setSwitches(SearchSwitches switches);
    bool searchesForward() const { return searchController_->searchingForward(); }
    /// Later searches go forwards, or backwards.
    void setSearchesForward(bool forward);
    bool isSearching() const { return searchController_->searchInProgress(); }

    /// Goes to the next match in the current direction. Another text is searched for from the current line
    /// on, if it is in view, else from the first line in view.
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
    /// Which of the lines with a match is the current one, from 1, and how many there are.
    struct Count {
        /// Nullopt while no match is the current line, or the lines before it have not all been searched.
        std::optional<qint64> place;
        qint64 total = 0;
        bool isComplete = false;
    };
    /// Nullopt while the text has not been searched for, and for a file on a server.
    std::optional<Count> count() const;
    /// Rows have been loaded: scrolls a match among them into view sideways.
    void rowsArrived();

    /// How a search ends without a match.
    enum class Ending : unsigned char {
        NoFurtherMatch, ///< the next search goes on from the other end of the file
        NoMatch,        ///< the whole file has been searched
    };
    Q_ENUM(Ending)

Q_SIGNALS:
    /// The text or its switches.
    void textChanged();
    void countChanged();
    /// A search for another text has begun.
    void searched(const QString& text);
    void directionChanged();
    void searchingChanged(bool isSearching);
    void noMatch(korvane::LogSearch::Ending ending, bool isForwards);
    /// A match lies in a line that is hidden; it is shown nevertheless.
    void hiddenLineShown(qint64 lineNumber);
    /// Not all lines could be searched.
    void searchFailed(const QString& reason);

private:
    void reload() override;
    void selectRow(qint64 row) override;
    void scrollRowToVisible(qint64 row) override;
    void show() override;
    void hide() override;

    void find(SearchController::Way way);
    /// Where a search for `item` starts; nullopt if next to the last match.
    std::optional<qint64> startOf(const SearchItem& item, bool isForwards);
    void select(qint64 row);
    void tellIfHidden(qint64 row);
    void forgetSearch();

    LogTableView& table_;
    ShownRows& shownRows_;
    const std::shared_ptr<TailDataSourceProtocol> dataSource_;
    /// Declared before the controller, which subscribes to it.
    Notice<bool> directionToggled_{"SearchDirectionToggledNotification"};
    std::shared_ptr<SearchController> searchController_;
    QString text_;
    SearchSwitches switches_;
    SearchItem item_{QString()};
    bool goesForwards_ = true;
    /// The search under way began at the end of the file that it leaves.
    bool searchesAll_ = false;
    /// There was no match up to the end of the file: the same search goes on from the other end.
    bool canGoRound_ = false;
    /// The matches found so far no longer count.
    bool startsAgain_ = false;
    /// The current row since the last match; another one is where the user has gone.
    std::optional<qint64> rowOfMatch_;
    /// A match in a row whose text was not loaded when the row was shown.
    struct Reveal {
        qint64 row;
        TextRange range;
    };
    std::optional<Reveal> pendingReveal_;
};

} // namespace korvane
