#pragma once

namespace korvane::bench {

/// Types endless patterns into the rules editor over a file of long lines, with the log scrolled meanwhile.
/// Prints "longest-ms working-ms waiting-ms event-type events hints": of the events of the main thread while
/// it is typed, and how many different hints were shown.
int hint(int argc, char** argv, const char* path);

} // namespace korvane::bench
