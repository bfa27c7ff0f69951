#include "core/reader/LineIndex.h"

#include "foundation/FatalError.h"

#include <algorithm>
#include <bit>

namespace korvane {

LineIndex::LineIndex(qint64 emptyCount) : emptyCount_(emptyCount), publishedCount_(emptyCount) {
    clear();
}
LineIndex::~LineIndex() = default;

void LineIndex::appendNewlines(std::uint64_t base, std::span<const std::uint32_t> positions) {
    if (positions.empty())
        return;
    std::uint64_t last = 0;
    if (__builtin_add_overflow(base, std::uint64_t{positions.back()} + 1, &last))
        fatalError("line offset overflow");

    const WriteLock guard(mutex_);
    while (!positions.empty()) {
        const std::size_t count = std::min(positions.size(), linesPerBlock - tailCount_);
        for (std::size_t i = 0; i < count; ++i)
            tail_[tailCount_ + i] = base + positions[i] + 1;
        tailCount_ += count;
        positions = positions.subspan(count);
        if (tailCount_ == linesPerBlock)
            packTail();
    }
}

void LineIndex::packTail() {
    std::array<std::uint64_t, linesPerBlock - 1> lengths;
    std::uint64_t shortest = ~std::uint64_t{0};
    std::uint64_t longest = 0;
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        lengths[i] = tail_[i + 1] - tail_[i];
        shortest = std::min(shortest, lengths[i]);
        longest = std::max(longest, lengths[i]);
    }
    const auto bits = static_cast<unsigned>(std::bit_width(longest - shortest));

    std::uint64_t place = 0;
    std::uint64_t* word = reserveWords((lengths.size() * bits + 63) / 64, bits, place);
    std::uint64_t pending = 0;
    unsigned used = 0;
    for (const std::uint64_t length : lengths) {
        const std::uint64_t value = length - shortest;
        pending |= value << used;
        used += bits;
        if (used >= 64) {
            *word++ = pending;
            used -= 64;
            // The bits that did not fit; none if the value ended with its word.
            pending = used > 0 ? value >> (bits - used) : 0;
        }
    }
    if (used > 0)
        *word = pending;

    if (blockCount_ == segments_.size() * blocksPerSegment)
        segments_.push_back(std::make_unique<Segment>());
    (*segments_[blockCount_ / blocksPerSegment])[blockCount_ % blocksPerSegment] = {tail_[0], shortest,
                                                                                    place};
    ++blockCount_;
    lastOfBlocks_ = tail_[linesPerBlock - 1];
    tailCount_ = 0;
}

std::uint64_t* LineIndex::reserveWords(std::size_t count, unsigned bits, std::uint64_t& place) {
    if (chunks_.empty() || wordsUsed_ + count > wordsPerChunk) {
        chunks_.push_back(std::make_unique_for_overwrite<Chunk>()); // it is written before it is read
        wordsUsed_ = 0;
    }
    place = (chunks_.size() - 1) << 24 | wordsUsed_ << 8 | bits;
    std::uint64_t* const words = chunks_.back()->data() + wordsUsed_;
    wordsUsed_ += count;
    return words;
}

void LineIndex::unpack(const Block& block, std::size_t count, std::uint64_t* offsets) const {
    const auto bits = static_cast<unsigned>(block.place & 0xFF);
    const std::uint64_t mask = bits < 64 ? (std::uint64_t{1} << bits) - 1 : ~std::uint64_t{0};
    const std::uint64_t* word = chunks_[block.place >> 24]->data() + (block.place >> 8 & 0xFFFF);
    std::uint64_t offset = block.base;
    unsigned position = 0;
    for (std::size_t i = 0; i < count; ++i) {
        offsets[i] = offset;
        if (i + 1 == count)
            break;
        std::uint64_t value = 0;
        if (bits > 0) {
            value = *word >> position;
            position += bits;
            if (position >= 64) {
                ++word;
                position -= 64;
                if (position > 0)
                    value |= *word << (bits - position);
            }
        }
        offset += block.shortest + (value & mask);
    }
}

std::size_t LineIndex::entriesUpTo(std::uint64_t offset) const {
    // The block, or the tail, that holds the first entry beyond `offset`.
    std::size_t low = 0;
    std::size_t high = blockCount_;
    while (low < high) {
        const std::size_t middle = (low + high) / 2;
        if (block(middle).base <= offset)
            low = middle + 1;
        else
            high = middle;
    }
    if (low == blockCount_ && tailCount_ > 0 && tail_[0] <= offset) {
        const auto* const beyond = std::upper_bound(tail_.data(), tail_.data() + tailCount_, offset);
        return blockCount_ * linesPerBlock + static_cast<std::size_t>(beyond - tail_.data());
    }
    // low > 0: the first entry is 0, and never beyond.
    Offsets offsets;
    unpack(block(low - 1), linesPerBlock, offsets.data());
    const auto beyond = std::ranges::upper_bound(offsets, offset);
    return (low - 1) * linesPerBlock + static_cast<std::size_t>(beyond - offsets.begin());
}

