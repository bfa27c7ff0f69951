#pragma once

#include "core/LineChunk.h"
#include "core/LineSet.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace korvane {

/// A set of lines computed from other sets, 64 lines at a time. Where these have not changed since the last
/// time, the result is taken over. One thread at a time.
class DerivedLineSet {
public:
    /// 64 consecutive lines of an input, the first in the lowest bit, and those before and after them.
    struct Window {
        std::uint64_t before = 0;
        std::uint64_t lines = 0;
        std::uint64_t after = 0;
    };
    /// The members among the same 64 lines, from the windows of all inputs.
    using Formula = std::function<std::uint64_t(std::span<const Window> inputs)>;

    explicit DerivedLineSet(Formula formula) : formula_(std::move(formula)) {}

    /// Computes the set again; members are below `lineCount`. The number of inputs is always the same.
    LineSet update(std::span<const LineSet> inputs, qint64 lineCount);

private:
    /// What a chunk of the result was computed from.
    struct Origin {
        std::vector<line_chunk::Encoded> chunks;
        std::uint32_t lineCount = 0;
        friend bool operator==(const Origin&, const Origin&) = default;
    };
    line_chunk::Encoded compute(const Origin& origin) const;

    Formula formula_;
    std::vector<Origin> origins_;
    LineSet result_;
};

/// All lines at most `distance` lines away from a member. `distance`: 0 to 63.
std::uint64_t widened(const DerivedLineSet::Window& window, int distance);
/// Members behind a line that is none.
std::uint64_t runStarts(const DerivedLineSet::Window& window);

} // namespace korvane
