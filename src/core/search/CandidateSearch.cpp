#include "core/search/CandidateSearch.h"

#include "core/search/SearchItem.h"

#include <QByteArray>
#include <QChar>
#include <QString>

#include <algorithm>
#include <array>
#include <utility>

namespace korvane {
namespace {

using Units = std::vector<ByteSearch::Unit>;

/// Longest pattern in bytes: a part of the text is enough, and blocks are much larger.
constexpr std::size_t longestPattern = 256;

/// Characters that equal an ASCII letter when case is ignored: the Kelvin sign and the long s.
constexpr char32_t kelvinSign = 0x212A;
constexpr char32_t longS = 0x017F;

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

/// The bytes of a character in the file; empty when they are ambiguous in the encoding.
Units unitsOf(QChar character, bool ignoreCase, StringEncoding number) {
    const char16_t unit = character.unicode();
    if (unit < 0x80) {
        const bool hasCases = ignoreCase && character.isLetter();
        const auto mask = static_cast<std::uint8_t>(hasCases ? 0x20 : 0);
        return {{mask, static_cast<std::uint8_t>(unit | mask)}};
    }
    // Invalid bytes may be shown as the replacement character.
    if (number != encoding::utf8 || character.isSurrogate() || unit == QChar::ReplacementCharacter)
        return {};
    std::vector<QByteArray> texts;
    for (const char32_t form : ignoreCase ? caseForms(unit) : std::vector<char32_t>{unit})
        texts.push_back(utf8(form));
    const bool sameSize = std::ranges::all_of(
        texts, [&](const QByteArray& text) { return text.size() == texts.front().size(); });
    return sameSize && !texts.empty() ? unitsFor(texts) : Units();
}

ByteSearch exactly(char32_t character) {
    return ByteSearch(unitsFor({utf8(character)}));
}

} // namespace

bool CandidateSearch::keepsAsciiBytes(StringEncoding encoding) {
    constexpr std::array safe{encoding::utf8,        encoding::ascii,       encoding::isoLatin1,
                              encoding::isoLatin2,   encoding::windows1250, encoding::windows1251,
                              encoding::windows1252, encoding::windows1253, encoding::windows1254,
                              encoding::koi8r};
    return std::ranges::find(safe, encoding) != safe.end();
}

std::optional<ByteSearch> CandidateSearch::textSearch(const SearchItem& item, StringEncoding encoding) {
    Units longest;
    Units run;
    const auto endRun = [&] {
        if (run.size() > longest.size())
            longest = run;
        run.clear();
    };
    // Characters beyond the longest pattern would change nothing.
    const QString start = item.searchStr().left(static_cast<qsizetype>(longestPattern));
    for (const QChar character : start) {
        const Units units = unitsOf(character, item.ignoreCase(), encoding);
        if (units.empty() || run.size() + units.size() > longestPattern)
            endRun();
        run.insert(run.end(), units.begin(), units.end());
    }
    endRun();
    return longest.empty() ? std::nullopt : std::optional<ByteSearch>(std::move(longest));
}

std::optional<CandidateSearch> CandidateSearch::create(const SearchItem& item, StringEncoding encoding) {
    if (item.regex() || !keepsAsciiBytes(encoding))
        return std::nullopt;
    auto text = textSearch(item, encoding);
    if (!text)
        return std::nullopt;
    std::vector<ByteSearch> patterns{std::move(*text)};
    const QString start = item.searchStr().left(static_cast<qsizetype>(longestPattern));
    if (item.ignoreCase()) {
        // Bytes that are invalid in the file's encoding are read as UTF-8, so these patterns apply to every
        // encoding.
        if (start.contains(u'k', Qt::CaseInsensitive))
            patterns.push_back(exactly(kelvinSign));
        if (start.contains(u's', Qt::CaseInsensitive))
            patterns.push_back(exactly(longS));
    }
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
