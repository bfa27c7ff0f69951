#pragma once

#include "foundation/text/AttributedString.h"

#include <QString>

#include <vector>

namespace korvane {

/// A text or pattern to search for. A reference object, held by shared pointer; changed on the main thread
/// only.
class SearchItem {
public:
    explicit SearchItem(QString searchStr) : searchStr_(std::move(searchStr)) {}

    const QString& searchStr() const { return searchStr_; }
    void setSearchStr(QString text) { searchStr_ = std::move(text); }
    bool regex() const { return regex_; }
    void setRegex(bool value) { regex_ = value; }
    bool ignoreCase() const { return ignoreCase_; }
    void setIgnoreCase(bool value) { ignoreCase_ = value; }

    /// Every match in the line, ascending and without overlap, in UTF-16 code units; without empty matches.
    std::vector<TextRange> matchRanges(const QString& line) const;
    bool matches(const QString& line) const { return !matchRanges(line).empty(); }
    friend bool operator==(const SearchItem&, const SearchItem&) = default;

private:
    QString searchStr_;
    bool regex_ = false;
    bool ignoreCase_ = true;
};

} // namespace korvane
