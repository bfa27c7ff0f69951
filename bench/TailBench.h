#pragma once

namespace korvane::bench {

/// Creates the file, follows it in the window and appends lines to it at random moments. Prints "median-ms
/// slowest-ms median-after-poll-ms lines interval-ms": from appending a line to its painting.
int tailDelay(int argc, char** argv, const char* path, int lines);

/// Creates the file and follows it at its end in the window, while `writer flood` appends to it. Prints
/// "longest-ms working-ms waiting-ms event-type events paintings rows-right rows-loading rows-wrong
/// catch-up-ms rows before-KiB after-KiB index-bytes writer-seconds hash", the rows being the visible ones at
/// each painting and the hash the SHA-256 of all rows as lines, or fails.
int tailFlood(int argc, char** argv, const char* path, const char* writer, const char* seconds);

/// Creates the file and follows it with 64 MiB for rows: until these are full, then for 2,000 pages more,
/// each of them loaded. Prints "before-KiB after-KiB index-bytes-before index-bytes-after pages lines".
int tailMemory(int argc, char** argv, const char* path);

} // namespace korvane::bench
