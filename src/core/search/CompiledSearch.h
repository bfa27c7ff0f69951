#pragma once

#include "core/search/AsciiSearch.h"
#include "core/search/Matching.h"

#include <QString>

#include <optional>
#include <vector>

namespace korvane {

class SearchItem;

/// One line that several searches look at: what they all want to know of it is found out once. Refers to the
/// text. One thread at a time.
class SearchedLine {
public:
    explicit SearchedLine(const QString& text) : text_(text) {}

    const QString& text() const { return text_; }
    /// No character of the line equals ASCII letters when case is ignored, save those letters themselves.
    bool foldsLikeAscii() const;

private:
    const QString& text_;
    mutable std::optional<bool> foldsLikeAscii_;
};

/// A search made ready for many lines: it finds in each exactly what the item finds that it was made from.
/// An immutable copy of the item's values; any thread.
class CompiledSearch {
public:
    explicit CompiledSearch(const SearchItem& item);

    bool isRegex() const { return isRegex_; }

    /// What one thread needs to run the search.
    class Matcher {
    public:
        /// The search must outlive the matcher.
        explicit Matcher(const CompiledSearch& search) : search_(search) {}
        /// Texts cost nothing that is counted, nor does a line that holds none of what a pattern requires.
        MatchOutcome match(const SearchedLine& line, MatchBudget& budget);
        /// With a budget of the line's own.
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
    /// A plain search: its text, if it is ASCII. A regular expression: texts of which every match holds one;
    /// empty when nothing is known.
    std::vector<AsciiSearch> texts_;
};

} // namespace korvane
