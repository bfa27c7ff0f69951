#include "core/search/NonAsciiParts.h"

#include "core/search/ByteSearch.h"

#include <algorithm>

namespace korvane {

namespace {

/// Most bytes are passed over in long steps; a part is found in short ones.
constexpr std::size_t longStep = 256;
constexpr std::size_t shortStep = 64;
constexpr std::size_t bytesAhead = 1024;

/// In a form that the compiler makes vector instructions of.
template <std::size_t size>
bool hasNonAscii(std::span<const char, size> bytes) {
    unsigned char found = 0;
    for (const char byte : bytes)
        found |= static_cast<unsigned char>(byte);
    constexpr unsigned char highBit = 0x80;
    return (found & highBit) != 0;
}

} // namespace

NonAsciiParts::NonAsciiParts(std::span<const char> block) : block_(block) {
    std::size_t begin = 0;
    for (; block.size() - begin >= longStep; begin += longStep) {
        const auto bytes = block.subspan(begin).first<longStep>();
        for (std::size_t step = 0; step < longStep; step += shortStep)
            __builtin_prefetch(bytes.data() + step + bytesAhead);
        if (!hasNonAscii(bytes))
            continue;
        for (std::size_t step = 0; step < longStep; step += shortStep)
            if (hasNonAscii(bytes.subspan(step).first<shortStep>()))
                add(begin + step, begin + step + shortStep);
    }
    // The rest is not worth a look.
    if (begin < block.size())
        add(begin, block.size());
}

void NonAsciiParts::add(std::size_t begin, std::size_t end) {
    if (!parts_.empty() && parts_.back().end == begin)
        parts_.back().end = end;
    else
        parts_.push_back({begin, end});
}

std::size_t NonAsciiParts::findAll(const ByteSearch& text, std::size_t from, std::span<std::uint32_t> places,
                                   std::size_t& part) const {
    const std::size_t offset = *text.nonAsciiOffset();
    std::size_t count = 0;
    for (; part < parts_.size(); ++part) {
        const auto [begin, end] = parts_[part];
        if (end <= from + offset)
            continue;
        const auto bytes = block_.first(std::min(end - offset + text.size() - 1, block_.size()));
        count += text.findAll(bytes, std::max(from, begin - std::min(begin, offset)), places.subspan(count));
        if (count == places.size())
            break;
        from = end - offset;
    }
    return count;
}

} // namespace korvane
