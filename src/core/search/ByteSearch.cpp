#include "core/search/ByteSearch.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <numeric>
#include <utility>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace korvane {
namespace {

/// The rank of a unit by how rare its bytes are in logs.
std::size_t rarity(ByteSearch::Unit unit) {
    constexpr std::string_view mostFrequentFirst = " e0t1a2on3ir4s5-6:7.8l9dcu/mpgf=h\"";
    return std::min(mostFrequentFirst.find(static_cast<char>(unit.value)), mostFrequentFirst.size());
}

// The scans hand the occurrences to `take`, in their direction, until it returns true; then they return true.

template <Direction direction, typename Take>
bool scanPortably(const ByteSearch& search, ByteSearch::Places places, const Take& take) {
    for (std::size_t i = places.begin; i < places.end; ++i) {
        const std::size_t place = direction == Direction::Forwards ? i : places.end - 1 - (i - places.begin);
        if (search.isAt(places.block + place) && take(place))
            return true;
    }
    return false;
}

#if defined(__x86_64__)

/// The occurrences among the places of the bits in `mask`.
template <Direction direction, typename Take>
bool confirm(const ByteSearch& search, const char* block, std::size_t base, std::uint64_t mask,
             const Take& take) {
    while (mask != 0) {
        const int bit =
            direction == Direction::Forwards ? std::countr_zero(mask) : 63 - std::countl_zero(mask);
        const std::size_t place = base + static_cast<std::size_t>(bit);
        if (search.isAt(block + place) && take(place))
            return true;
        mask &= ~(std::uint64_t{1} << bit);
    }
    return false;
}

// A window of places is searched at once; the rest at the far end, shorter than a window, is searched
// portably.

template <Direction direction, typename Take>
bool scanWithSse2(const ByteSearch& search, ByteSearch::Places rest, const Take& take) {
    constexpr std::size_t width = 16;
    const ByteSearch::Unit rare = search.unitAt(search.rareOffset());
    const ByteSearch::Unit second = search.unitAt(search.secondOffset());
    const __m128i rareMask = _mm_set1_epi8(static_cast<char>(rare.mask));
    const __m128i rareValue = _mm_set1_epi8(static_cast<char>(rare.value));
    const __m128i secondMask = _mm_set1_epi8(static_cast<char>(second.mask));
    const __m128i secondValue = _mm_set1_epi8(static_cast<char>(second.value));
    while (rest.end - rest.begin >= width) {
        const std::size_t base = direction == Direction::Forwards ? rest.begin : rest.end - width;
        const char* const start = rest.block + base;
        const __m128i one = _mm_loadu_si128(reinterpret_cast<const __m128i*>(start + search.rareOffset()));
        const __m128i two = _mm_loadu_si128(reinterpret_cast<const __m128i*>(start + search.secondOffset()));
        const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(_mm_or_si128(one, rareMask), rareValue),
                                           _mm_cmpeq_epi8(_mm_or_si128(two, secondMask), secondValue));
        if (const auto mask = static_cast<std::uint32_t>(_mm_movemask_epi8(both)); mask != 0)
            if (confirm<direction>(search, rest.block, base, mask, take))
                return true;
        if constexpr (direction == Direction::Forwards)
            rest.begin += width;
        else
            rest.end -= width;
    }
    return scanPortably<direction>(search, rest, take);
}

