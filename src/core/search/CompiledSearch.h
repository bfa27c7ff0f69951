#pragma once

#include "core/search/AsciiSearch.h"
#include "core/search/Matching.h"

#include <QString>

#include <optional>
#include <vector>

namespace korvane {

class SearchItem;

/// One line that several searches examine; caches the properties that they all need. Refers to the text. One
/// thread at a time.
class SearchedLine {
public:
    explicit SearchedLine(const QString& text) : text_(text) {}

    const QString& text() const { return text_; }
    /// With case ignored, no other characters of the line equal ASCII letters.
    bool foldsLikeAscii() const;

private:
    const QString& text_;
    mutable std::optional<bool> foldsLikeAscii_;
};

/// A search prepared for many lines, with the same matches as the item that it was made from. An immutable
/// copy of the item's values; any thread.
class CompiledSearch {
public:
    explicit CompiledSearch(const SearchItem& item);

    bool isRegex() const { return isRegex_; }

    /// The state of the search on one thread.
    class Matcher {
    public:
        /// The search must outlive the matcher.
        explicit Matcher(const CompiledSearch& search) : search_(search) {}
        /// Plain texts spend nothing of the budget, nor do lines without the required texts of a pattern.
        MatchOutcome match(const SearchedLine& line, MatchBudget& budget);
        /// As `match`, with a budget for this line alone.
        std::vector<TextRange> matchRanges(const SearchedLine& line);

    private:
        std::vector<TextRange> plainRanges(const SearchedLine& line) const;
        MatchOutcome matchRegex(const SearchedLine& line, MatchBudget& budget);

        const CompiledSearch& search_;
        std::optional<matching::Regex> regex_; // made when the first line needs it
    };

private:
    bool canRelyOnAscii(const SearchedLine& line) const { return !ignoreCase_ || line.foldsLikeAscii(); }

    QString searchStr_;
    bool ignoreCase_;
    bool isRegex_;
    matching::Regex regex_;
    /// Plain search: its text, if ASCII. Regular expression: texts of which every match contains at least
    /// one; empty if unknown.
    std::vector<AsciiSearch> texts_;
};

} // namespace korvane
