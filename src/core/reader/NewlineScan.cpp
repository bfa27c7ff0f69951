#include "core/reader/NewlineScan.h"

#include <bit>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace korvane {
namespace {

constexpr std::size_t step = 64;

/// Adds the positions of the bits set in `mask`. Lines are rarely shorter than a third of a step, so the
/// first two are always written, which avoids a mispredicted branch.
[[gnu::always_inline]] inline std::uint32_t* addPositions(std::uint64_t mask, std::uint32_t base,
                                                          std::uint32_t* out) {
    const int count = std::popcount(mask);
    out[0] = base + static_cast<std::uint32_t>(std::countr_zero(mask));
    mask &= mask - 1;
    out[1] = base + static_cast<std::uint32_t>(std::countr_zero(mask));
    if (count > 2) [[unlikely]] {
        for (int i = 2; i < count; ++i) {
            mask &= mask - 1;
            out[i] = base + static_cast<std::uint32_t>(std::countr_zero(mask));
        }
    }
    return out + count;
}

/// Searches the rest after the whole steps.
std::size_t findInRest(const char* block, std::size_t position, std::size_t size, std::uint32_t* positions,
                       std::uint32_t* out) {
    for (; position < size; ++position)
        if (block[position] == '\n')
            *out++ = static_cast<std::uint32_t>(position);
    return static_cast<std::size_t>(out - positions);
}

std::size_t findPortably(const char* block, std::size_t size, std::uint32_t* positions) {
    std::uint32_t* out = positions;
    for (const char* hit = block; size > 0; ++hit) {
        hit = static_cast<const char*>(std::memchr(hit, '\n', size - static_cast<std::size_t>(hit - block)));
        if (!hit)
            break;
        *out++ = static_cast<std::uint32_t>(hit - block);
    }
    return static_cast<std::size_t>(out - positions);
}

#if defined(__x86_64__)
std::size_t findWithSse2(const char* block, std::size_t size, std::uint32_t* positions) {
    const __m128i newline = _mm_set1_epi8('\n');
    const auto maskAt = [&](const char* at) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
        return static_cast<std::uint64_t>(
            static_cast<std::uint32_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, newline))));
    };
    std::uint32_t* out = positions;
    std::size_t i = 0;
    for (; i + step <= size; i += step) {
        const std::uint64_t mask = maskAt(block + i) | maskAt(block + i + 16) << 16 |
                                   maskAt(block + i + 32) << 32 | maskAt(block + i + 48) << 48;
        out = addPositions(mask, static_cast<std::uint32_t>(i), out);
    }
    return findInRest(block, i, size, positions, out);
}

[[gnu::target("avx2,bmi,bmi2,popcnt")]] std::size_t findWithAvx2(const char* block, std::size_t size,
                                                                 std::uint32_t* positions) {
    const __m256i newline = _mm256_set1_epi8('\n');
    std::uint32_t* out = positions;
    std::size_t i = 0;
    for (; i + step <= size; i += step) {
        const __m256i low = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(block + i));
        const __m256i high = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(block + i + 32));
        const auto lowMask =
            static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(low, newline)));
        const auto highMask =
            static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_cmpeq_epi8(high, newline)));
        out = addPositions(lowMask | static_cast<std::uint64_t>(highMask) << 32,
                           static_cast<std::uint32_t>(i), out);
    }
    return findInRest(block, i, size, positions, out);
}

[[gnu::target("avx512f,avx512bw,bmi,bmi2,popcnt")]] std::size_t
findWithAvx512(const char* block, std::size_t size, std::uint32_t* positions) {
    const __m512i newline = _mm512_set1_epi8('\n');
    std::uint32_t* out = positions;
    std::size_t i = 0;
    for (; i + step <= size; i += step) {
        const __m512i bytes = _mm512_loadu_si512(block + i);
        out = addPositions(_mm512_cmpeq_epi8_mask(bytes, newline), static_cast<std::uint32_t>(i), out);
    }
    return findInRest(block, i, size, positions, out);
}
#endif

} // namespace

const std::vector<NewlineScan::Implementation>& NewlineScan::implementations() {
    static const std::vector<Implementation> found = [] {
        std::vector<Implementation> result;
#if defined(__x86_64__)
        if (__builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("bmi2"))
            result.push_back({"avx512bw", &findWithAvx512});
        if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2"))
            result.push_back({"avx2", &findWithAvx2});
        result.push_back({"sse2", &findWithSse2});
#endif
        result.push_back({"portable", &findPortably});
        return result;
    }();
    return found;
}

const NewlineScan::Implementation& NewlineScan::best() {
    static const Implementation& fastest = implementations().front();
    return fastest;
}

} // namespace korvane
