#pragma once

#include <QString>

namespace korvane {

/// Asks whether a line carries the user's mark. Main thread.
class LineMarkLookup {
public:
    virtual ~LineMarkLookup() = default;
    /// `lineNum`: zero-based line index. Asked for every row that is painted: the time it takes does not grow
    /// with the number of marks.
    virtual bool hasLineMark(const QString& urlString, qint64 lineNum) const = 0;
};

} // namespace korvane
