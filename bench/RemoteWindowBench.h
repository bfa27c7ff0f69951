#pragma once

#include "SlowLink.h"

#include <QString>

// Of files on a server of this machine's own, in the program's windows. Each returns the status to exit with.

namespace korvane::bench {

/// Opens the file by turns with the reference, each over a link of the speed. Prints "milliseconds-to-rows
/// milliseconds-to-the-connection reference-milliseconds rounds" (medians).
int firstRows(const QString& path, const SlowLink::Speed& speed, int rounds);

/// Appends ten lines to the file again and again, each time once those before are on the screen, and compares
/// with as long a time without. Prints "growths seconds bytes idle-bytes server-ms idle-server-ms
/// reference-server-ms".
int growth(const QString& path, int count);

/// Opens the file, whose first page is large, and then goes through that page. Prints "idle-KiB peak-KiB
/// peak-KiB-of-the-page".
int memory(const QString& path);

} // namespace korvane::bench
