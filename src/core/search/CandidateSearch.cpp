#include "core/search/CandidateSearch.h"

#include "core/search/SearchItem.h"

#include <QByteArray>
#include <QChar>
#include <QString>

#include <algorithm>
#include <array>
#include <bit>
#include <map>
#include <utility>

namespace korvane {
namespace {

using Units = std::vector<ByteSearch::Unit>;

/// Longest pattern in bytes: a part of the text is enough, and blocks are much larger.
constexpr std::size_t longestPattern = 256;

/// Most forms of a whole text that are searched for one by one.
constexpr std::size_t mostForms = 4;

/// The characters that equal this one when case is ignored, itself included. All of them lie in the basic
/// plane, as it does.
std::vector<char32_t> caseForms(char32_t character) {
    const char32_t folded = QChar::toCaseFolded(character);
    std::vector<char32_t> forms;
    for (char32_t other = 0; other <= 0xFFFF; ++other)
        if (QChar::toCaseFolded(other) == folded)
            forms.push_back(other);
    return forms;
}

QByteArray utf8(char32_t character) {
    return QString::fromUcs4(&character, 1).toUtf8();
}

/// Units that every one of the texts matches. Precondition: they have the same size.
Units unitsFor(const std::vector<QByteArray>& texts) {
    Units units;
    for (qsizetype i = 0; i < texts.front().size(); ++i) {
        const auto first = static_cast<std::uint8_t>(texts.front().at(i));
        std::uint8_t mask = 0;
        for (const QByteArray& text : texts)
            mask |= static_cast<std::uint8_t>(first ^ static_cast<std::uint8_t>(text.at(i)));
        units.push_back({mask, static_cast<std::uint8_t>(first | mask)});
    }
    return units;
}

/// Whether the units match nothing but the texts. Precondition: the texts are different.
bool isExact(const Units& units, std::size_t textCount) {
    int freeBits = 0;
    for (const ByteSearch::Unit unit : units)
        freeBits += std::popcount(unit.mask);
    return std::size_t{1} << freeBits == textCount;
}

/// What a character may be in the bytes of the file.
struct ByteForms {
    /// Forms of one size each; empty when the bytes are ambiguous in the encoding.
    std::vector<Units> forms;
    /// The forms match nothing else.
    bool areExact = true;
};

ByteForms byteFormsOf(QChar character, bool ignoreCase, StringEncoding number) {
    const char16_t unit = character.unicode();
    if (unit < 0x80) {
        const auto mask = static_cast<std::uint8_t>(ignoreCase && character.isLetter() ? 0x20 : 0);
        return {{{{mask, static_cast<std::uint8_t>(unit | mask)}}}};
    }
    // Invalid bytes may be shown as the replacement character.
    if (number != encoding::utf8 || character.isSurrogate() || unit == QChar::ReplacementCharacter)
        return {};
    std::map<qsizetype, std::vector<QByteArray>> texts;
    for (const char32_t form : ignoreCase ? caseForms(unit) : std::vector<char32_t>{unit})
        texts[utf8(form).size()].push_back(utf8(form));
    ByteForms result;
    for (const auto& [size, ofSize] : texts) {
        result.forms.push_back(unitsFor(ofSize));
        result.areExact &= isExact(result.forms.back(), ofSize.size());
    }
    return result;
}

} // namespace

bool CandidateSearch::keepsAsciiBytes(StringEncoding encoding) {
    constexpr std::array safe{encoding::utf8,        encoding::ascii,       encoding::isoLatin1,
                              encoding::isoLatin2,   encoding::windows1250, encoding::windows1251,
                              encoding::windows1252, encoding::windows1253, encoding::windows1254,
                              encoding::koi8r};
    return std::ranges::find(safe, encoding) != safe.end();
}

ByteSearch CandidateSearch::exactly(char32_t character) {
    return ByteSearch(unitsFor({utf8(character)}));
}

CandidateSearch::Texts CandidateSearch::textSearches(const SearchItem& item, StringEncoding encoding) {
    // Characters beyond the longest pattern would change nothing.
    const QString start = item.searchStr().left(static_cast<qsizetype>(longestPattern));
    std::vector<Units> whole{{}};
    bool isWhole = start.size() == item.searchStr().size();
    Units longest;
    Units run;
    const auto endRun = [&] {
        if (run.size() > longest.size())
            longest = run;
        run.clear();
    };
    for (const QChar character : start) {
        const auto [forms, areExact] = byteFormsOf(character, item.ignoreCase(), encoding);
        isWhole &= areExact && !forms.empty() && whole.size() * forms.size() <= mostForms;
        std::vector<Units> longer;
        for (const Units& text : whole)
            for (const Units& form : isWhole ? forms : std::vector<Units>()) {
                longer.push_back(text);
                longer.back().insert(longer.back().end(), form.begin(), form.end());
            }
        whole = std::move(longer);
        if (forms.size() != 1 || run.size() + forms.front().size() > longestPattern)
            endRun();
        if (forms.size() == 1)
            run.insert(run.end(), forms.front().begin(), forms.front().end());
    }
    endRun();
    Texts texts{.searches = {},
                .decide = isWhole,
                .hasLetterForms = item.ignoreCase() && (start.contains(u'k', Qt::CaseInsensitive) ||
                                                        start.contains(u's', Qt::CaseInsensitive))};
    if (!isWhole)
        whole = {longest};
    for (Units& text : whole)
        if (!text.empty())
            texts.searches.emplace_back(std::move(text));
    return texts;
}

const std::vector<ByteSearch>& CandidateSearch::letterForms() {
    constexpr char32_t kelvinSign = 0x212A;
    constexpr char32_t longS = 0x017F;
    static const std::vector<ByteSearch> forms{exactly(kelvinSign), exactly(longS)};
    return forms;
}

std::optional<CandidateSearch> CandidateSearch::create(const SearchItem& item, StringEncoding encoding) {
    if (item.regex() || !keepsAsciiBytes(encoding))
        return std::nullopt;
    auto [patterns, decide, hasLetterForms] = textSearches(item, encoding);
    if (patterns.empty())
        return std::nullopt;
    if (hasLetterForms)
        patterns.insert(patterns.end(), letterForms().begin(), letterForms().end());
    return CandidateSearch(std::move(patterns));
}

std::size_t CandidateSearch::overlap() const {
    std::size_t longest = 0;
    for (const ByteSearch& pattern : patterns_)
        longest = std::max(longest, pattern.size());
    return longest - 1;
}

CandidateSearch::Block::Block(const CandidateSearch& search, Direction direction, std::span<const char> bytes)
    : search_(search), direction_(direction), bytes_(bytes), found_(search.patterns_.size()) {}

std::optional<std::size_t> CandidateSearch::Block::next(std::size_t from) {
    const bool forwards = direction_ == Direction::Forwards;
    std::optional<std::size_t> nearest;
    for (std::size_t i = 0; i < found_.size(); ++i) {
        Found& found = found_[i];
        const bool isPassed = found.place && (forwards ? *found.place < from : *found.place >= from);
        if (!found.isKnown || isPassed)
            found = {true, search_.patterns_[i].find(direction_, bytes_, from)};
        if (found.place && (!nearest || (forwards ? *found.place < *nearest : *found.place > *nearest)))
            nearest = found.place;
    }
    return nearest;
}

} // namespace korvane
