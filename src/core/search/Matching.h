#pragma once

#include "core/search/MatchBudget.h"

#include <unicode/uregex.h>

#include <QString>

#include <memory>
#include <vector>

namespace korvane {

/// How texts and patterns are found in a line. All matches are ascending, without overlap and not empty.
namespace matching {

/// What a pattern may do, by which its cost is counted.
struct PatternTraits {
    bool ignoresCase = false;
    /// Comparing with an earlier group is one step of the engine, however long the group is.
    bool refersBack = false;
    /// Something in it looks at what stands before a match.
    bool looksBehind = false;
    /// It may look far beyond the end of what it matches.
    bool looksAhead = false;
};

/// A compiled pattern, or none when it is not valid.
struct Regex {
    std::unique_ptr<URegularExpression, decltype(&uregex_close)> expression{nullptr, &uregex_close};
    PatternTraits traits;
};

Regex compile(const QString& pattern, bool ignoreCase);
/// A matcher of its own for another thread.
Regex clone(const Regex& regex);

/// A pattern that is not valid matches nothing. One that refers back sees the first 16,384 units of a line
/// only, and gives up a line that repeats itself so much that the engine could not be stopped in time. One
/// thread at a time a matcher.
MatchOutcome matchRegex(const Regex& regex, const QString& line, MatchBudget& budget);
/// Precondition: `text` is not empty.
std::vector<TextRange> plainRanges(const QString& line, const QString& text, Qt::CaseSensitivity sensitivity);

} // namespace matching

} // namespace korvane
