#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace korvane {

/// A regular file open for reading at given positions only, so that any number of threads can share it.
class FileHandle {
public:
    /// Fails with the system's errno when the file cannot be opened or is not a regular file.
    static Result<std::shared_ptr<FileHandle>> openForReading(const QUrl& fileUrl);

    ~FileHandle();
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;

    /// The present size in bytes; nullopt if the system cannot tell.
    std::optional<std::uint64_t> size() const;

    /// Reads up to `buffer.size()` bytes at `offset`; less only at the end of the file or before an
    /// unreadable place. Nullopt on a read error, whose errno goes to `error` if given.
    std::optional<std::size_t> read(std::uint64_t offset, std::span<char> buffer, int* error = nullptr) const;

    /// Device and inode: they differ when a path holds another file.
    struct Identity {
        std::uint64_t device = 0;
        std::uint64_t inode = 0;
        friend bool operator==(const Identity&, const Identity&) = default;
    };
    Identity identity() const;

    /// Changes whenever the content changes, except within one tick of the file system's clock.
    struct Stamp {
        std::uint64_t size = 0;
        std::int64_t modifiedNanoseconds = 0;
        /// Last change of content or attributes; unlike the modification time it cannot be set back.
        std::int64_t changedNanoseconds = 0;
        friend bool operator==(const Stamp&, const Stamp&) = default;
    };
    /// Nullopt if the system cannot tell.
    std::optional<Stamp> stamp() const;

    int descriptor() const { return descriptor_; }

private:
    explicit FileHandle(int descriptor) : descriptor_(descriptor) {}
    const int descriptor_;
};

} // namespace korvane
