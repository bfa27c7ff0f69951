#pragma once

#include <cstdint>

namespace korvane {

/// Bytes that this process may still take without the machine swapping or the system refusing: the least of
/// what is free, what the process's control group leaves, and what its address space limit leaves. The
/// maximum value where none of them can be read. Any thread.
std::uint64_t availableMemory();

} // namespace korvane
