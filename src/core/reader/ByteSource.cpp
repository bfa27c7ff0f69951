#include "core/reader/ByteSource.h"

#include <algorithm>
#include <cstring>

namespace korvane {
namespace {

/// Calls `visit` with block number, place in the block, place in the bytes, and size of every piece.
template <typename Visit>
void forEachPiece(std::uint64_t offset, std::size_t size, std::size_t blockSize, Visit visit) {
    for (std::size_t done = 0; done < size;) {
        const std::size_t place = (offset + done) % blockSize;
        const std::size_t piece = std::min(size - done, blockSize - place);
        visit((offset + done) / blockSize, place, done, piece);
        done += piece;
    }
}

} // namespace

std::optional<std::size_t> MemoryBytes::read(std::uint64_t offset, std::span<char> to, int* /*error*/) const {
    const ReadLock guard(mutex_);
    const std::size_t size = std::min<std::uint64_t>(to.size(), size_ - std::min(offset, size_));
    const std::span blocks(blocks_);
    forEachPiece(offset, size, blockSize,
                 [&](std::size_t block, std::size_t place, std::size_t done, std::size_t piece) {
                     std::memcpy(to.data() + done, blocks[block].get() + place, piece);
                 });
    return size;
}

void MemoryBytes::write(std::uint64_t offset, std::span<const char> bytes) {
    const WriteLock guard(mutex_);
    const std::uint64_t end = offset + bytes.size();
    while (blocks_.size() * blockSize < end)
        blocks_.push_back(std::make_unique_for_overwrite<char[]>(blockSize));
    const std::span blocks(blocks_);
    forEachPiece(offset, bytes.size(), blockSize,
                 [&](std::size_t block, std::size_t place, std::size_t done, std::size_t piece) {
                     std::memcpy(blocks[block].get() + place, bytes.data() + done, piece);
                 });
    size_ = std::max(size_, end);
}

void MemoryBytes::truncate(std::uint64_t size) {
    const WriteLock guard(mutex_);
    size_ = std::min(size_, size);
    blocks_.resize((size_ + blockSize - 1) / blockSize);
}

} // namespace korvane
