#pragma once

#include "core/LineChunk.h"
#include "core/reader/LogFileReaderProtocol.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

/// A sorted set of zero-based line indexes, compressed: close to the entropy of a random set, and never more
/// than a bit for each line of the file. An immutable value; copies are cheap and share their content. Any
/// thread.
class LineSet {
public:
    qint64 size() const { return size_; }
    bool isEmpty() const { return size_ == 0; }

    bool contains(qint64 line) const;
    /// Number of members before the line. O(log n).
    qint64 rank(qint64 line) const;
    /// The member with `index` members before it. Precondition: `index` lies in the set. O(log n).
    qint64 select(qint64 index) const;
    /// The first member at `line` or later.
    std::optional<qint64> next(qint64 line) const;
    /// The last member at `line` or earlier.
    std::optional<qint64> previous(qint64 line) const;
    /// The members from the one with `index` members before it, at most `count`. Cheaper than `select` for
    /// each.
    std::vector<qint64> members(qint64 index, qint64 count) const;

private:
    friend class LineSetWriter;
    friend class DerivedLineSet;

    /// Null without members.
    line_chunk::Encoded chunk(std::size_t index) const {
        return index < chunks_.size() ? chunks_[index].chunk : nullptr;
    }
    /// After changes `count` must be called. Adds or drops chunks.
    void resize(std::size_t chunkCount) { chunks_.resize(chunkCount); }
    void setChunk(std::size_t index, line_chunk::Encoded chunk) { chunks_[index].chunk = std::move(chunk); }
    void count();

    struct Place {
        /// The members among consecutive lines.
        line_chunk::Encoded chunk;
        /// Members in all chunks before.
        qint64 before = 0;
    };

    /// The chunk of the member with this index.
    std::size_t chunkOf(qint64 index) const;
    void addMembers(std::vector<qint64>& to, std::size_t chunk, qint64 index, qint64 count) const;

    std::vector<Place> chunks_;
    qint64 size_ = 0;
};

/// Builds and extends a set of lines. One thread at a time.
class LineSetWriter {
public:
    /// Replaces the members in `range` by these, which are ascending and lie in it. Ranges may come in any
    /// order; those that follow each other closely are the cheapest.
    void assign(LineRange range, std::span<const qint64> members);
    /// Makes all lines of the range members.
    void fill(LineRange range) { setAll(range, true); }
    /// Removes all members from `line` on.
    void truncate(qint64 line);

    /// The set as it is now. Costs less than a millisecond for each million lines changed since the last
    /// call.
    LineSet set();

private:
    line_chunk::Bits& open(std::size_t chunk);
    void setAll(LineRange range, bool areMembers);

    LineSet set_;
    /// Chunks that have changed since the last `set`.
    std::map<std::size_t, std::unique_ptr<line_chunk::Bits>> open_;
};

} // namespace korvane
