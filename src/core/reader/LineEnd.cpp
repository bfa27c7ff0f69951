#include "core/reader/LineEnd.h"

#include <algorithm>

namespace korvane {

LineEnd LineEnd::of(StringEncoding encoding) {
    const bool isLittleEndian =
        encoding == encoding::utf16LittleEndian || encoding == encoding::utf32LittleEndian;
    const int size = unitSize(encoding);
    return {static_cast<std::uint8_t>(size), size > 1 && !isLittleEndian};
}

bool LineEnd::isAt(const char* unit) const {
    const std::size_t feed = isBigEndian ? size - 1U : 0U;
    for (std::size_t i = 0; i < size; ++i)
        if (unit[i] != (i == feed ? '\n' : '\0'))
            return false;
    return true;
}

qsizetype LineEnd::find(QByteArrayView bytes, qsizetype from) const {
    if (size == 1)
        return bytes.indexOf('\n', from);
    for (qsizetype place = from; place + size <= bytes.size(); place += size)
        if (isAt(bytes.data() + place))
            return place;
    return -1;
}

std::size_t LineEnd::keepUnits(std::span<const char> block, std::span<std::uint32_t> positions) const {
    if (size == 1)
        return positions.size();
    const std::size_t feed = isBigEndian ? size - 1U : 0U;
    std::size_t kept = 0;
    for (const std::uint32_t position : positions)
        if (position % size == feed && isAt(block.data() + (position - feed)))
            positions[kept++] = static_cast<std::uint32_t>(position - feed + size - 1);
    return kept;
}

} // namespace korvane
