#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace korvane {

/// Finds a pattern of bytes in a block, from either end, with the widest instructions the machine has. An
/// immutable value; any thread.
class ByteSearch {
public:
    /// What stands at one place of the pattern: a byte with (byte | mask) == value.
    struct Unit {
        std::uint8_t mask = 0;
        std::uint8_t value = 0;
        bool equals(char byte) const { return (static_cast<std::uint8_t>(byte) | mask) == value; }
    };

    /// Precondition: the pattern is not empty.
    explicit ByteSearch(std::vector<Unit> pattern);

    std::size_t size() const { return pattern_.size(); }

    /// The first occurrence that begins at `from` or later.
    std::optional<std::size_t> first(std::span<const char> block, std::size_t from) const;
    /// The last occurrence that begins before `before`.
    std::optional<std::size_t> last(std::span<const char> block, std::size_t before) const;

    /// The places where an occurrence may begin: from `begin` on and before `end`. All bytes of an occurrence
    /// there belong to the block.
    struct Places {
        const char* block;
        std::size_t begin;
        std::size_t end;
    };
    /// One way of searching, with the name of what it needs. Both answer `places.end` when there is nothing.
    struct Implementation {
        std::string_view name;
        std::size_t (*first)(const ByteSearch& search, Places places);
        std::size_t (*last)(const ByteSearch& search, Places places);
    };
    /// Those that this machine can run, the fastest first.
    static const std::vector<Implementation>& implementations();

    // For the implementations.

    /// The two units looked for first: those that are rarest in logs.
    std::size_t rareOffset() const { return rareOffset_; }
    std::size_t secondOffset() const { return secondOffset_; }
    Unit unitAt(std::size_t offset) const { return pattern_[offset]; }
    bool isAt(const char* place) const;

private:
    std::vector<Unit> pattern_;
    std::size_t rareOffset_ = 0;
    std::size_t secondOffset_ = 0;
};

} // namespace korvane
