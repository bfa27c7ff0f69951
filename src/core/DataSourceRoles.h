#pragma once

#include "core/DefaultFilterLineAction.h"
#include "core/RowLine.h"
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

// The roles of `TailDataSourceProtocol`, each for those who need nothing else of it. Held by shared pointer.
// Main thread unless said otherwise.

/// Which rows there are: row r shows the line with the zero-based index `rowStart()` + r.
class RowRange {
public:
    virtual ~RowRange() = default;

    virtual qint64 rowStart() const = 0;
    /// Number of lines of the file.
    virtual qint64 rowCount() const = 0;
    /// Number of rows of the table.
    virtual qint64 numberOfRows() const = 0;
};

/// Rows as a table shows them.
class TableRows : public virtual RowRange {
public:
    /// The line column's value of a table row. A row that is not cached is requested, and returned as not
    /// loaded.
    virtual RowLine rowLine(qint64 row) = 0;
    /// As above, without requesting: nullopt when the row is not loaded yet.
    virtual std::optional<RowLine> cachedRowLine(qint64 row) const = 0;
    /// Whether the row's line carries the user's mark.
    virtual bool hasLineMark(qint64 row) const = 0;
};

/// Rows to which rules are applied.
class RuledRows {
public:
    virtual ~RuledRows() = default;

    /// The owning document; null once it has been closed. Any thread.
    virtual std::shared_ptr<DocumentProtocol> getDocument() const = 0;
    /// Any thread.
    virtual DefaultFilterLineAction defaultLineAction() const = 0;
    /// Rows are decorated again: `RowNotices::rowsStale`.
    virtual void setDefaultLineAction(DefaultFilterLineAction action) = 0;
    /// Null while there are no rules.
    virtual std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer() const = 0;
};

/// Rows that are searched, and the matches found.
class SearchedRows : public virtual RowRange {
public:
    /// Matches of the last search by zero-based line index.
    virtual const std::map<qint64, SearchMatch>& lastSearchResults() const = 0;
    virtual void setLastSearchResults(std::map<qint64, SearchMatch> results) = 0;
    /// Adds a match, replacing one of the same line.
    virtual void addSearchResult(const SearchMatch& match) = 0;
    /// Rows show all matches of this search, apart from those above; nullopt for none.
    virtual void setShownSearch(const std::optional<SearchItem>& search) = 0;
    /// The match of the item in the row's line. Reads the line itself: no page is loaded, no rule is run. Any
    /// thread.
    virtual std::optional<SearchMatch> searchRow(qint64 row, const SearchItem& item) = 0;
    /// The first match from `firstRow` to `lastRow`, both included, forwards or backwards; rows that do not
    /// exist are skipped. Empty once `isCancelled` returns true. Any thread.
    virtual SearchOutcome findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                        const std::function<bool()>& isCancelled) = 0;
};

/// The texts of lines, read from the file without loading pages.
class LineTexts : public virtual RowRange {
public:
    /// The text of `count` lines from the zero-based index `first`, as far as they exist; no rule is run.
    /// Nullopt when they cannot be read, or once `isCancelled` returns true. Waits for disk or network: on a
    /// worker.
    virtual std::optional<QStringList> readLines(qint64 first, qint64 count,
                                                 const std::function<bool()>& isCancelled) = 0;
    /// Which of these consecutive lines, the first by zero-based index, the rules hide; empty while they hide
    /// none. Sends no notifications. May take long: on a worker.
    virtual std::vector<bool> hiddenLines(qint64 first, const QStringList& texts,
                                          const std::function<bool()>& isCancelled) = 0;
    /// Bytes that lines take in the file, by zero-based index; 0 if unknown.
    virtual std::uint64_t byteCount(qint64 first, qint64 count) const = 0;
};

} // namespace korvane
