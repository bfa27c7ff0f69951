#pragma once

#include "core/search/Direction.h"

#include <QStringView>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace korvane {

/// Finds a pattern of bytes in a block, in either direction, with the widest vector instructions of the
/// machine. An immutable value; any thread.
class ByteSearch {
public:
    /// One byte of the pattern: it matches every byte with (byte | mask) == value.
    struct Unit {
        std::uint8_t mask = 0;
        std::uint8_t value = 0;
        bool equals(char byte) const { return (static_cast<std::uint8_t>(byte) | mask) == value; }
    };

    /// Precondition: the pattern is not empty.
    explicit ByteSearch(std::vector<Unit> pattern);

    /// Precondition: `text` is ASCII and not empty. Ignoring case, letters equal their ASCII counterpart and
    /// nothing else.
    static ByteSearch ofAscii(QStringView text, bool ignoreCase);

    /// Makes the search faster in bytes like these; some kilobytes are enough.
    void tuneFor(std::span<const char> sample);

    std::size_t size() const { return pattern_.size(); }
    /// Of the first byte that is beyond ASCII in every occurrence.
    std::optional<std::size_t> nonAsciiOffset() const;

    /// Forwards: the first occurrence that begins at `from` or later; backwards: the last one that begins
    /// before `from`.
    std::optional<std::size_t> find(Direction direction, std::span<const char> block, std::size_t from) const;

    /// The first occurrences that begin at `from` or later, overlapping ones too, as many as `places` has
    /// room for. Returns their number. Precondition: the block has fewer than 2^32 bytes.
    std::size_t findAll(std::span<const char> block, std::size_t from, std::span<std::uint32_t> places) const;

    /// The places where an occurrence may begin: from `begin` on and before `end`. All bytes of an occurrence
    /// there belong to the block.
    struct Places {
        const char* block;
        std::size_t begin;
        std::size_t end;
    };
    /// Returns the nearest occurrence in one direction, `places.end` if there is none.
    using Find = std::size_t (*)(const ByteSearch& search, Places places);
    /// As `findAll`.
    using FindAll = std::size_t (*)(const ByteSearch& search, Places places, std::span<std::uint32_t> found);
    /// One implementation, with the name of the instructions it needs.
    struct Implementation {
        std::string_view name;
        Find forwards;
        Find backwards;
        FindAll findAll;
        Find find(Direction direction) const {
            return direction == Direction::Forwards ? forwards : backwards;
        }
    };
    /// Those that this machine can run, the fastest first.
    static const std::vector<Implementation>& implementations();

    // For the implementations.

    /// The two units compared first: those that are rarest together.
    std::size_t rareOffset() const { return rareOffset_; }
    std::size_t secondOffset() const { return secondOffset_; }
    Unit unitAt(std::size_t offset) const { return pattern_[offset]; }
    bool isAt(const char* place) const;

private:
    /// As `isAt`, for patterns of at least one word.
    template <typename Word>
    bool areWordsAt(const char* place) const;

    std::vector<Unit> pattern_;
    /// Those of the units.
    std::vector<std::uint8_t> masks_;
    std::vector<std::uint8_t> values_;
    std::size_t rareOffset_ = 0;
    std::size_t secondOffset_ = 0;
};

} // namespace korvane
