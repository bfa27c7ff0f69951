#pragma once

#include <QString>

namespace korvane {

/// Looks up whether a line carries the user's mark. Main thread.
class LineMarkLookup {
public:
    virtual ~LineMarkLookup() = default;
    /// `lineNum`: zero-based line index. Called for every painted row: the time must not grow with the number
    /// of marks.
    virtual bool hasLineMark(const QString& urlString, qint64 lineNum) const = 0;
};

} // namespace korvane
