#pragma once

#include "core/search/SearchItem.h"

namespace korvane {

/// How the text in a search field is meant. A value; any thread.
struct SearchSwitches {
    bool matchesCase = false;
    bool wholeWords = false;
    /// The text is a regular expression.
    bool isPattern = false;

    /// The search for a text, as its field means it; without spaces around it, except for a pattern. A
    /// pattern may be invalid: `patternFault`.
    SearchItem itemFor(const QString& text) const;
    /// For a settings file.
    int toNumber() const;
    static SearchSwitches fromNumber(int number);
    friend bool operator==(const SearchSwitches&, const SearchSwitches&) = default;
};

} // namespace korvane
