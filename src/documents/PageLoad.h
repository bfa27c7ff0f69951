#pragma once

#include "core/RuleMarks.h"
#include "foundation/text/AttributedString.h"

#include <cstdint>
#include <vector>

namespace korvane {

/// One request for a page of lines.
struct PageRequest {
    /// One-based.
    qint64 page = 0;
    /// Unique in its data source; a later request has a greater one.
    std::uint64_t token = 0;
    /// The data source's generation when the page was requested.
    std::uint64_t generation = 0;
    /// The first row requested; greater than 0 for a further piece of a page that is too large to load at
    /// once.
    qint64 firstRow = 0;
    /// The row of the page that is in view; 0 if unknown.
    qint64 wantedRow = 0;
    /// Token of the request whose rows this one continues; 0 for a separate piece.
    std::uint64_t continued = 0;
};

/// One line, ready to be shown.
struct PageRow {
    AttributedString text;
    quint64 cutBytes = 0;
    RuleMarks marks{};
};

/// The result of a page load.
struct PageContent {
    enum class Kind {
        Lines,
        Unreadable, ///< the lines exist, but reading them returned nothing
    };
    Kind kind = Kind::Lines;
    /// Row of the page at which `rows` starts.
    qint64 firstRow = 0;
    /// May be fewer than a page has.
    std::vector<PageRow> rows;
    /// The page has more rows after these, which have not been read because of their size.
    bool isPartial = false;
    /// Fewer rows than counted: the file has been truncated since.
    bool isShort = false;
    /// Some rows have U+FFFD for bytes that are not valid in the file's encoding.
    bool hasInvalidLines = false;
};

} // namespace korvane
