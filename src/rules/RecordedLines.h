#pragma once

#include <QtGlobal>

#include <bitset>
#include <unordered_map>

namespace korvane {

/// A set of line numbers, stored as blocks of bits: neighbouring lines take little memory. A value type.
class RecordedLines {
public:
    /// False when it was present already.
    bool insert(qint64 line) {
        auto bit = blocks_[line / blockSize][static_cast<std::size_t>(line % blockSize)];
        const bool isNew = !bit;
        bit = true;
        size_ += isNew;
        return isNew;
    }
    /// False when it was absent.
    bool remove(qint64 line) {
        const auto block = blocks_.find(line / blockSize);
        const auto place = static_cast<std::size_t>(line % blockSize);
        if (block == blocks_.end() || !block->second[place])
            return false;
        block->second[place] = false;
        --size_;
        return true;
    }
    void clear() {
        blocks_.clear();
        size_ = 0;
    }
    qint64 size() const { return size_; }

private:
    static constexpr qint64 blockSize = 512;
    std::unordered_map<qint64, std::bitset<blockSize>> blocks_;
    qint64 size_ = 0;
};

} // namespace korvane
