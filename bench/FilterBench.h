#pragma once

namespace korvane::bench {

/// Fills the sets of lines of several searches, ignoring case; `kind`: "text" or "pattern". Prints the
/// seconds, and the number of lines that match any of them.
int filter(const char* path, const char* kind, int count, char** searches);

/// Builds a set of random lines piece by piece. Prints the bytes of heap that it takes for each of them.
int lineSet(double density);

} // namespace korvane::bench
