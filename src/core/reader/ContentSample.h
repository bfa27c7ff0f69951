#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace korvane {

class FileHandle;

/// The first and the last of the bytes read from a file: they tell a file that has only grown from one with
/// another content. One thread at a time.
class ContentSample {
public:
    static constexpr std::size_t mostBytes = 4096;

    void clear();
    /// Takes the next bytes read. After a gap, the last bytes are those behind the gap.
    void take(std::uint64_t offset, std::span<const char> bytes);
    /// Whether the file holds these bytes where they were. Bytes that cannot be read count as unchanged.
    bool isStillIn(const FileHandle& file) const;

private:
    std::vector<char> head_;
    std::vector<char> tail_;
    std::uint64_t end_ = 0; // where the tail ends
};

} // namespace korvane