template <Direction direction, typename Take>
[[gnu::target("avx2")]] bool scanWithAvx2(const ByteSearch& search, ByteSearch::Places rest,
                                          const Take& take) {
    constexpr std::size_t width = 32;
    const std::size_t rareOffset = search.rareOffset();
    const std::size_t secondOffset = search.secondOffset();
    const ByteSearch::Unit rare = search.unitAt(rareOffset);
    const ByteSearch::Unit second = search.unitAt(secondOffset);
    const __m256i rareMask = _mm256_set1_epi8(static_cast<char>(rare.mask));
    const __m256i rareValue = _mm256_set1_epi8(static_cast<char>(rare.value));
    const __m256i secondMask = _mm256_set1_epi8(static_cast<char>(second.mask));
    const __m256i secondValue = _mm256_set1_epi8(static_cast<char>(second.value));
    constexpr bool isForwards = direction == Direction::Forwards;
    constexpr std::size_t step = isForwards ? 2 * width : -2 * width;
    constexpr std::size_t stepsAhead = 12;
    while (true) {
        // Two windows at once. Nothing is called in this loop, so that the units stay in registers.
        std::size_t base = isForwards ? rest.begin : rest.end - 2 * width;
        std::size_t left = (rest.end - rest.begin) / (2 * width);
        __m256i low = _mm256_setzero_si256();
        __m256i high = low;
        for (; left > 0; --left, base += step) {
            const auto* const one = reinterpret_cast<const __m256i*>(rest.block + base + rareOffset);
            const auto* const two = reinterpret_cast<const __m256i*>(rest.block + base + secondOffset);
            _mm_prefetch(rest.block + base + stepsAhead * step, _MM_HINT_T0);
            low = _mm256_and_si256(
                _mm256_cmpeq_epi8(_mm256_or_si256(_mm256_loadu_si256(one), rareMask), rareValue),
                _mm256_cmpeq_epi8(_mm256_or_si256(_mm256_loadu_si256(two), secondMask), secondValue));
            high = _mm256_and_si256(
                _mm256_cmpeq_epi8(_mm256_or_si256(_mm256_loadu_si256(one + 1), rareMask), rareValue),
                _mm256_cmpeq_epi8(_mm256_or_si256(_mm256_loadu_si256(two + 1), secondMask), secondValue));
            const __m256i any = _mm256_or_si256(low, high);
            if (_mm256_testz_si256(any, any) == 0)
                break;
        }
        (isForwards ? rest.begin : rest.end) = isForwards ? base : base + 2 * width;
        if (left == 0)
            break;
        const auto bitsOf = [](int mask) { return std::uint64_t{static_cast<std::uint32_t>(mask)}; };
        const std::uint64_t mask = bitsOf(_mm256_movemask_epi8(low)) | bitsOf(_mm256_movemask_epi8(high))
                                                                           << width;
        if (confirm<direction>(search, rest.block, base, mask, take))
            return true;
        (isForwards ? rest.begin : rest.end) = isForwards ? base + 2 * width : base;
    }
    return scanWithSse2<direction>(search, rest, take);
}

#endif

/// What a scan is used for.
template <typename Scan>
struct Finder {
    template <Direction direction>
    static std::size_t find(const ByteSearch& search, ByteSearch::Places places) {
        std::size_t found = places.end;
        Scan::template scan<direction>(search, places, [&](std::size_t place) {
            found = place;
            return true;
        });
        return found;
    }

    static std::size_t findAll(const ByteSearch& search, ByteSearch::Places places,
                               std::span<std::uint32_t> found) {
        std::size_t count = 0;
        if (!found.empty())
            Scan::template scan<Direction::Forwards>(search, places, [&](std::size_t place) {
                found[count++] = static_cast<std::uint32_t>(place);
                return count == found.size();
            });
        return count;
    }

    static ByteSearch::Implementation named(std::string_view name) {
        return {name, &find<Direction::Forwards>, &find<Direction::Backwards>, &findAll};
    }
};

struct PortableScan {
    template <Direction direction, typename Take>
    static bool scan(const ByteSearch& search, ByteSearch::Places places, const Take& take) {
        return scanPortably<direction>(search, places, take);
    }
};

#if defined(__x86_64__)
struct Sse2Scan {
    template <Direction direction, typename Take>
    static bool scan(const ByteSearch& search, ByteSearch::Places places, const Take& take) {
        return scanWithSse2<direction>(search, places, take);
    }
};

struct Avx2Scan {
    template <Direction direction, typename Take>
    static bool scan(const ByteSearch& search, ByteSearch::Places places, const Take& take) {
        return scanWithAvx2<direction>(search, places, take);
    }
};
#endif

const ByteSearch::Implementation& best() {
    static const ByteSearch::Implementation& fastest = ByteSearch::implementations().front();
    return fastest;
}

} // namespace

ByteSearch::ByteSearch(std::vector<Unit> pattern) : pattern_(std::move(pattern)) {
    for (const Unit unit : pattern_) {
        masks_.push_back(unit.mask);
        values_.push_back(unit.value);
    }
    const auto rarest = [this](std::size_t other) {
        std::size_t best = other == 0 && pattern_.size() > 1 ? 1 : 0;
        for (std::size_t i = 0; i < pattern_.size(); ++i)
            if (i != other && rarity(pattern_[i]) > rarity(pattern_[best]))
                best = i;
        return best;
    };
    rareOffset_ = rarest(pattern_.size());
    secondOffset_ = rarest(rareOffset_);
}

