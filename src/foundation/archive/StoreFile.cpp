#include "foundation/archive/StoreFile.h"

#include "foundation/Descriptor.h"
#include "foundation/FileHandle.h"
#include "foundation/FilePath.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace korvane {
namespace {

constexpr mode_t privateFile = 0600;
constexpr mode_t privateDirectory = 0700;
/// Maximum size of a store that is read, in bytes.
constexpr std::uint64_t largestStore = 512 << 20;
/// Maximum number of names tried to find a free one.
constexpr int mostNames = 10'000;

/// `text`: with "%1" for the reason and "%2" for the path.
Error systemError(int code, const char* text, const QString& path) {
    return {code, QStringLiteral("POSIX"),
            QCoreApplication::translate("StoreFile", text)
                .arg(QString::fromLocal8Bit(std::strerror(code)), path)};
}

Error writeError(int code, const QString& path) {
    return systemError(code, QT_TRANSLATE_NOOP("StoreFile", "%1: “%2” cannot be written"), path);
}

Error readError(int code, const QString& path) {
    return systemError(code, QT_TRANSLATE_NOOP("StoreFile", "%1: “%2” cannot be read"), path);
}

bool writeAll(int descriptor, const QByteArray& content) {
    qsizetype done = 0;
    while (done < content.size()) {
        const ssize_t written =
            ::write(descriptor, content.constData() + done, static_cast<std::size_t>(content.size() - done));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return false;
        done += written;
    }
    return true;
}

/// As `mkdir -p`; sets errno on failure.
bool makeDirectory(const QString& path) {
    const QByteArray bytes = QFile::encodeName(path);
    struct stat status {};
    if (::stat(bytes.constData(), &status) == 0 && S_ISDIR(status.st_mode))
        return true;
    if (::mkdir(bytes.constData(), privateDirectory) == 0)
        return true;
    const QString parent = QFileInfo(path).path();
    if (errno != ENOENT || parent == path)
        return false;
    return makeDirectory(parent) && ::mkdir(bytes.constData(), privateDirectory) == 0;
}

/// A new file name survives a crash only if its directory is synced, too.
void syncDirectory(const QString& path) {
    const Descriptor directory(
        ::open(QFile::encodeName(path).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (directory.isOpen())
        ::fsync(directory.number());
}

QString resolvedLink(const QString& path) {
    const QString target = QFileInfo(path).canonicalFilePath();
    return target.isEmpty() ? path : target;
}

} // namespace

Result<std::optional<QByteArray>> readStoreFile(const QString& path) {
    const auto file = FileHandle::openForReading(fileUrlFromPath(QFile::encodeName(path)));
    if (!file && file.error().code == ENOENT)
        return std::optional<QByteArray>();
    if (!file)
        return file.error();
    const std::uint64_t size = file.value()->size().value_or(0);
    if (size > largestStore)
        return readError(EFBIG, path);
    QByteArray content(static_cast<qsizetype>(size), Qt::Uninitialized);
    const auto got = file.value()->read(0, {content.data(), static_cast<std::size_t>(content.size())});
    if (!got || *got != size)
        return readError(EIO, path);
    return std::optional(std::move(content));
}

Status writeStoreFile(const QString& linkPath, const QByteArray& content) {
    const QString path = resolvedLink(linkPath);
    const QString directory = QFileInfo(path).path();
    if (!makeDirectory(directory))
        return writeError(errno, path);

    QByteArray temporary = QFile::encodeName(path) + ".XXXXXX";
    Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.isOpen())
        return writeError(errno, path);
    const bool isWritten = ::fchmod(file.number(), privateFile) == 0 && writeAll(file.number(), content) &&
                           ::fsync(file.number()) == 0 && file.close() &&
                           std::rename(temporary.constData(), QFile::encodeName(path).constData()) == 0;
    if (!isWritten) {
        const int code = errno;
        ::unlink(temporary.constData());
        return writeError(code, path);
    }
    syncDirectory(directory);
    return success();
}

Status keepCopy(const QString& path) {
    const Result<std::optional<QByteArray>> content = readStoreFile(path);
    if (!content)
        return content.error();
    if (!content.value())
        return success();
    for (int number = 0; number < mostNames; ++number) {
        QString copy = path + QStringLiteral(".kept");
        if (number > 0)
            copy += QStringLiteral("-%1").arg(number);
        const QByteArray bytes = QFile::encodeName(copy);
        Descriptor file(::open(bytes.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, privateFile));
        if (!file.isOpen() && errno == EEXIST)
            continue;
        if (!file.isOpen())
            return writeError(errno, copy);
        if (writeAll(file.number(), *content.value()) && ::fsync(file.number()) == 0 && file.close()) {
            syncDirectory(QFileInfo(copy).path());
            return success();
        }
        const int code = errno;
        ::unlink(bytes.constData());
        return writeError(code, copy);
    }
    return writeError(EEXIST, path + QStringLiteral(".kept"));
}

Result<QString> setAside(const QString& path) {
    const QByteArray from = QFile::encodeName(path);
    int code = EEXIST;
    for (int number = 1; number < mostNames && code == EEXIST; ++number) {
        const QString target = path + QStringLiteral(".damaged-%1").arg(number);
        const QByteArray to = QFile::encodeName(target);
        int result = ::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE);
        if (result != 0 && errno == EINVAL) { // some file systems lack RENAME_NOREPLACE
            struct stat status {};
            const bool isTaken = ::lstat(to.constData(), &status) == 0;
            result = isTaken ? -1 : std::rename(from.constData(), to.constData());
            if (isTaken)
                errno = EEXIST;
        }
        if (result == 0) {
            syncDirectory(QFileInfo(path).path());
            return target;
        }
        code = errno;
    }
    return systemError(code, QT_TRANSLATE_NOOP("StoreFile", "%1: “%2” cannot be renamed"), path);
}

} // namespace korvane
