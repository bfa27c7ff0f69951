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
    /// Adds a match, replacing one of the same line.
    virtual void addSearchResult(const SearchMatch& match) = 0;

    /// The owning document; null once it has been closed. Any thread.
    virtual std::shared_ptr<DocumentProtocol> getDocument() const = 0;

    /// Drops rows, rules and running loads.
    virtual void reset() = 0;
    /// Hides every line read so far from the table, except the last one; later lines are shown.
    virtual void clearView() = 0;
    /// Forgets all rows and search results; the table shows the file from its first line.
    virtual void clearCache() = 0;
    /// Rows must be decorated again (font, colours, rules or encoding changed). The old ones are shown until
    /// then; `rowStart` and search results stay.
    virtual void invalidateRows() = 0;
    /// Lines from this index on were appended or changed: their pages are requested again when needed, and
    /// show their old text until then. Any thread.
    virtual void linesChanged(qint64 firstLine) = 0;

    /// Number of lines of the file.
    virtual qint64 rowCount() const = 0;
    /// Number of rows of the table.
    virtual qint64 numberOfRows() const = 0;

    /// The line column's value of a table row. A row that is not cached is requested, and returned as not
    /// loaded.
    virtual RowLine rowLine(qint64 row) = 0;
    /// As above, without requesting: nullopt when the row is not loaded yet.
    virtual std::optional<RowLine> cachedRowLine(qint64 row) const = 0;
    /// Whether the row's line carries the user's mark.
    virtual bool hasLineMark(qint64 row) const = 0;

    /// The match of the item in the row's line. Reads the line itself: no page is loaded, no rule is run. Any
    /// thread. A data source that cannot be searched returns nullopt.
    virtual std::optional<SearchMatch> searchRow(qint64 /*row*/, const SearchItem& /*item*/) {
        return std::nullopt;
    }
    /// The first match from `firstRow` to `lastRow`, both included, forwards or backwards; rows that do not
    /// exist are skipped. Empty once `isCancelled` returns true. Any thread.
    virtual SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                        const std::function<bool()>& isCancelled);

    /// The text of `count` lines from the zero-based index `first`, as far as they exist: read from the file,
    /// no page is loaded, no rule is run. Nullopt when they cannot be read, or once `isCancelled` returns
    /// true. Waits for disk or network: on a worker.
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
    /// Bytes that lines take in the file, by zero-based index; 0 if unknown.
    virtual std::uint64_t byteCount(qint64 /*first*/, qint64 /*count*/) const { return 0; }

    /// Loads a page of lines, once; at once on this thread when not `async`. Any thread.
    virtual void loadPage(qint64 page, bool async) = 0;
    /// Cancels page loads that have not started and contain no row of [firstRow, lastRow].
    virtual void dropRequestsOutside(qint64 firstRow, qint64 lastRow) = 0;
    /// No row is in view until the next `dropRequestsOutside`: their memory may be released first.
    virtual void viewHidden() {}

    /// Whether rows loaded so far contain bytes that are invalid in the file's encoding, shown as U+FFFD.
    virtual bool hasInvalidLines() const = 0;

    RowNotices& notices() { return notices_; }

private:
    RowNotices notices_;
};

} // namespace korvane
