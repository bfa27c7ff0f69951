#pragma once

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
};

/// One line, ready to be shown.
struct PageRow {
    AttributedString text;
    quint64 cutBytes = 0;
};

/// What a page load came back with.
struct PageContent {
    enum class Kind {
        Lines,
        Unreadable, ///< the lines are there, but reading them gave nothing
    };
    Kind kind = Kind::Lines;
    /// The rows from the page's first line on; may be fewer than a page has.
    std::vector<PageRow> rows;
    /// There are fewer rows than the file had lines for: it has been cut short since they were counted.
    bool isShort = false;
    /// Some rows have U+FFFD for bytes that are not valid in the file's encoding.
    bool hasInvalidLines = false;
};

} // namespace korvane
