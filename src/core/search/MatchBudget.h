#pragma once

#include "foundation/text/AttributedString.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace korvane {

/// The remaining cost of matching, in steps of the engine of about 20 ns. Not in time, so that a busy machine
/// does not change the matches of a pattern. One thread.
struct MatchBudget {
    using Steps = std::int64_t;
    /// Limit for one line, even if more is left: about 50 ms.
    static constexpr Steps mostPerLine = 2'500'000;

    /// Reduced by the steps spent; the last step counted may overdraw it.
    Steps stepsLeft = mostPerLine;
    /// Polled also while a line is matched; true ends the matching. May be empty.
    std::function<bool()> isCancelled = {};
};

/// The result of matching one line.
struct MatchOutcome {
    /// Ascending, without overlap, none of them empty.
    std::vector<TextRange> ranges;
    /// Matching ended before the end of the line and without a match: whether the line matches is unknown.
    bool gaveUp = false;
};

} // namespace korvane
