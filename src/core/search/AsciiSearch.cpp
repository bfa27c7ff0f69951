#include "core/search/AsciiSearch.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace korvane {
namespace {

/// The rank of a character by how rare it is in logs.
std::size_t rarity(QChar character) {
    constexpr std::string_view mostFrequentFirst = " e0t1a2on3ir4s5-6:7.8l9dcu/mpgf=h\"";
    const std::size_t place = mostFrequentFirst.find(character.toLower().toLatin1());
    return std::min(place, mostFrequentFirst.size());
}

bool isLetter(QChar character) {
    const char16_t lower = character.unicode() | 0x20;
    return lower >= u'a' && lower <= u'z';
}

} // namespace

AsciiSearch::AsciiSearch(QString text, Letters letters) : text_(std::move(text)), letters_(letters) {
    const auto rarest = [this](qsizetype other) {
        qsizetype best = other == 0 && text_.size() > 1 ? 1 : 0;
        for (qsizetype i = 0; i < text_.size(); ++i)
            if (i != other && rarity(text_.at(i)) > rarity(text_.at(best)))
                best = i;
        return best;
    };
    firstOffset_ = rarest(-1);
    secondOffset_ = rarest(firstOffset_);
}

AsciiSearch::Unit AsciiSearch::unitAt(qsizetype offset) const {
    const QChar unit = text_.at(offset);
    const char16_t mask = letters_ == Letters::IgnoreCase && isLetter(unit) ? 0x20 : 0;
    return {mask, static_cast<char16_t>(unit.unicode() | mask)};
}

bool AsciiSearch::isAt(const QChar* place) const {
    if (letters_ == Letters::Exact)
        return std::memcmp(place, text_.constData(),
                           static_cast<std::size_t>(text_.size()) * sizeof(QChar)) == 0;
    for (qsizetype i = 0; i < text_.size(); ++i)
        if (!unitAt(i).equals(place[i]))
            return false;
    return true;
}

qsizetype AsciiSearch::find(QStringView line, qsizetype from) const {
    const QChar* const units = line.data();
    const qsizetype last = line.size() - text_.size(); // last possible start of the text
    const Unit first = unitAt(firstOffset_);
    const Unit second = unitAt(secondOffset_);
    qsizetype start = from;
#if defined(__x86_64__)
    constexpr qsizetype width = 8;
    const auto found = [units](Unit wanted, qsizetype at) {
        const __m128i there = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + at));
        const __m128i folded = _mm_or_si128(there, _mm_set1_epi16(static_cast<short>(wanted.mask)));
        return _mm_cmpeq_epi16(folded, _mm_set1_epi16(static_cast<short>(wanted.value)));
    };
    while (last - start >= width - 1) {
        const __m128i both =
            _mm_and_si128(found(first, start + firstOffset_), found(second, start + secondOffset_));
        // There are two bits for each unit; one is enough.
        for (auto mask = static_cast<unsigned>(_mm_movemask_epi8(both)) & 0x5555U; mask != 0;
             mask &= mask - 1) {
            const qsizetype place = start + std::countr_zero(mask) / 2;
            if (isAt(units + place))
                return place;
        }
        start += width;
    }
#endif
    for (; start <= last; ++start)
        if (first.equals(units[start + firstOffset_]) && second.equals(units[start + secondOffset_]) &&
            isAt(units + start))
            return start;
    return -1;
}

bool AsciiSearch::isAscii(QStringView text) {
    const QChar* unit = text.data();
    const QChar* const end = unit + text.size();
    for (; end - unit >= 4; unit += 4) {
        std::uint64_t four = 0;
        std::memcpy(&four, unit, sizeof four);
        if (four & 0xFF80'FF80'FF80'FF80)
            return false;
    }
    return std::all_of(unit, end, [](QChar rest) { return rest.unicode() < 0x80; });
}

} // namespace korvane
