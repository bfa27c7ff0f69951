#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace korvane {

class FileHandle;

/// The first and the last bytes of what has been read of a file, by which another content of the same length
/// or more is told from a file that has only grown. One thread at a time.
class ContentSample {
public:
    static constexpr std::size_t mostBytes = 4096;

    void clear();
    /// Takes the next bytes read. Bytes that do not follow the ones before begin another end.
    void take(std::uint64_t offset, std::span<const char> bytes);
    /// Whether the file holds these bytes where they were. What cannot be read counts as unchanged.
    bool isStillIn(const FileHandle& file) const;

private:
    std::vector<char> head_;
    std::vector<char> tail_;
    std::uint64_t end_ = 0; // where the tail ends
};

} // namespace korvane
