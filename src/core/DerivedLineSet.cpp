#include "core/DerivedLineSet.h"

#include <algorithm>
#include <memory>

namespace korvane {

namespace {

/// A chunk of an input with the edges of its neighbours.
struct InputChunk {
    line_chunk::Bits bits;
    std::uint64_t before = 0;
    std::uint64_t after = 0;

    DerivedLineSet::Window window(std::size_t word) const {
        return {word == 0 ? before : bits[word - 1], bits[word],
                word + 1 == bits.size() ? after : bits[word + 1]};
    }
};

/// 64 lines of a chunk, from a multiple of 64 on.
std::uint64_t wordAt(const line_chunk::Encoded& chunk, std::uint32_t firstLine) {
    std::uint64_t word = 0;
    const std::uint32_t end = line_chunk::rank(chunk, firstLine + 64);
    for (std::uint32_t i = line_chunk::rank(chunk, firstLine); i < end; ++i)
        word |= std::uint64_t{1} << (line_chunk::select(chunk, i) - firstLine);
    return word;
}

} // namespace

LineSet DerivedLineSet::update(std::span<const LineSet> inputs, qint64 lineCount) {
    const auto chunkCount = static_cast<std::size_t>((lineCount + line_chunk::lines - 1) / line_chunk::lines);
    origins_.resize(chunkCount);
    result_.resize(chunkCount);
    for (std::size_t chunk = 0; chunk < chunkCount; ++chunk) {
        const qint64 linesLeft = lineCount - static_cast<qint64>(chunk) * line_chunk::lines;
        Origin origin{{}, static_cast<std::uint32_t>(std::min<qint64>(linesLeft, line_chunk::lines))};
        origin.chunks.reserve(3 * inputs.size());
        for (const LineSet& input : inputs) {
            origin.chunks.push_back(chunk == 0 ? nullptr : input.chunk(chunk - 1));
            origin.chunks.push_back(input.chunk(chunk));
            origin.chunks.push_back(input.chunk(chunk + 1));
        }
        if (origin == origins_[chunk])
            continue;
        result_.setChunk(chunk, compute(origin));
        origins_[chunk] = std::move(origin);
    }
    result_.count();
    return result_;
}

line_chunk::Encoded DerivedLineSet::compute(const Origin& origin) const {
    const std::size_t inputCount = origin.chunks.size() / 3;
    const auto inputs = std::make_unique<InputChunk[]>(inputCount);
    for (std::size_t i = 0; i < inputCount; ++i) {
        inputs[i].before = wordAt(origin.chunks[3 * i], line_chunk::lines - 64);
        line_chunk::decode(origin.chunks[3 * i + 1], inputs[i].bits);
        inputs[i].after = wordAt(origin.chunks[3 * i + 2], 0);
    }
    const auto result = std::make_unique<line_chunk::Bits>();
    std::vector<Window> windows(inputCount);
    for (std::uint32_t first = 0; first < origin.lineCount; first += 64) {
        for (std::size_t i = 0; i < inputCount; ++i)
            windows[i] = inputs[i].window(first / 64);
        (*result)[first / 64] = formula_(windows);
    }
    line_chunk::setRange(*result, origin.lineCount, line_chunk::lines - origin.lineCount, false);
    return line_chunk::encode(*result);
}

std::uint64_t widened(const DerivedLineSet::Window& window, int distance) {
    std::uint64_t lines = window.lines;
    for (int i = 1; i <= distance; ++i)
        lines |= window.lines << i | window.lines >> i | window.before >> (64 - i) | window.after << (64 - i);
    return lines;
}

std::uint64_t runStarts(const DerivedLineSet::Window& window) {
    return window.lines & ~(window.lines << 1 | window.before >> 63);
}

} // namespace korvane
