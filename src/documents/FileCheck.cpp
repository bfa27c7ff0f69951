#include "documents/FileCheck.h"

#include <cerrno>
#include <sys/stat.h>

namespace korvane {

FileFault checkFile(const QByteArray& path, FileHandle::Identity opened,
                    const LogFileReaderProtocol& logReader) {
    // Before `stat`: a file that grows meanwhile must not seem too short.
    const std::uint64_t indexedBytes = logReader.byteCount(1, logReader.lineCount());
    struct stat status {};
    if (::stat(path.constData(), &status) != 0) {
        // Any other failure says nothing about the file.
        return errno == ENOENT || errno == ENOTDIR ? FileFault::Removed : FileFault::None;
    }
    const FileHandle::Identity present{static_cast<std::uint64_t>(status.st_dev),
                                       static_cast<std::uint64_t>(status.st_ino)};
    if (present != opened)
        return FileFault::Replaced;
    return static_cast<std::uint64_t>(status.st_size) < indexedBytes ? FileFault::Truncated : FileFault::None;
}

} // namespace korvane
