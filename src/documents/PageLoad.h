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
    /// The data source's generation when the page was asked for.
    std::uint64_t generation = 0;
    /// The first row that is asked for; more than 0 for a further piece of a page that is too large for one.
    qint64 firstRow = 0;
    /// The row of the page that somebody looks at; 0 where it is not known.
    qint64 wantedRow = 0;
    /// The request whose rows this one goes on from; 0 for a piece that stands alone.
    std::uint64_t continued = 0;
};

/// One line, ready to be shown.
struct PageRow {
    AttributedString text;
    quint64 cutBytes = 0;
    RuleMarks marks{};
};

/// What a page load came back with.
struct PageContent {
    enum class Kind {
        Lines,
        Unreadable, ///< the lines are there, but reading them gave nothing
    };
    Kind kind = Kind::Lines;
    /// The row of the page that is the first one here.
    qint64 firstRow = 0;
    /// The rows from there on; may be fewer than a page has.
    std::vector<PageRow> rows;
    /// The page has more rows behind these, which have not been read for their size.
    bool isPartial = false;
    /// There are fewer rows than the file had lines for: it has been cut short since they were counted.
    bool isShort = false;
    /// Some rows have U+FFFD for bytes that are not valid in the file's encoding.
    bool hasInvalidLines = false;
};

} // namespace korvane
