#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

/// A set of line indexes below `lines`, as bits while it changes and encoded afterwards. The pieces of a
/// `LineSet`.
namespace korvane::line_chunk {

constexpr std::uint32_t lines = 1U << 20;

using Bits = std::array<std::uint64_t, lines / 64>;
/// Visits the set bits, ascending.
template <typename Visit>
void forEachBit(std::span<const std::uint64_t> words, Visit visit) {
    for (std::size_t i = 0; i < words.size(); ++i)
        for (std::uint64_t word = words[i]; word != 0; word &= word - 1)
            visit(static_cast<std::uint32_t>(i * 64 + static_cast<std::size_t>(std::countr_zero(word))));
}
/// Sets or clears `count` bits from `first` on.
void setRange(Bits& bits, std::uint32_t first, std::uint32_t count, bool isSet);

/// One immutable block on the heap; null for no lines. Any thread.
using Encoded = std::shared_ptr<const std::uint64_t[]>;

/// Takes the smallest of three forms: the members, the lines that are absent, or the bits.
Encoded encode(const Bits& bits);
/// Overwrites all bits.
void decode(const Encoded& chunk, Bits& bits);

std::uint32_t size(const Encoded& chunk);
/// Number of members before the line, which may lie behind the last one.
std::uint32_t rank(const Encoded& chunk, std::uint32_t line);
/// Precondition: `index` < size.
std::uint32_t select(const Encoded& chunk, std::uint32_t index);

} // namespace korvane::line_chunk
