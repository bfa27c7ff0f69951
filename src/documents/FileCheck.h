#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/FileHandle.h"

#include <QByteArray>

namespace korvane {

/// Result of checking an open file.
enum class FileFault : unsigned char {
    None,
    Removed,   ///< its path no longer exists
    Replaced,  ///< another file is at its path
    Truncated, ///< it is shorter than the indexed part
};

/// Compares the file at a path with the one that was opened there. May wait for a slow disk or network: on a
/// worker. `opened`: identity when it was opened; `logReader`: the reader that has indexed it.
FileFault checkFile(const QByteArray& path, FileHandle::Identity opened,
                    const LogFileReaderProtocol& logReader);

} // namespace korvane
