#include "core/reader/FileScan.h"

#include "core/reader/FileTextDecoder.h"
#include "core/reader/IndexedFile.h"
#include "core/reader/NewlineScan.h"
#include "core/reader/ReadFaultLog.h"
#include "foundation/FatalError.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <utility>
#include <vector>

namespace korvane {
namespace {

/// Bytes after which a scan reports progress and checks for a cancel.
constexpr std::size_t stepSize = 2048;
/// Bytes read at once; fewer at first, so that the first lines show early.
constexpr std::size_t firstFetchSize = 32 * stepSize;
constexpr std::size_t fetchSize = 128 * stepSize;
/// Changes of a file that are further apart have different times.
constexpr auto longestFileClockStep = std::chrono::seconds(3);

} // namespace

/// Consecutive bytes of the file and the positions of the newlines among them.
struct FileScan::Block {
    std::uint64_t offset = 0;
    std::span<const char> bytes;
    std::span<const std::uint32_t> newlines;
    int error = 0; // errno; then there are no bytes
};

/// Reads the blocks of one scan.
class FileScan::Buffer {
public:
    /// Empty at the end of the file and on an error. Valid until the next call.
    Block read(const FileHandle& handle, std::uint64_t offset, LineEnd lineEnd) {
        Block block{offset, {}, {}, 0};
        const std::size_t wanted = std::exchange(nextSize_, fetchSize);
        const std::size_t got = handle.read(offset, {bytes_.get(), wanted}, &block.error).value_or(0);
        block.bytes = {bytes_.get(), got - got % lineEnd.size};
        const std::size_t found =
            NewlineScan::find(block.bytes, {positions_.get(), NewlineScan::roomFor(block.bytes.size())});
        block.newlines = {positions_.get(), lineEnd.keepUnits(block.bytes, {positions_.get(), found})};
        return block;
    }

private:
    const std::unique_ptr<char[]> bytes_ = std::make_unique_for_overwrite<char[]>(fetchSize);
    const std::unique_ptr<std::uint32_t[]> positions_ =
        std::make_unique_for_overwrite<std::uint32_t[]>(NewlineScan::roomFor(fetchSize));
    std::size_t nextSize_ = firstFetchSize;
};

bool FileScan::isStopped() const {
    return isCancelled() || file_.isClosed();
}

bool FileScan::isScanStopped() const {
    return isStopped() || scanCancelled_.load(std::memory_order_acquire);
}

bool FileScan::reportCancel(LogReaderDelegate* delegate) const {
    const bool wasCancelled = isCancelled();
    if (wasCancelled && delegate)
        delegate->readerDidCancel();
    return wasCancelled;
}

LineRange FileScan::refresh(LogReaderDelegate* delegate) {
    const MutexLock guard(mutex_);
    try {
        return bringUpToDate(delegate);
    } catch (const std::exception&) {
        forgetLines(); // a block may have been taken in part
        throw;
    }
}

LineRange FileScan::bringUpToDate(LogReaderDelegate* delegate) {
    if (reportCancel(delegate))
        return {};
    const LineIndex& index = file_.index();
    const auto handle = file_.handle();
    const qint64 oldCount = index.entryCountUpTo(limit_);
    const auto measured = handle ? handle->size() : std::nullopt;
    const std::uint64_t newSize = measured.value_or(limit_);
    if (delegate)
        delegate->readerDidStart(newSize);

    LineRange changed{std::max<qint64>(oldCount - 1, 0), 0};
    const bool wasCut = measured && newSize < coveredEnd_;
    const std::uint64_t oldLimit = limit_;
    End end = End::Complete;
    if (newSize < limit_ || (handle && holdsOtherContent(*handle))) {
        forgetLines();
        decoder_.forgetDetection();
        if (delegate)
            delegate->readerDidForgetLines();
        end = scan(delegate);
        changed = {0, index.entryCount()};
    } else if (limit_ < newSize || wasCut) {
        if (wasCut)
            forgetLinesBeyond(newSize);
        end = scan(delegate);
        // Unreadable bytes add nothing, however often reading is tried.
        if (wasCut || limit_ != oldLimit || index.entryCount() != oldCount)
            changed.length = index.entryCount() - changed.location;
    } else {
        error_.store(0, std::memory_order_release);
        publishAll();
    }
    if (end == End::Stopped)
        return isStopped() ? LineRange{} : changed;
    if (reportCancel(delegate))
        return {};
    if (delegate)
        delegate->readerDidFinish();
    return changed;
}

bool FileScan::isBehind() {
    const MutexLock guard(mutex_);
    const auto handle = file_.handle();
    const auto stamp = handle && !isStopped() ? handle->stamp() : std::nullopt;
    if (!stamp)
        return false;
    if (stamp->size != limit_)
        return true;
    if (stamp == comparedStamp_)
        return false;
    if (holdsOtherContent(*handle))
        return true;
    // The clock of the file system moves in steps: for a while, another change may leave the same time.
    using namespace std::chrono;
    const auto now = duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count();
    if (now - std::max(stamp->modifiedNanoseconds, stamp->changedNanoseconds) >
        nanoseconds(longestFileClockStep).count())
        comparedStamp_ = stamp;
    return false;
}

Status FileScan::reopen() {
    auto opened = file_.openAgain();
    if (!opened)
        return opened.error();
    const MutexLock guard(mutex_);
    if (!replaceFile(std::move(opened).value()))
        return Error{EBADF, QStringLiteral("POSIX"), {}};
    return success();
}

void FileScan::reset() {
    const MutexLock guard(mutex_);
    cancelled_.store(false, std::memory_order_release);
    forgetLines();
}

void FileScan::startAgain(LogReaderDelegate& listener) {
    auto opened = file_.openAgain();
    const MutexLock guard(mutex_);
    cancelled_.store(false, std::memory_order_release);
    const auto before = file_.handle();
    const std::shared_ptr<FileHandle> present = opened ? std::move(opened).value() : before;
    const bool isOther = before && (present->identity() != before->identity() ||
                                    present->size().value_or(limit_) < limit_ || holdsOtherContent(*present));
    if (present == before || !replaceFile(present))
        forgetLines();
    if (isOther)
        listener.readerDidForgetLines();
}

bool FileScan::replaceFile(std::shared_ptr<FileHandle> handle) {
    isUnread_ = true; // first: lines counted from here on need not exist in the file
    if (!file_.replace(std::move(handle)))
        return false;
    decoder_.forgetDetection();
    startEmpty();
    faults_.forget(ReadFaultLog::Task::Scan);
    faults_.forget(ReadFaultLog::Task::Rows);
    return true;
}

void FileScan::forgetLines() {
    isUnread_ = true; // first, as above
    file_.forgetLines();
    startEmpty();
}

void FileScan::startEmpty() {
    limit_ = 0;
    coveredEnd_ = 0;
    sample_.clear();
    comparedStamp_.reset();
    error_.store(0, std::memory_order_release);
}

void FileScan::indexLines(LogReaderDelegate* delegate) {
    const MutexLock guard(mutex_);
    scan(delegate);
}

FileScan::End FileScan::scan(LogReaderDelegate* delegate) {
    const auto handle = file_.handle();
    if (!handle)
        return End::Complete;
    const std::uint64_t size = handle->size().value_or(limit_);
    learnLineEnd(*handle);
    const LineEnd lineEnd = file_.index().lineEnd();
    // A file truncated during the last scan may have been read less far than measured.
    const std::uint64_t known = std::min(limit_, coveredEnd_);
    // Bytes of an incomplete unit are read again.
    std::uint64_t offset = known - known % lineEnd.size;
    Buffer buffer;
    scanCancelled_.store(false, std::memory_order_release);
    while (!isScanStopped()) {
        const Block block = buffer.read(*handle, offset, lineEnd);
        if (block.bytes.empty()) {
            if (delegate)
                delegate->readerDidReadBytes(0);
            finish(offset, size, block.error);
            return End::Complete;
        }
        const Block reported = delegate ? reportSteps(*delegate, block) : block;
        take(reported, size);
        if (__builtin_add_overflow(offset, reported.bytes.size(), &offset))
            fatalError("file offset overflow");
        coveredEnd_ = std::max(coveredEnd_, offset);
    }
    if (!isStopped())
        limit_ = offset; // only the scan was cancelled: the lines found so far stay readable
    publishAll();
    if (delegate)
        delegate->readerDidCancel();
    return End::Stopped;
}

void FileScan::finish(std::uint64_t offset, std::uint64_t measuredSize, int error) {
    if (error != 0)
        faults_.report(ReadFaultLog::Task::Scan, offset, error);
    else
        faults_.forget(ReadFaultLog::Task::Scan);
    limit_ = error != 0 ? std::min(measuredSize, offset) : measuredSize;
    if (error == 0 && offset < coveredEnd_)
        forgetLinesBeyond(offset);
    publishAll();
    error_.store(error, std::memory_order_release);
}

void FileScan::learnLineEnd(const FileHandle& handle) {
    if (file_.index().entryCount() > 1)
        return;
    std::vector<char> start(firstFetchSize);
    const std::size_t known = handle.read(0, start).value_or(0);
    file_.setLineEnd(decoder_.lineEndFor({start.data(), static_cast<qsizetype>(known)}));
}

FileScan::Block FileScan::reportSteps(LogReaderDelegate& delegate, const Block& block) const {
    qint64 count = file_.index().entryCountUpTo(block.offset);
    std::size_t reported = 0;
    std::size_t bytes = 0;
    while (bytes < block.bytes.size() && !isScanStopped()) {
        const std::size_t step = std::min(stepSize, block.bytes.size() - bytes);
        bytes += step;
        delegate.readerDidReadBytes(step);
        while (reported < block.newlines.size() && block.newlines[reported] < bytes) {
            ++reported;
            delegate.readerDidIndexLines(++count);
        }
    }
    return {block.offset, block.bytes.first(bytes), block.newlines.first(reported), 0};
}

void FileScan::take(const Block& block, std::uint64_t measuredSize) {
    file_.add(block.offset, block.bytes, unknownNewlines(block));
    // Not the bytes appended since the size was measured: the next scan starts before them.
    const std::uint64_t measured = measuredSize - std::min(measuredSize, block.offset);
    sample_.take(block.offset, block.bytes.first(std::min<std::uint64_t>(block.bytes.size(), measured)));
}

std::span<const std::uint32_t> FileScan::unknownNewlines(const Block& block) {
    const LineIndex& index = file_.index();
    const qint64 first = index.entryCountUpTo(block.offset);
    const qint64 count = index.entryCountUpTo(block.offset + block.bytes.size()) - first;
    if (count == 0)
        return block.newlines;
    const std::vector<std::uint64_t> known = index.view().starts(first, count);
    const auto [unconfirmed, unknown] = std::ranges::mismatch(
        known, block.newlines, {}, {}, [&](std::uint32_t newline) { return block.offset + newline + 1; });
    if (unconfirmed != known.end())
        forgetLinesBeyond(*unconfirmed - index.lineEnd().size);
    return block.newlines.subspan(static_cast<std::size_t>(unknown - block.newlines.begin()));
}

void FileScan::forgetLinesBeyond(std::uint64_t offset) {
    file_.truncate(offset);
    coveredEnd_ = offset;
}

void FileScan::publishAll() {
    file_.publish(coveredEnd_);
    isUnread_ = false;
}

} // namespace korvane
