#include "core/reader/IndexedFile.h"

#include "foundation/FilePath.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// Lines by number; both one-based, `first` <= `last`.
struct LineNumbers {
    qint64 first = 0;
    qint64 last = 0;
};

/// Nullopt when no line is requested, or none exists.
std::optional<LineNumbers> clampLines(qint64 start, qint64 count, qint64 total) {
    if (count == 0 || total == 0)
        return std::nullopt;
    count = std::min(count, total);
    start = std::max<qint64>(std::min(start, total), 1);
    // A negative count gives the one line: it never reads backwards.
    const qint64 last = std::max(std::min(start + count - 1, total), start);
    return LineNumbers{start, last};
}

} // namespace

IndexedFile::IndexedFile(const QUrl& fileUrl, Storage storage)
    : path_(localPath(fileUrl)), storage_(storage), index_(storage == Storage::Memory ? 0 : 1) {
    if (auto opened = FileHandle::openForReading(fileUrl)) {
        handle_ = std::move(opened).value();
        identity_ = handle_->identity();
    }
    startEmpty();
}

void IndexedFile::startEmpty() {
    index_.clear();
    if (storage_ == Storage::Memory)
        source_ = copy_ = std::make_shared<MemoryBytes>();
    else
        source_ = handle_ ? std::make_shared<DiskBytes>(handle_) : nullptr;
}

std::shared_ptr<FileHandle> IndexedFile::handle() const {
    const ReadLock guard(mutex_);
    return handle_;
}

std::optional<FileHandle::Identity> IndexedFile::identity() const {
    const ReadLock guard(mutex_);
    return identity_;
}

std::shared_ptr<const ByteSource> IndexedFile::source() const {
    const ReadLock guard(mutex_);
    return source_;
}

std::shared_ptr<MemoryBytes> IndexedFile::copy() const {
    const ReadLock guard(mutex_);
    return copy_;
}

void IndexedFile::close() {
    closed_.store(true, std::memory_order_release);
    std::shared_ptr<FileHandle> old; // closed outside the lock
    const WriteLock guard(mutex_);
    old.swap(handle_);
    identity_.reset();
    if (storage_ == Storage::Disk)
        source_.reset();
}

Result<std::shared_ptr<FileHandle>> IndexedFile::openAgain() const {
    return FileHandle::openForReading(fileUrlFromPath(path_));
}

bool IndexedFile::replace(std::shared_ptr<FileHandle> handle) {
    std::shared_ptr<const ByteSource> old; // file and memory are released outside the lock
    const WriteLock guard(mutex_);
    if (isClosed())
        return false;
    identity_ = handle->identity();
    handle_.swap(handle);
    old = std::move(source_);
    startEmpty();
    return true;
}

void IndexedFile::forgetLines() {
    std::shared_ptr<const ByteSource> old; // released outside the lock
    const WriteLock guard(mutex_);
    old = std::move(source_);
    startEmpty();
}

void IndexedFile::add(std::uint64_t offset, std::span<const char> bytes,
                      std::span<const std::uint32_t> newlines) {
    if (const auto memory = copy()) // before the lines that need the bytes
        memory->write(offset, bytes);
    index_.appendNewlines(offset, newlines);
    // The last entry is the start of a line that is not complete. With a new newline there are no fewer lines
    // than were published before.
    if (!newlines.empty())
        index_.publish(index_.entryCount() - 1, index_.lastOffset() - index_.lineEnd().size);
}

void IndexedFile::truncate(std::uint64_t offset) {
    index_.dropBeyond(offset);
    publish(offset);
    if (const auto memory = copy())
        memory->truncate(offset);
}

std::optional<IndexedFile::Lines> IndexedFile::locate(qint64 start, qint64 count, Detail detail) const {
    const ReadLock guard(mutex_);
    const LineIndex::View view = index_.view();
    const auto numbers = clampLines(start, count, view.lineCount());
    if (!numbers)
        return std::nullopt;
    const auto begin = view.start(numbers->first - 1);
    if (!begin)
        return std::nullopt; // being scanned again
    Lines lines{*begin, view.endOffset(), false, view.lineEnd(), {}, source_};
    if (numbers->last < view.lineCount()) {
        if (const auto next = view.start(numbers->last)) {
            lines.end = *next - view.lineEnd().size;
            lines.newlineFollows = true;
        }
    }
    if (lines.end < lines.begin)
        return std::nullopt;
    if (detail == Detail::LineStarts)
        lines.starts = view.starts(numbers->first - 1, numbers->last - numbers->first + 1);
    return lines;
}

} // namespace korvane
