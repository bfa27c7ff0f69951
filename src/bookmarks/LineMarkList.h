#pragma once

#include "bookmarks/LineMarkEntry.h"

#include <cstddef>
#include <unordered_map>
#include <vector>

namespace korvane {

/// The marks of one file, in the order of adding. A line may be marked more than once. Main thread.
class LineMarkList {
public:
    LineMarkEntries::const_iterator begin() const { return entries_.begin(); }
    LineMarkEntries::const_iterator end() const { return entries_.end(); }
    std::size_t size() const { return entries_.size(); }
    const LineMarkEntries& entries() const { return entries_; }

    /// `lineNum`: zero-based. Takes constant time.
    bool contains(qint64 lineNum) const { return counts_.find(lineNum) != counts_.end(); }

    void add(std::shared_ptr<const LineMarkEntry> entry);
    /// Removes the first mark of each of these lines.
    void removeFirstOf(const std::vector<qint64>& lineNums);

private:
    LineMarkEntries entries_;
    /// Number of marks of each marked line.
    std::unordered_map<qint64, int> counts_;
};

} // namespace korvane
