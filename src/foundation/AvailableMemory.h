#pragma once

#include <cstdint>

namespace korvane {

/// Bytes that this process can still allocate without swapping or being refused: the minimum of free memory,
/// the rest of the limit of the process's control group, and the rest of its address space limit. The maximum
/// value if none of them can be read. Any thread.
std::uint64_t availableMemory();

} // namespace korvane
