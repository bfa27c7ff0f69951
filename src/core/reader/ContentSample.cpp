#include "core/reader/ContentSample.h"

#include "foundation/FileHandle.h"

#include <algorithm>
#include <array>

namespace korvane {
namespace {

bool holds(const FileHandle& file, std::uint64_t offset, std::span<const char> expected) {
    std::array<char, ContentSample::mostBytes> present;
    const auto got = file.read(offset, std::span(present).first(expected.size()));
    return !got || std::ranges::equal(std::span(present).first(*got), expected);
}

} // namespace

void ContentSample::clear() {
    head_.clear();
    tail_.clear();
    end_ = 0;
}

void ContentSample::take(std::uint64_t offset, std::span<const char> bytes) {
    if (bytes.empty())
        return;
    if (offset == head_.size() && head_.size() < mostBytes) {
        const auto first = bytes.first(std::min(bytes.size(), mostBytes - head_.size()));
        head_.insert(head_.end(), first.begin(), first.end());
    }
    if (offset != end_)
        tail_.clear();
    end_ = offset + bytes.size();
    const auto last = bytes.last(std::min(bytes.size(), mostBytes));
    const std::size_t kept = std::min(tail_.size(), mostBytes - last.size());
    tail_.erase(tail_.begin(), tail_.end() - static_cast<std::ptrdiff_t>(kept));
    tail_.insert(tail_.end(), last.begin(), last.end());
}

bool ContentSample::isStillIn(const FileHandle& file) const {
    return holds(file, 0, head_) && holds(file, end_ - tail_.size(), tail_);
}

} // namespace korvane
