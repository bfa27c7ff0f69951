#pragma once

#include "core/reader/ByteSource.h"
#include "core/reader/LineIndex.h"
#include "foundation/FileHandle.h"
#include "foundation/Mutex.h"

#include <QByteArray>
#include <QUrl>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

/// The file open at a path, where its lines start, and the bytes that rows are read from. File, index and
/// bytes are replaced together. Any thread; one writer at a time.
class IndexedFile {
public:
    /// Where rows are read from.
    enum class Storage {
        Disk,
        Memory, ///< a copy of the scanned bytes, which outlives `close`
    };
    /// A file that cannot be opened leaves it without a handle.
    IndexedFile(const QUrl& fileUrl, Storage storage);

    /// The path as bytes, not as QUrl: the last owner may be any thread, and the implicitly shared data of a
    /// QUrl would be shared with the code that opened the file.
    const QByteArray& path() const { return path_; }
    /// The open file; null when it could not be opened, and once closed.
    std::shared_ptr<FileHandle> handle() const;
    std::optional<FileHandle::Identity> identity() const;
    void close();
    bool isClosed() const { return closed_.load(std::memory_order_acquire); }

    const LineIndex& index() const { return index_; }

    /// Consecutive lines as bytes: without the newline of the last one.
    struct Lines {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        /// The published lines reach further.
        bool newlineFollows = false;
        LineEnd lineEnd{};
        /// Where each of the lines starts, if requested.
        std::vector<std::uint64_t> starts;
        /// Null for a file that is not open.
        std::shared_ptr<const ByteSource> source;
    };
    enum class Detail { Range, LineStarts };
    /// `count` published lines from the one-based number `start`, clamped to those there are. Nullopt when
    /// there are none, and while they are scanned again.
    std::optional<Lines> locate(qint64 start, qint64 count, Detail detail) const;
    std::shared_ptr<const ByteSource> source() const;

    // ---- For the scan. ----

    /// Opens what is at the path now; nothing else changes.
    Result<std::shared_ptr<FileHandle>> openAgain() const;
    /// Replaces the file and forgets all lines; false once closed.
    bool replace(std::shared_ptr<FileHandle> handle);
    void forgetLines();
    void setLineEnd(LineEnd lineEnd) { index_.setLineEnd(lineEnd); }
    /// Takes bytes and the positions of those newlines among them that are not in the index, and publishes
    /// the lines that are complete.
    void add(std::uint64_t offset, std::span<const char> bytes, std::span<const std::uint32_t> newlines);
    /// Forgets the lines that start beyond `offset`, where the last one ends now.
    void truncate(std::uint64_t offset);
    /// Publishes all lines; the last one ends at `end`.
    void publish(std::uint64_t end) { index_.publish(index_.entryCount(), end); }

private:
    /// No lines, and no bytes of them.
    void startEmpty() REQUIRES(mutex_);
    std::shared_ptr<MemoryBytes> copy() const;

    const QByteArray path_;
    const Storage storage_;
    std::atomic<bool> closed_{false};
    LineIndex index_;

    mutable SharedMutex mutex_;
    std::shared_ptr<FileHandle> handle_ GUARDED_BY(mutex_);
    std::optional<FileHandle::Identity> identity_ GUARDED_BY(mutex_);
    std::shared_ptr<MemoryBytes> copy_ GUARDED_BY(mutex_); // null for `Storage::Disk`
    std::shared_ptr<const ByteSource> source_ GUARDED_BY(mutex_);
};

} // namespace korvane
