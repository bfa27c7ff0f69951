#pragma once

#include "SlowLink.h"

#include <QString>

// Benchmarks of the program's windows with files on a server on this machine. Each returns the exit status.

namespace korvane::bench {

/// Opens the file, alternating with the reference, each over a link of this speed. Prints
/// "milliseconds-to-rows milliseconds-to-the-connection reference-milliseconds rounds" (medians).
int firstRows(const QString& path, const SlowLink::Speed& speed, int rounds);

/// Appends ten lines to the file `count` times, each time after the previous ones are on the screen, and
/// compares with the same time without growth. Prints "growths seconds bytes idle-bytes server-ms
/// idle-server-ms reference-server-ms".
int growth(const QString& path, int count);

/// Opens the file, whose first page is large, and then scrolls through that page. Prints "idle-KiB peak-KiB
/// peak-KiB-of-the-page".
int memory(const QString& path);

} // namespace korvane::bench
