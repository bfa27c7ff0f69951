#include "bookmarks/LineMarkList.h"

#include <unordered_set>
#include <utility>

namespace korvane {

void LineMarkList::add(std::shared_ptr<const LineMarkEntry> entry) {
    ++counts_[entry->lineNum()];
    entries_.push_back(std::move(entry));
}

void LineMarkList::removeFirstOf(const std::vector<qint64>& lineNums) {
    std::unordered_set<qint64> wanted(lineNums.begin(), lineNums.end());
    std::erase_if(entries_, [&](const auto& entry) {
        if (wanted.erase(entry->lineNum()) == 0)
            return false;
        const auto count = counts_.find(entry->lineNum());
        if (--count->second == 0)
            counts_.erase(count);
        return true;
    });
}

} // namespace korvane
