#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace korvane {

class ByteSearch;

/// The parts of a block that hold bytes beyond ASCII, to within some bytes: logs have few of them, and a text
/// with such bytes is searched for nowhere else. Refers to the block.
class NonAsciiParts {
public:
    NonAsciiParts() = default;
    explicit NonAsciiParts(std::span<const char> block);

    /// As `text.findAll`. Precondition: the text has a byte beyond ASCII. `part` is 0 at first and belongs to
    /// the text, whose `from` only grows.
    std::size_t findAll(const ByteSearch& text, std::size_t from, std::span<std::uint32_t> places,
                        std::size_t& part) const;

private:
    void add(std::size_t begin, std::size_t end);

    struct Part {
        std::size_t begin;
        std::size_t end;
    };
    std::span<const char> block_;
    std::vector<Part> parts_;
};

} // namespace korvane
