#pragma once

#include <cstdint>

namespace korvane::bench {

/// Runs the command so many times at once over one login. Prints "seconds bytes", of all outputs together.
int ssh(std::uint16_t port, const char* user, const char* privateKey, const char* command, int count);

} // namespace korvane::bench
