#pragma once

#include "foundation/text/StringEncoding.h"

#include <QByteArrayView>

#include <cstddef>
#include <cstdint>
#include <span>

namespace korvane {

/// What ends a line: a line feed as one unit of the file's encoding. A value; any thread.
struct LineEnd {
    /// Bytes of the unit: 1, 2 or 4.
    std::uint8_t size = 1;
    bool isBigEndian = false;

    static LineEnd of(StringEncoding encoding);

    /// Where the first one begins in bytes that begin with a whole unit, looking from the whole unit at
    /// `from`; -1 when there is none.
    qsizetype find(QByteArrayView bytes, qsizetype from) const;
    /// Of the positions of line feed bytes in a block of whole units keeps those that are units, each named
    /// by its last byte, at the start of `positions`, and returns how many there are.
    std::size_t keepUnits(std::span<const char> block, std::span<std::uint32_t> positions) const;

    friend bool operator==(const LineEnd&, const LineEnd&) = default;

private:
    bool isAt(const char* unit) const;
};

} // namespace korvane
