#pragma once

#include "core/reader/ContentSample.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/FileHandle.h"
#include "foundation/Mutex.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace korvane {

class FileTextDecoder;
class IndexedFile;
class ReadFaultLog;

/// Extends the index of a file by what was appended, or rebuilds it for a new file generation. Scans run one
/// at a time, reporting every 2048 bytes on the scanning thread. Any thread; a delegate must not start a scan
/// or a reset. The other parts must outlive it.
class FileScan {
public:
    FileScan(IndexedFile& file, FileTextDecoder& decoder, ReadFaultLog& faults)
        : file_(file), decoder_(decoder), faults_(faults) {}

    // As in LogFileReaderProtocol; the delegate may be null.
    LineRange refresh(LogReaderDelegate* delegate);
    void indexLines(LogReaderDelegate* delegate);
    bool isBehind();
    Status reopen();
    void reset();
    void startAgain(LogReaderDelegate& listener);

    void cancel() { cancelled_.store(true, std::memory_order_release); }
    void cancelScan() { scanCancelled_.store(true, std::memory_order_release); }
    bool isCancelled() const { return cancelled_.load(std::memory_order_acquire); }
    /// The errno that ended the last scan early; 0 when it read everything.
    int error() const { return error_.load(std::memory_order_acquire); }
    /// Nothing has been scanned since the lines were last forgotten.
    bool isUnread() const { return isUnread_; }

private:
    enum class End { Complete, Stopped };
    struct Block;
    class Buffer;

    bool isStopped() const;
    bool isScanStopped() const;
    /// Whether the reader has been cancelled; if so, the delegate learns it.
    bool reportCancel(LogReaderDelegate* delegate) const;

    LineRange bringUpToDate(LogReaderDelegate* delegate) REQUIRES(mutex_);
    End scan(LogReaderDelegate* delegate) REQUIRES(mutex_);
    /// Finds the line terminator from the start of the file, unless a line is known to have ended.
    void learnLineEnd(const FileHandle& handle) REQUIRES(mutex_);
    /// Reports a block step by step; returns the part of it that was reported before a stop.
    Block reportSteps(LogReaderDelegate& delegate, const Block& block) const;
    void take(const Block& block, std::uint64_t measuredSize) REQUIRES(mutex_);
    /// Of the newlines in a block, those whose lines the index lacks. Lines beyond the limit are known from
    /// an earlier scan; where the block differs, the index drops the lines from there on.
    std::span<const std::uint32_t> unknownNewlines(const Block& block) REQUIRES(mutex_);
    /// The file has ended at `offset`, or reading has failed there.
    void finish(std::uint64_t offset, std::uint64_t measuredSize, int error) REQUIRES(mutex_);

    bool holdsOtherContent(const FileHandle& handle) const REQUIRES(mutex_) {
        return !sample_.isStillIn(handle);
    }
    bool replaceFile(std::shared_ptr<FileHandle> handle) REQUIRES(mutex_);
    void forgetLines() REQUIRES(mutex_);
    /// Forgets everything about the file; the index is already empty.
    void startEmpty() REQUIRES(mutex_);
    /// Drops the lines that a truncated file no longer holds.
    void forgetLinesBeyond(std::uint64_t offset) REQUIRES(mutex_);
    void publishAll() REQUIRES(mutex_);

    IndexedFile& file_;
    FileTextDecoder& decoder_;
    ReadFaultLog& faults_;
    std::atomic<bool> cancelled_{false};
    std::atomic<bool> scanCancelled_{false}; // applies to the scan under way
    std::atomic<int> error_{0};              // written under mutex_
    std::atomic<bool> isUnread_{true};

    /// Also held while the index changes.
    Mutex mutex_;
    /// End of the bytes that have been indexed; the next scan starts there.
    std::uint64_t limit_ GUARDED_BY(mutex_) = 0;
    /// End of the bytes that scans have read, perhaps beyond the limit. The published lines end here.
    std::uint64_t coveredEnd_ GUARDED_BY(mutex_) = 0;
    /// Of the indexed bytes.
    ContentSample sample_ GUARDED_BY(mutex_);
    /// Stamp of the file when it was last found unchanged.
    std::optional<FileHandle::Stamp> comparedStamp_ GUARDED_BY(mutex_);
};

} // namespace korvane
