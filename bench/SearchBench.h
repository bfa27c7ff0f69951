#pragma once

namespace korvane::bench {

/// Searches from the first line to the first that contains the text. Prints "seconds row lines mebibytes",
/// the last being the peak memory of the search above the memory in use before it.
int search(const char* path, const char* text);

} // namespace korvane::bench
