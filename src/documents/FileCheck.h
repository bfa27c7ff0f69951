#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/FileHandle.h"

#include <QByteArray>

namespace korvane {

/// What has become of an open file.
enum class FileFault : unsigned char {
    None,
    Removed,   ///< nothing stands at its path any more
    Replaced,  ///< another file stands at its path
    Truncated, ///< it is shorter than what has been indexed of it
};

/// Compares what stands at a path with the file that was opened there. May wait for a slow disk or network:
/// on a worker. `opened`: the file as it was when it was opened; `logReader`: what has been indexed of it.
FileFault checkFile(const QByteArray& path, FileHandle::Identity opened,
                    const LogFileReaderProtocol& logReader);

} // namespace korvane
