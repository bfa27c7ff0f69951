#pragma once

#include <cstdint>

namespace korvane::bench {

/// Bytes per line, including the newline. Every line begins with its own number.
inline constexpr std::uint64_t floodLineBytes = 100;

/// Appends lines to the file at this rate for this time. Returns the exit code.
int flood(const char* path, std::uint64_t bytesPerSecond, std::uint64_t seconds);

} // namespace korvane::bench
