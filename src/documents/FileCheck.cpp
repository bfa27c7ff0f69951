#include "documents/FileCheckOperation.h"

#include <cerrno>
#include <sys/stat.h>
#include <utility>

namespace korvane {

FileCheckOperation::FileCheckOperation(QByteArray path, FileHandle::Identity opened,
                                       std::shared_ptr<LogFileReaderProtocol> logReader)
    : path_(std::move(path)), opened_(opened), logReader_(std::move(logReader)) {}

void FileCheckOperation::main() {
    // Before the look at the file: a file that grows meanwhile must not look too short.
    const std::uint64_t indexedBytes = logReader_->byteCount(1, logReader_->lineCount());
    struct stat status {};
    if (::stat(path_.constData(), &status) != 0) {
        // Any other failure says nothing about the file.
        if (errno == ENOENT || errno == ENOTDIR)
            fault_ = FileFault::Removed;
        return;
    }
    const FileHandle::Identity present{static_cast<std::uint64_t>(status.st_dev),
                                       static_cast<std::uint64_t>(status.st_ino)};
    if (present != opened_)
        fault_ = FileFault::Replaced;
    else if (static_cast<std::uint64_t>(status.st_size) < indexedBytes)
        fault_ = FileFault::Truncated;
}

} // namespace korvane
