#pragma once

#include "foundation/text/AttributedString.h"

#include <vector>

namespace korvane {

/// Where a search found its text in one line.
struct SearchMatch {
    /// Zero-based line index.
    qint64 row = 0;
    std::vector<TextRange> results;
};

} // namespace korvane
