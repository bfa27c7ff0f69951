#pragma once

namespace korvane::bench {

/// Follows the file, which it makes, in the window and appends lines to it at random moments. Prints
/// "median-ms slowest-ms median-after-poll-ms lines interval-ms": from appending a line to its painting.
int tailDelay(int argc, char** argv, const char* path, int lines);

/// Follows the file, which it makes, at its end in the window, while `writer flood` adds to it. Prints
/// "longest-ms working-ms waiting-ms event-type events paintings catch-up-ms rows before-KiB after-KiB
/// index-bytes writer-seconds hash", the hash being the SHA-256 of all rows as lines, or fails.
int tailFlood(int argc, char** argv, const char* path, const char* writer, const char* seconds);

} // namespace korvane::bench
