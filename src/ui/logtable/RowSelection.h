#pragma once

#include <QtGlobal>

#include <vector>

namespace korvane {

/// The selected rows of a table of any length, as sorted ranges that neither touch nor overlap.
class RowSelection {
public:
    struct Range {
        qint64 first = 0;
        qint64 last = 0;
        friend bool operator==(const Range&, const Range&) = default;
    };

    void clear() { ranges_.clear(); }
    /// Selects exactly the rows between the two, both included, in either order.
    void select(qint64 oneEnd, qint64 otherEnd);
    void add(qint64 oneEnd, qint64 otherEnd);
    void toggle(qint64 row);
    /// Removes rows from `rowCount` on.
    void limitTo(qint64 rowCount);

    bool contains(qint64 row) const;
    bool isEmpty() const { return ranges_.empty(); }
    qint64 count() const;
    const std::vector<Range>& ranges() const { return ranges_; }

private:
    std::vector<Range> ranges_;
};

} // namespace korvane
