#pragma once

#include "core/DefaultFilterLineAction.h"
#include "core/RowLine.h"
#include "core/RowNotices.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "core/search/SearchMatch.h"

#include <QStringList>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class DocumentProtocol;
class RuleEnforcerProtocol;
class SearchItem;

/// Turns the lines of a file into the rows of a table: row r shows the line with the zero-based index
/// `rowStart()` + r. Held by shared pointer. Main thread unless said otherwise; no operation waits for the
/// disk.
class TailDataSourceProtocol {
public:
    virtual ~TailDataSourceProtocol() = default;

    /// Any thread.
    virtual DefaultFilterLineAction defaultLineAction() const = 0;
    /// Rows are decorated again: `RowNotices::rowsStale`.
    virtual void setDefaultLineAction(DefaultFilterLineAction action) = 0;
    /// Null while there are no rules.
    virtual std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer() const = 0;
    virtual qint64 rowStart() const = 0;

    /// The text highlighted everywhere while quick highlight is on; empty for none.
    virtual QString quickHighlightSelectionString() const = 0;
    virtual void setQuickHighlightSelectionString(const QString& text) = 0;
    virtual bool quickHighlightEnabled() const = 0;
    virtual void setQuickHighlightEnabled(bool enabled) = 0;

    /// Matches of the last search by zero-based line index.
    virtual const std::map<qint64, SearchMatch>& lastSearchResults() const = 0;
    virtual void setLastSearchResults(std::map<qint64, SearchMatch> results) = 0;
    /// One more; another one of the same line goes.
    virtual void addSearchResult(const SearchMatch& match) = 0;

    /// The owning document; null once it has been closed. Any thread.
    virtual std::shared_ptr<DocumentProtocol> getDocument() const = 0;

    /// Forgets rows, rules and what is being loaded.
    virtual void reset() = 0;
    /// Every line read so far disappears from the table; the last line and what follows stay.
    virtual void clearView() = 0;
    /// Forgets all rows and search results; the table shows the file from its first line.
    virtual void clearCache() = 0;
    /// Rows must be decorated anew (font, colours, rules or encoding changed). The old ones show until then;
    /// `rowStart` and search results stay.
    virtual void invalidateRows() = 0;
    /// Lines from this index on were added or changed: their pages are asked for again when they are needed,
    /// and show their old text until then. Any thread.
    virtual void linesChanged(qint64 firstLine) = 0;

    /// Lines of the file.
    virtual qint64 rowCount() const = 0;
    /// Rows of the table.
    virtual qint64 numberOfRows() const = 0;

    /// The line column's value of a table row. What is not cached is requested, and answered unloaded.
    virtual RowLine rowLine(qint64 row) = 0;
    /// As above, without requesting: nothing when the row's text is not there yet.
    virtual std::optional<RowLine> cachedRowLine(qint64 row) const = 0;
    /// Whether the row's line carries the user's mark.
    virtual bool hasLineMark(qint64 row) const = 0;

    /// What the item finds in the row's line. Reads the line itself: no page is loaded, no rule is run. Any
    /// thread. A data source that cannot be searched finds nothing.
    virtual std::optional<SearchMatch> searchRow(qint64 /*row*/, const SearchItem& /*item*/) {
        return std::nullopt;
    }
    /// What `searchRow` finds first on the way from `firstRow` to `lastRow`, both included, forwards or
    /// backwards; rows that are not there are passed over. Nothing once `isCancelled` answers true. Any
    /// thread.
    virtual SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                        const std::function<bool()>& isCancelled);

    /// The text of `count` lines from the zero-based index `first`, as far as they are there: read anew, no
    /// page is loaded, no rule is run. Nothing when they cannot be read, or once `isCancelled` answers true.
    /// Waits for disk or network: a worker's thread.
    virtual std::optional<QStringList> readLines(qint64 /*first*/, qint64 /*count*/,
                                                 const std::function<bool()>& /*isCancelled*/) {
        return std::nullopt;
    }
    /// Which of these consecutive lines, the first by zero-based index, the rules hide; empty while they hide
    /// none. Sends no notifications. May take long: on a worker.
    virtual std::vector<bool> hiddenLines(qint64 /*first*/, const QStringList& /*texts*/,
                                          const std::function<bool()>& /*isCancelled*/) {
        return {};
    }
    /// Bytes that lines take in the file, by zero-based index; 0 when not known.
    virtual std::uint64_t byteCount(qint64 /*first*/, qint64 /*count*/) const { return 0; }

    /// Loads a page of lines, once; at once on this thread when not `async`. Any thread.
    virtual void loadPage(qint64 page, bool async) = 0;
    /// Gives up page loads that have not started and show no row of [firstRow, lastRow].
    virtual void dropRequestsOutside(qint64 firstRow, qint64 lastRow) = 0;
    /// Nobody looks at the rows any more, until the next `dropRequestsOutside`: their memory may go to
    /// others.
    virtual void viewHidden() {}

    /// Rows loaded so far hold bytes that are not valid in the file's encoding, shown as U+FFFD.
    virtual bool hasInvalidLines() const = 0;

    RowNotices& notices() { return notices_; }

private:
    RowNotices notices_;
};

} // namespace korvane