void ByteSearch::tuneFor(std::span<const char> sample) {
    if (sample.size() <= size())
        return;
    constexpr std::size_t mostCandidates = 6;
    std::vector<std::size_t> offsets(size());
    std::iota(offsets.begin(), offsets.end(), 0);
    const auto count = [&](std::size_t first, std::size_t second) {
        std::size_t places = 0;
        for (std::size_t place = 0; place + size() <= sample.size(); ++place)
            places += static_cast<std::size_t>(pattern_[first].equals(sample[place + first]) &&
                                               pattern_[second].equals(sample[place + second]));
        return places;
    };
    if (offsets.size() > mostCandidates) {
        std::vector<std::size_t> counts;
        counts.reserve(offsets.size());
        for (const std::size_t offset : offsets)
            counts.push_back(count(offset, offset));
        std::ranges::stable_sort(offsets, {}, [&](std::size_t offset) { return counts[offset]; });
        offsets.resize(mostCandidates);
    }
    std::size_t least = count(rareOffset_, secondOffset_);
    for (const std::size_t first : offsets)
        for (const std::size_t second : offsets) {
            if (first >= second || least == 0)
                continue;
            if (const std::size_t places = count(first, second); places < least) {
                least = places;
                rareOffset_ = first;
                secondOffset_ = second;
            }
        }
}

ByteSearch ByteSearch::ofAscii(QStringView text, bool ignoreCase) {
    std::vector<Unit> units;
    for (const QChar character : text) {
        const auto mask = static_cast<std::uint8_t>(ignoreCase && character.isLetter() ? 0x20 : 0);
        units.push_back({mask, static_cast<std::uint8_t>(character.unicode() | mask)});
    }
    return ByteSearch(std::move(units));
}

std::optional<std::size_t> ByteSearch::nonAsciiOffset() const {
    const auto found = std::ranges::find_if(pattern_, [](Unit unit) {
        constexpr std::uint8_t highBit = 0x80;
        return (unit.value & highBit) != 0 && (unit.mask & highBit) == 0;
    });
    return found == pattern_.end() ? std::nullopt : std::optional<std::size_t>(found - pattern_.begin());
}

bool ByteSearch::isAt(const char* place) const {
    if (size() >= sizeof(std::uint64_t))
        return areWordsAt<std::uint64_t>(place);
    if (size() >= sizeof(std::uint32_t))
        return areWordsAt<std::uint32_t>(place);
    return std::ranges::all_of(pattern_, [&](Unit unit) { return unit.equals(*place++); });
}

template <typename Word>
bool ByteSearch::areWordsAt(const char* place) const {
    // The last word has some units in common with the one before it.
    const auto wordAt = [](const auto* from) {
        Word word = 0;
        std::memcpy(&word, from, sizeof(Word));
        return word;
    };
    for (std::size_t i = 0;; i = std::min(i + sizeof(Word), size() - sizeof(Word))) {
        if ((wordAt(place + i) | wordAt(masks_.data() + i)) != wordAt(values_.data() + i))
            return false;
        if (i + sizeof(Word) == size())
            return true;
    }
}

std::optional<std::size_t> ByteSearch::find(Direction direction, std::span<const char> block,
                                            std::size_t from) const {
    if (block.size() < size())
        return std::nullopt;
    Places places{block.data(), 0, block.size() - size() + 1};
    if (direction == Direction::Forwards)
        places.begin = std::min(from, places.end);
    else
        places.end = std::min(from, places.end);
    const std::size_t place = best().find(direction)(*this, places);
    return place == places.end ? std::nullopt : std::optional(place);
}

std::size_t ByteSearch::findAll(std::span<const char> block, std::size_t from,
                                std::span<std::uint32_t> places) const {
    if (block.size() < size() || from > block.size() - size())
        return 0;
    return best().findAll(*this, {block.data(), from, block.size() - size() + 1}, places);
}

const std::vector<ByteSearch::Implementation>& ByteSearch::implementations() {
    static const std::vector<Implementation> found = [] {
        std::vector<Implementation> result;
#if defined(__x86_64__)
        if (__builtin_cpu_supports("avx2"))
            result.push_back(Finder<Avx2Scan>::named("avx2"));
        result.push_back(Finder<Sse2Scan>::named("sse2"));
#endif
        result.push_back(Finder<PortableScan>::named("portable"));
        return result;
    }();
    return found;
}

} // namespace korvane
