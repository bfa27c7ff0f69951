#pragma once

#include "core/search/ByteSearch.h"
#include "foundation/text/StringEncoding.h"

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

class SearchItem;

/// Finds every place in the bytes of a file where a searched text may be, without decoding: a line without
/// such a place does not contain the text. An immutable value; any thread.
class CandidateSearch {
public:
    /// Nullopt when the text cannot be located in the bytes of the encoding.
    static std::optional<CandidateSearch> create(const SearchItem& item, StringEncoding encoding);

    /// Whether in this encoding every ASCII character is its own byte, and that byte never means anything
    /// else.
    static bool keepsAsciiBytes(StringEncoding encoding);
    struct Texts {
        /// Bytes without any of these, nor of the `letterForms`, do not contain the text.
        std::vector<ByteSearch> searches;
        /// They are found only where the text is.
        bool decide = false;
        /// The text has letters for which the `letterForms` may stand.
        bool hasLetterForms = false;
    };
    /// The characters beyond ASCII that equal a letter of ASCII when case is ignored. They are UTF-8 in files
    /// of every encoding: bytes that are invalid in it are read so.
    static const std::vector<ByteSearch>& letterForms();
    /// Of a plain text; without searches when it cannot be located. Precondition: `keepsAsciiBytes`.
    static Texts textSearches(const SearchItem& item, StringEncoding encoding);
    /// Finds a character in UTF-8.
    static ByteSearch exactly(char32_t character);

    /// Bytes by which blocks must overlap so that no place is missed; small.
    std::size_t overlap() const;

    /// The places in one block, visited once in one direction. Refers to search and bytes.
    class Block {
    public:
        Block(const CandidateSearch& search, Direction direction, std::span<const char> bytes);
        /// Forwards: the first place at `from` or later; backwards: the last one before `from`. `from` only
        /// moves in the direction of the block.
        std::optional<std::size_t> next(std::size_t from);

    private:
        const CandidateSearch& search_;
        const Direction direction_;
        const std::span<const char> bytes_;
        /// The last place of each pattern: a frequent pattern does not make the others search again.
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
