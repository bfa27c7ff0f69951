#include "core/LineSet.h"

#include "core/LineChunk.h"

#include <algorithm>
#include <utility>

namespace korvane {

namespace {

constexpr qint64 chunkLines = line_chunk::lines;

std::uint32_t inChunk(qint64 line) {
    return static_cast<std::uint32_t>(line % chunkLines);
}

} // namespace

bool LineSet::contains(qint64 line) const {
    return line >= 0 && rank(line + 1) > rank(line);
}

qint64 LineSet::rank(qint64 line) const {
    if (line <= 0)
        return 0;
    const auto chunk = static_cast<std::size_t>(line / chunkLines);
    if (chunk >= chunks_.size())
        return size_;
    return chunks_[chunk].before + line_chunk::rank(chunks_[chunk].chunk, inChunk(line));
}

std::size_t LineSet::chunkOf(qint64 index) const {
    // Chunks without members have the same number of members before them as the next one: the last counts.
    const auto behind = std::ranges::upper_bound(chunks_, index, {}, &Place::before);
    return static_cast<std::size_t>(behind - chunks_.begin()) - 1;
}

qint64 LineSet::select(qint64 index) const {
    const std::size_t chunk = chunkOf(index);
    const auto inside = static_cast<std::uint32_t>(index - chunks_[chunk].before);
    return static_cast<qint64>(chunk) * chunkLines + line_chunk::select(chunks_[chunk].chunk, inside);
}

std::optional<qint64> LineSet::next(qint64 line) const {
    const qint64 index = rank(line);
    return index < size_ ? std::optional(select(index)) : std::nullopt;
}

std::optional<qint64> LineSet::previous(qint64 line) const {
    const qint64 index = rank(line + 1) - 1;
    return index >= 0 ? std::optional(select(index)) : std::nullopt;
}

std::vector<qint64> LineSet::members(qint64 index, qint64 count) const {
    std::vector<qint64> result;
    const qint64 end = index + std::clamp<qint64>(count, 0, size_ - index);
    result.reserve(static_cast<std::size_t>(end - index));
    while (index < end) {
        const std::size_t chunk = chunkOf(index);
        const qint64 before = chunks_[chunk].before;
        const qint64 chunkEnd = before + line_chunk::size(chunks_[chunk].chunk);
        const qint64 number = std::min(end, chunkEnd) - index;
        addMembers(result, chunk, index - before, number);
        index += number;
    }
    return result;
}

void LineSet::addMembers(std::vector<qint64>& to, std::size_t chunk, qint64 index, qint64 count) const {
    const line_chunk::Encoded& encoded = chunks_[chunk].chunk;
    const qint64 first = static_cast<qint64>(chunk) * chunkLines;
    // Decoding a chunk takes about as long as finding so many members one by one.
    constexpr qint64 fewMembers = 256;
    if (count <= fewMembers) {
        for (qint64 i = index; i < index + count; ++i)
            to.push_back(first + line_chunk::select(encoded, static_cast<std::uint32_t>(i)));
        return;
    }
    const auto bits = std::make_unique<line_chunk::Bits>();
    line_chunk::decode(encoded, *bits);
    const qint64 end = index + count;
    qint64 at = 0;
    line_chunk::forEachBit(*bits, [&](std::uint32_t line) {
        if (at >= index && at < end)
            to.push_back(first + line);
        ++at;
    });
}

void LineSet::count() {
    size_ = 0;
    for (Place& place : chunks_) {
        place.before = size_;
        size_ += line_chunk::size(place.chunk);
    }
}

line_chunk::Bits& LineSetWriter::open(std::size_t chunk) {
    auto& found = open_[chunk];
    if (!found) {
        found = std::make_unique<line_chunk::Bits>();
        line_chunk::decode(set_.chunk(chunk), *found);
    }
    return *found;
}

void LineSetWriter::setAll(LineRange range, bool areMembers) {
    for (qint64 line = range.location; line < range.location + range.length;) {
        const qint64 end = std::min(range.location + range.length, (line / chunkLines + 1) * chunkLines);
        line_chunk::setRange(open(static_cast<std::size_t>(line / chunkLines)), inChunk(line),
                             static_cast<std::uint32_t>(end - line), areMembers);
        line = end;
    }
}

void LineSetWriter::assign(LineRange range, std::span<const qint64> members) {
    setAll(range, false);
    line_chunk::Bits* bits = nullptr;
    qint64 first = -chunkLines;
    for (const qint64 line : members) {
        if (line - first >= chunkLines) {
            first = line - line % chunkLines;
            bits = &open(static_cast<std::size_t>(line / chunkLines));
        }
        (*bits)[inChunk(line) / 64] |= std::uint64_t{1} << (line % 64);
    }
}

void LineSetWriter::truncate(qint64 line) {
    const auto chunk = static_cast<std::size_t>(line / chunkLines);
    open_.erase(open_.upper_bound(chunk), open_.end());
    if (set_.chunks_.size() > chunk + 1)
        set_.resize(chunk + 1);
    if (chunk < set_.chunks_.size() || open_.contains(chunk))
        line_chunk::setRange(open(chunk), inChunk(line), line_chunk::lines - inChunk(line), false);
}

LineSet LineSetWriter::set() {
    if (!open_.empty() && open_.rbegin()->first >= set_.chunks_.size())
        set_.resize(open_.rbegin()->first + 1);
    for (const auto& [chunk, bits] : open_)
        set_.setChunk(chunk, line_chunk::encode(*bits));
    open_.clear();
    set_.count();
    return set_;
}

} // namespace korvane
