#pragma once

#include <cstdint>

namespace korvane::bench {

/// Runs the command `count` times concurrently over one login. Prints "seconds bytes", the bytes of all
/// outputs.
int ssh(std::uint16_t port, const char* user, const char* privateKey, const char* command, int count);

} // namespace korvane::bench
