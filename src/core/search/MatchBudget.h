#pragma once

#include "foundation/text/AttributedString.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace korvane {

/// What matching may still cost. It is counted in steps of the engine, some 20 ns each, and not in time, so
/// that a busy machine does not change what a pattern finds. One thread.
struct MatchBudget {
    using Steps = std::int64_t;
    /// Limit for one line, whatever is left: about 50 ms.
    static constexpr Steps mostPerLine = 2'500'000;

    /// Reduced by what was spent, which may overdraw it by the last step counted.
    Steps stepsLeft = mostPerLine;
    /// Asked while a line is matched, too; true ends the matching. May be empty.
    std::function<bool()> isCancelled = {};
};

/// What a search makes of one line.
struct MatchOutcome {
    /// Ascending, without overlap, none of them empty.
    std::vector<TextRange> ranges;
    /// The line was not looked at to its end, and nothing was found up to there: whether it matches is not
    /// known.
    bool gaveUp = false;
};

} // namespace korvane
