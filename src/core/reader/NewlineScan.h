#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace korvane {

/// Finds the line feeds of a block of bytes with the widest vector instructions of the machine. Any thread.
class NewlineScan {
public:
    /// Elements that `find` needs for a block of `size` bytes: it writes a few positions ahead.
    static constexpr std::size_t roomFor(std::size_t size) { return size + 8; }

    /// Writes the positions of all line feeds in `block`, ascending, to the start of `positions` and returns
    /// their number. `positions` must have `roomFor(block.size())` elements; those after the result are
    /// undefined. Precondition: the block is smaller than 4 GiB.
    static std::size_t find(std::span<const char> block, std::span<std::uint32_t> positions) {
        return best().find(block.data(), block.size(), positions.data());
    }

    /// One implementation, with the name of the instructions it needs.
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
