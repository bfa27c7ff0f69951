#pragma once

#include <algorithm>
#include <chrono>
#include <vector>

namespace korvane::bench {

using Clock = std::chrono::steady_clock;

inline double milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

inline double millisecondsSince(Clock::time_point start) {
    return milliseconds(Clock::now() - start);
}

/// Requires at least one value; of an even number of values the upper median.
inline double median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

} // namespace korvane::bench
