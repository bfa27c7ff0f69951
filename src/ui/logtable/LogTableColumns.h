#pragma once

#include <QLatin1StringView>
#include <QtGlobal>

#include <cstddef>
#include <vector>

namespace korvane {

/// A column of the log table: its identifier and its width in device-independent pixels.
struct LogTableColumn {
    QLatin1StringView identifier;
    qreal width = 0;
};

/// The columns of the log table from left to right: "LineMark", "LineNum" (while line numbers are shown) and
/// "Line", which takes what is left of the table's width.
class LogTableColumns {
public:
    LogTableColumns();

    const std::vector<LogTableColumn>& all() const { return columns_; }
    std::size_t count() const { return columns_.size(); }
    /// Its place from the left; -1 when it is not shown.
    int indexOf(QLatin1StringView identifier) const;
    /// 0 when it is not shown.
    qreal width(QLatin1StringView identifier) const;
    /// The left edge of a column that is shown.
    qreal x(QLatin1StringView identifier) const;
    /// The column at an x coordinate.
    QLatin1StringView at(qreal x) const;

    void setWidth(QLatin1StringView identifier, qreal width);
    /// Removes and returns a column that is shown.
    LogTableColumn take(QLatin1StringView identifier);
    void insert(std::size_t index, const LogTableColumn& column);

private:
    std::vector<LogTableColumn> columns_;
};

} // namespace korvane
