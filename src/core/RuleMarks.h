#pragma once

#include <string_view>

namespace korvane {

/// Names of the marks that rules set over a whole line, for the log.
namespace rulemark {
inline constexpr std::string_view hideLine = "HideLine";
inline constexpr std::string_view showOnlyLine = "ShowOnlyLine";
inline constexpr std::string_view filterType = "FilterType";
} // namespace rulemark

/// The marks that rules have set on a line. An empty line has none.
struct RuleMarks {
    /// A hiding rule has matched, or the default action hides lines that no rule has matched.
    bool hideLine = false;
    /// A showing rule has matched. A line with both marks is hidden.
    bool showOnlyLine = false;
    /// A rule was aborted on this line: whether it matches is unknown.
    bool givenUp = false;

    friend bool operator==(const RuleMarks&, const RuleMarks&) = default;
};

} // namespace korvane
