#pragma once

#include <cstdint>

namespace korvane::bench {

/// Bytes of a line of a flood, its end included. Every line holds its own number.
inline constexpr std::uint64_t floodLineBytes = 100;

/// Appends lines to the file at the rate for the time. Returns the exit code.
int flood(const char* path, std::uint64_t bytesPerSecond, std::uint64_t seconds);

} // namespace korvane::bench
