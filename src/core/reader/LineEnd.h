#pragma once

#include "foundation/text/StringEncoding.h"

#include <QByteArrayView>

#include <cstddef>
#include <cstdint>
#include <span>

namespace korvane {

/// The line terminator: a line feed as one unit of the file's encoding. A value; any thread.
struct LineEnd {
    /// Bytes of the unit: 1, 2 or 4.
    std::uint8_t size = 1;
    bool isBigEndian = false;

    static LineEnd of(StringEncoding encoding);

    /// Where the first one begins in bytes that start with a whole unit, searching from the unit at `from`;
    /// -1 when there is none.
    qsizetype find(QByteArrayView bytes, qsizetype from) const;
    /// Of the positions of line feed bytes in a block of whole units, keeps those that are whole units, as
    /// the position of their last byte, at the start of `positions`; returns their number.
    std::size_t keepUnits(std::span<const char> block, std::span<std::uint32_t> positions) const;

    friend bool operator==(const LineEnd&, const LineEnd&) = default;

private:
    bool isAt(const char* unit) const;
};

} // namespace korvane
