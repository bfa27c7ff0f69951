#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace korvane {

/// Finds the line feeds of a block of bytes with the widest instructions the machine has. Any thread.
class NewlineScan {
public:
    /// Room that a block of `size` bytes needs at most: the scan writes a few positions ahead of what it has
    /// found.
    static constexpr std::size_t roomFor(std::size_t size) { return size + 8; }

    /// Writes the positions of all line feeds in `block`, ascending, to the start of `positions` and returns
    /// how many there are. `positions` must have `roomFor(block.size())` elements; what follows the result is
    /// garbage. Precondition: the block is smaller than 4 GiB.
    static std::size_t find(std::span<const char> block, std::span<std::uint32_t> positions) {
        return best().find(block.data(), block.size(), positions.data());
    }

    /// One way of searching, with the name of what it needs.
    struct Implementation {
        std::string_view name;
        std::size_t (*find)(const char* block, std::size_t size, std::uint32_t* positions);
    };
    /// Those that this machine can run, the fastest first.
    static const std::vector<Implementation>& implementations();

private:
    static const Implementation& best();
};

} // namespace korvane
