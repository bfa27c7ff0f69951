#pragma once

#include "foundation/FileHandle.h"
#include "foundation/Mutex.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

/// The bytes of one file by their offset. Any thread.
class ByteSource {
public:
    virtual ~ByteSource() = default;
    /// Reads up to `to.size()` bytes at `offset`, fewer only at the end or before a place that cannot be
    /// read. Nullopt on a read error, whose errno is stored in `error`.
    virtual std::optional<std::size_t> read(std::uint64_t offset, std::span<char> to, int* error) const = 0;
};

/// The bytes on the disk, as they are now.
class DiskBytes final : public ByteSource {
public:
    explicit DiskBytes(std::shared_ptr<const FileHandle> file) : file_(std::move(file)) {}
    std::optional<std::size_t> read(std::uint64_t offset, std::span<char> to, int* error) const override {
        return file_->read(offset, to, error);
    }

private:
    const std::shared_ptr<const FileHandle> file_;
};

/// A copy of the bytes in memory, without gaps.
class MemoryBytes final : public ByteSource {
public:
    std::optional<std::size_t> read(std::uint64_t offset, std::span<char> to, int* error) const override;
    /// Puts bytes at `offset`, which is not beyond the end. One thread at a time.
    void write(std::uint64_t offset, std::span<const char> bytes);
    /// Drops the bytes from `size` on.
    void truncate(std::uint64_t size);

private:
    static constexpr std::size_t blockSize = 256 << 10; // bytes

    mutable SharedMutex mutex_;
    std::vector<std::unique_ptr<char[]>> blocks_ GUARDED_BY(mutex_);
    std::uint64_t size_ GUARDED_BY(mutex_) = 0;
};

} // namespace korvane
