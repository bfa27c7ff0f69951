#pragma once

namespace korvane::bench {

/// Types patterns with catastrophic backtracking into the rules editor over a file of long lines, while the
/// log is scrolled. Prints "longest-ms working-ms waiting-ms event-type events hints": the longest
/// main-thread event during the typing, the number of events, and the number of different hints shown.
int hint(int argc, char** argv, const char* path);

} // namespace korvane::bench
