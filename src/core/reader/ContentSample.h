#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace korvane {

class FileHandle;

/// The first and the last bytes read from a file, to distinguish a file that has only grown from a rewritten
/// one. One thread at a time.
class ContentSample {
public:
    static constexpr std::size_t mostBytes = 4096;

    void clear();
    /// Takes the next bytes read. After a gap, only bytes after the gap count as the last ones.
    void take(std::uint64_t offset, std::span<const char> bytes);
    /// Whether the file still holds these bytes at their offsets. Bytes that cannot be read count as
    /// unchanged.
    bool isStillIn(const FileHandle& file) const;

private:
    std::vector<char> head_;
    std::vector<char> tail_;
    std::uint64_t end_ = 0; // where the tail ends
};

} // namespace korvane
