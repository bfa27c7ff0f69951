#pragma once

#include "core/reader/LineEnd.h"
#include "foundation/Mutex.h"

#include <QtGlobal>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

/// The map from zero-based line index to the byte offset at which the line starts: dense, ascending, and
/// never without its first entry {0: 0}.
///
/// Stored as blocks of entries: a block holds its first offset and the line lengths, packed into as many bits
/// as the differences between them need. That is little more than one byte a line for a usual log, and a
/// look-up unpacks one block at most.
///
/// One thread at a time writes; any number read meanwhile. Readers see as many lines as were published last,
/// not all entries: a line count, and the offset at which the last of these lines ends.
class LineIndex {
public:
    /// `emptyCount`: the line count published while nothing has been scanned, 0 or 1.
    explicit LineIndex(qint64 emptyCount = 1);
    ~LineIndex();
    LineIndex(const LineIndex&) = delete;
    LineIndex& operator=(const LineIndex&) = delete;

    // ---- For the writer. Readers see no entry before it is published. ----

    /// Number of entries, at least 1.
    qint64 entryCount() const { return static_cast<qint64>(entries()); }
    /// Number of entries whose offset is not greater, at least 1.
    qint64 entryCountUpTo(std::uint64_t offset) const;
    /// The highest offset in the map.
    std::uint64_t lastOffset() const { return tailCount_ > 0 ? tail_[tailCount_ - 1] : lastOfBlocks_; }

    /// Adds a line start after each of the newlines at `base` + position. The starts must lie beyond the last
    /// entry and ascend; offsets that overflow are fatal.
    void appendNewlines(std::uint64_t base, std::span<const std::uint32_t> positions);
    /// Drops the entries whose offset is greater than `offset`.
    void dropBeyond(std::uint64_t offset);
    /// Back to {0: 0}, published as `emptyCount` lines that end at 0.
    void clear();
    /// The line terminator; a line feed byte at first. Only while there is no more than the first entry.
    void setLineEnd(LineEnd lineEnd);
    LineEnd lineEnd() const { return lineEnd_; }
    /// Readers see these lines from now on.
    void publish(qint64 lineCount, std::uint64_t endOffset);

    // ---- For readers, on any thread. ----

    /// The published number of lines. Takes no lock.
    qint64 lineCount() const { return publishedCount_.load(std::memory_order_acquire); }

    /// The map at one moment. Blocks the writer while it lives: release it early.
    class View {
    public:
        qint64 lineCount() const { return lineCount_; }
        /// Where the last published line ends: at its newline, or at the end of the bytes scanned.
        std::uint64_t endOffset() const { return endOffset_; }
        /// The line terminator: a line starts `size` bytes after the end of the previous one.
        LineEnd lineEnd() const { return index_.lineEnd_; }
        /// Where a line starts; nullopt when the map has no such entry.
        std::optional<std::uint64_t> start(qint64 line) const;
        /// Where `count` consecutive lines start, as far as the map has them.
        std::vector<std::uint64_t> starts(qint64 line, qint64 count) const;
        /// The line that the byte belongs to; the last one for an offset beyond it.
        qint64 lineAt(std::uint64_t offset) const;

    private:
        friend class LineIndex;
        explicit View(const LineIndex& index);
        const LineIndex& index_;
        ReadLock lock_;
        qint64 lineCount_;
        std::uint64_t endOffset_;
    };
    View view() const { return View(*this); }

    /// Bytes of memory that the map holds.
    std::size_t heapBytes() const;

private:
    static constexpr std::size_t linesPerBlock = 128;
    static constexpr std::size_t blocksPerSegment = 512;
    static constexpr std::size_t wordsPerChunk = 8192;

    struct Block {
        std::uint64_t base;
        std::uint64_t shortest;
        /// Chunk (from bit 24), word in the chunk (from bit 8), and bits a value takes.
        std::uint64_t place;
    };
    using Segment = std::array<Block, blocksPerSegment>;
    using Chunk = std::array<std::uint64_t, wordsPerChunk>;
    using Offsets = std::array<std::uint64_t, linesPerBlock>;

    std::size_t entries() const { return blockCount_ * linesPerBlock + tailCount_; }
    const Block& block(std::size_t number) const {
        return (*segments_[number / blocksPerSegment])[number % blocksPerSegment];
    }
    void packTail();
    std::uint64_t* reserveWords(std::size_t count, unsigned bits, std::uint64_t& place);
    /// Writes the first `count` offsets of a block.
    void unpack(const Block& block, std::size_t count, std::uint64_t* offsets) const;
    void keepFirst(std::size_t entries);
    /// How many entries have no greater offset; at least 1.
    std::size_t entriesUpTo(std::uint64_t offset) const;

    mutable SharedMutex mutex_;
    // Written under mutex_; the writer itself reads them without it.
    std::vector<std::unique_ptr<Segment>> segments_;
    std::vector<std::unique_ptr<Chunk>> chunks_;
    std::size_t blockCount_ = 0;
    std::size_t wordsUsed_ = 0; // in the last chunk
    Offsets tail_{};            // entries that make no full block yet
    std::size_t tailCount_ = 0;
    std::uint64_t lastOfBlocks_ = 0;
    std::uint64_t publishedEnd_ = 0;
    LineEnd lineEnd_;
    const qint64 emptyCount_;
    std::atomic<qint64> publishedCount_; // changes together with publishedEnd_
};

} // namespace korvane
