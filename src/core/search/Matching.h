#pragma once

#include "core/search/MatchBudget.h"

#include <unicode/uregex.h>

#include <QString>

#include <memory>
#include <vector>

/// Finds texts and patterns in a line. All matches are ascending, without overlap and not empty.
namespace korvane::matching {

/// Properties of a pattern that determine its cost.
struct PatternTraits {
    bool ignoresCase = false;
    /// Comparing with an earlier group is one step of the engine, however long the group is.
    bool refersBack = false;
    /// It examines the text before a match.
    bool looksBehind = false;
    /// It may examine the text far behind a match.
    bool looksAhead = false;
};

/// A compiled pattern; empty when it is invalid.
struct Regex {
    std::unique_ptr<URegularExpression, decltype(&uregex_close)> expression{nullptr, &uregex_close};
    PatternTraits traits;
};

Regex compile(const QString& pattern, bool ignoreCase);
/// A copy for another thread.
Regex clone(const Regex& regex);

/// An invalid pattern matches nothing. A pattern with back references sees only the first 16,384 units of a
/// line, and gives up a line so repetitive that the engine could not be stopped in time. One thread at a time
/// for each `regex`.
MatchOutcome matchRegex(const Regex& regex, const QString& line, MatchBudget& budget);
/// Precondition: `text` is not empty.
std::vector<TextRange> plainRanges(const QString& line, const QString& text, Qt::CaseSensitivity sensitivity);

} // namespace korvane::matching
