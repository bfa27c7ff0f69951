#pragma once

#include "core/search/SearchItem.h"

#include <QString>

#include <random>
#include <vector>

namespace korvane::test {

using Ranges = std::vector<TextRange>;

inline SearchItem searchItem(const QString& text, bool regex, bool ignoreCase) {
    SearchItem item(text);
    item.setRegex(regex);
    item.setIgnoreCase(ignoreCase);
    return item;
}

/// The matches of a text, found by comparing it at one position of the line after the other.
inline Ranges naiveRanges(const SearchItem& item, const QString& line) {
    const qsizetype length = item.searchStr().size();
    const auto sensitivity = item.ignoreCase() ? Qt::CaseInsensitive : Qt::CaseSensitive;
    Ranges ranges;
    for (qsizetype place = 0; length > 0 && place + length <= line.size();) {
        const bool isMatch =
            QStringView(line).sliced(place, length).compare(item.searchStr(), sensitivity) == 0;
        if (isMatch)
            ranges.push_back({static_cast<int>(place), static_cast<int>(length)});
        place += isMatch ? length : 1;
    }
    return ranges;
}

/// Random texts of few different characters, so that matches, near matches and unusual case forms are
/// frequent.
class SearchCorpus {
public:
    std::size_t below(std::size_t count) { return engine_() % count; }
    template <std::size_t count>
    QString oneOf(const char16_t* const (&choices)[count]) {
        return QString::fromUtf16(choices[below(count)]);
    }
    QString text(std::size_t length) {
        QString text;
        for (; length > 0; --length)
            text += oneOf(letters);
        return text;
    }

private:
    static constexpr const char16_t* letters[] = {
        u"a", u"A",      u"b", u"k", u"K", u"\u212A", u"s",      u"S", u"\u017F", u"ß", u"ẞ",         u"f",
        u"i", u"İ",      u"ı", u"ä", u"Ä", u"å",      u"\u212B", u"σ", u"ς",      u"Σ", u"\uFB01",    u"é",
        u"1", u"\u0301", u"=", u" ", u"@", u"`",      u"[",      u"{", u"日",     u"😀", u"\U00010428"};

    std::mt19937 engine_{20240301};
};

} // namespace korvane::test
