#pragma once

namespace korvane::bench {

/// Searches from the first line to the first with the text. Prints "seconds row lines mebibytes", the last
/// of them the most memory that the search had above what was in use before it.
int search(const char* path, const char* text);

} // namespace korvane::bench
