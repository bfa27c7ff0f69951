#include "foundation/FileHandle.h"

#include "foundation/FilePath.h"

#include <QCoreApplication>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korvane {
namespace {

Error systemError(int code, const QUrl& fileUrl) {
    return {code, QStringLiteral("POSIX"),
            QCoreApplication::translate("FileHandle", "%1: “%2” cannot be opened")
                .arg(QString::fromLocal8Bit(std::strerror(code)), displayPath(fileUrl))};
}

} // namespace

Result<std::shared_ptr<FileHandle>> FileHandle::openForReading(const QUrl& fileUrl) {
    const QByteArray path = localPath(fileUrl);
    if (path.contains('\0'))
        return systemError(ENOENT, fileUrl); // the system would open the part before the NUL
    // Non-blocking, so that a pipe that has replaced the file cannot block the caller.
    const int descriptor = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        return systemError(errno, fileUrl);
    std::shared_ptr<FileHandle> handle(new FileHandle(descriptor));
    struct stat status {};
    if (::fstat(descriptor, &status) != 0)
        return systemError(errno, fileUrl);
    if (!S_ISREG(status.st_mode))
        return systemError(S_ISDIR(status.st_mode) ? EISDIR : EINVAL, fileUrl);
    return handle;
}

FileHandle::~FileHandle() {
    ::close(descriptor_);
}

std::optional<std::uint64_t> FileHandle::size() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0)
        return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

std::optional<std::size_t> FileHandle::read(std::uint64_t offset, std::span<char> buffer, int* error) const {
    std::size_t done = 0;
    while (done < buffer.size()) {
        const ssize_t got = ::pread(descriptor_, buffer.data() + done, buffer.size() - done,
                                    static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0 && done > 0)
            break;
        if (got < 0) {
            if (error)
                *error = errno;
            return std::nullopt;
        }
        if (got == 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

std::optional<FileHandle::Stamp> FileHandle::stamp() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0)
        return std::nullopt;
    constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
    const auto nanoseconds = [](const timespec& time) {
        return time.tv_sec * nanosecondsPerSecond + time.tv_nsec;
    };
    return Stamp{static_cast<std::uint64_t>(status.st_size), nanoseconds(status.st_mtim),
                 nanoseconds(status.st_ctim)};
}

FileHandle::Identity FileHandle::identity() const {
    struct stat status {};
    if (::fstat(descriptor_, &status) != 0)
        return {};
    return {static_cast<std::uint64_t>(status.st_dev), static_cast<std::uint64_t>(status.st_ino)};
}

} // namespace korvane
