#pragma once

#include "foundation/text/AttributedString.h"

#include <QString>

#include <optional>
#include <utility>
#include <vector>

namespace korvane {

/// The matches of a search in one line.
struct SearchMatch {
    /// Zero-based line index.
    qint64 row = 0;
    std::vector<TextRange> results;
};

/// The result of a search through many lines: used like the match itself, which may be absent.
struct SearchOutcome {
    SearchOutcome(std::optional<SearchMatch> found = std::nullopt) : match(std::move(found)) {}
    static SearchOutcome failed(const QString& reason) {
        SearchOutcome outcome;
        outcome.fault = reason;
        return outcome;
    }

    explicit operator bool() const { return match.has_value(); }
    /// Precondition: there is a match.
    const SearchMatch* operator->() const { return &*match; }

    std::optional<SearchMatch> match;
    /// For the user: why not all lines could be searched; empty otherwise.
    QString fault;
};

} // namespace korvane
