#pragma once

#include "core/search/ByteSearch.h"
#include "foundation/text/StringEncoding.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

class SearchItem;

/// Finds in the bytes of a file every place where a text that is searched for may stand, without decoding
/// them: a line without such a place does not hold the text. An immutable value; any thread.
class CandidateSearch {
public:
    /// Nothing when the bytes of the encoding cannot tell where the text may be.
    static std::optional<CandidateSearch> create(const SearchItem& item, StringEncoding encoding);

    /// Bytes by which blocks must overlap, so that none of their places is missed; small.
    std::size_t overlap() const;

    /// The places in one block, for one walk through it in one direction. Refers to search and bytes.
    class Block {
    public:
        Block(const CandidateSearch& search, std::span<const char> bytes);
        /// The first place at `from` or later. Never goes back: `from` only grows.
        std::optional<std::size_t> first(std::size_t from);
        /// The last place before `before`, which only shrinks.
        std::optional<std::size_t> last(std::size_t before);

    private:
        const CandidateSearch& search_;
        std::span<const char> bytes_;
        /// What each pattern found last, so that a frequent one does not make the others search again.
        struct Found {
            bool isKnown = false;
            std::optional<std::size_t> place;
        };
        std::vector<Found> found_;
    };

private:
    explicit CandidateSearch(std::vector<ByteSearch> patterns) : patterns_(std::move(patterns)) {}

    /// A place is where any of them is found.
    std::vector<ByteSearch> patterns_;
};

} // namespace korvane
