#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <map>
#include <optional>

namespace korvane {

/// Lines that are still to be examined, as ranges that neither touch nor overlap. A value type.
class LineRanges {
public:
    bool isEmpty() const { return ranges_.empty(); }
    qint64 lineCount() const;

    void add(LineRange range);
    /// Removes all lines from `line` on.
    void truncate(qint64 line);
    void clear() { ranges_.clear(); }
    /// Removes up to `count` consecutive lines that are as near as possible to `line`, on either side;
    /// nullopt without any.
    std::optional<LineRange> takeNear(qint64 line, qint64 count);

private:
    LineRange take(qint64 begin, qint64 end);

    /// Begin and end of each range.
    std::map<qint64, qint64> ranges_;
};

} // namespace korvane