qint64 LineIndex::entryCountUpTo(std::uint64_t offset) const {
    return lastOffset() <= offset ? entryCount() : static_cast<qint64>(entriesUpTo(offset));
}

void LineIndex::dropBeyond(std::uint64_t offset) {
    if (lastOffset() <= offset)
        return;
    const std::size_t entries = entriesUpTo(offset);
    const WriteLock guard(mutex_);
    keepFirst(entries);
}

void LineIndex::keepFirst(std::size_t entries) {
    const std::size_t blocks = entries / linesPerBlock;
    if (blocks < blockCount_) {
        const Block firstGone = block(blocks);
        unpack(firstGone, linesPerBlock, tail_.data());
        chunks_.resize((firstGone.place >> 24) + 1);
        wordsUsed_ = firstGone.place >> 8 & 0xFFFF;
        blockCount_ = blocks;
        segments_.resize((blocks + blocksPerSegment - 1) / blocksPerSegment);
        if (blocks > 0) {
            Offsets offsets;
            unpack(block(blocks - 1), linesPerBlock, offsets.data());
            lastOfBlocks_ = offsets.back();
        }
    }
    tailCount_ = entries % linesPerBlock;
}

void LineIndex::clear() {
    const WriteLock guard(mutex_);
    segments_.clear();
    segments_.shrink_to_fit();
    chunks_.clear();
    chunks_.shrink_to_fit();
    blockCount_ = 0;
    wordsUsed_ = 0;
    tail_[0] = 0;
    tailCount_ = 1;
    lastOfBlocks_ = 0;
    publishedEnd_ = 0;
    lineEnd_ = {};
    publishedCount_.store(emptyCount_, std::memory_order_release);
}

void LineIndex::setLineEnd(LineEnd lineEnd) {
    const WriteLock guard(mutex_);
    lineEnd_ = lineEnd;
}

void LineIndex::publish(qint64 lineCount, std::uint64_t endOffset) {
    const WriteLock guard(mutex_);
    publishedEnd_ = endOffset;
    publishedCount_.store(lineCount, std::memory_order_release);
}

std::size_t LineIndex::heapBytes() const {
    const ReadLock guard(mutex_);
    return segments_.size() * sizeof(Segment) + segments_.capacity() * sizeof(segments_[0]) +
           chunks_.size() * sizeof(Chunk) + chunks_.capacity() * sizeof(chunks_[0]) + sizeof(LineIndex);
}

LineIndex::View::View(const LineIndex& index)
    : index_(index), lock_(index.mutex_), lineCount_(index.lineCount()), endOffset_(index.publishedEnd_) {}

std::optional<std::uint64_t> LineIndex::View::start(qint64 line) const {
    if (line < 0 || line >= index_.entryCount())
        return std::nullopt;
    const std::size_t number = static_cast<std::size_t>(line) / linesPerBlock;
    const std::size_t place = static_cast<std::size_t>(line) % linesPerBlock;
    if (number == index_.blockCount_)
        return index_.tail_[place];
    Offsets offsets;
    index_.unpack(index_.block(number), place + 1, offsets.data());
    return offsets[place];
}

qint64 LineIndex::View::lineAt(std::uint64_t offset) const {
    return std::min(static_cast<qint64>(index_.entriesUpTo(offset)), lineCount_) - 1;
}

std::vector<std::uint64_t> LineIndex::View::starts(qint64 line, qint64 count) const {
    std::vector<std::uint64_t> result;
    const qint64 end = std::min(count, index_.entryCount() - line) + line;
    if (line < 0 || end <= line)
        return result;
    result.reserve(static_cast<std::size_t>(end - line));
    Offsets unpacked;
    for (auto next = static_cast<std::size_t>(line); next < static_cast<std::size_t>(end);) {
        const std::size_t number = next / linesPerBlock;
        const std::size_t first = next % linesPerBlock;
        const std::size_t last = std::min(linesPerBlock, first + static_cast<std::size_t>(end) - next);
        const std::uint64_t* offsets = index_.tail_.data();
        if (number < index_.blockCount_) {
            index_.unpack(index_.block(number), last, unpacked.data());
            offsets = unpacked.data();
        }
        result.insert(result.end(), offsets + first, offsets + last);
        next += last - first;
    }
    return result;
}

} // namespace korvane
