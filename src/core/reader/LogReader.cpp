#include "core/reader/LogReader.h"

#include "core/reader/LineSearch.h"
#include "core/reader/NewlineScan.h"
#include "core/reader/Pages.h"
#include "core/reader/ReaderLog.h"
#include "foundation/FatalError.h"
#include "foundation/FilePath.h"

#include <QCoreApplication>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

namespace korvane {
namespace {

/// The step in which a scan reports and asks whether to stop.
constexpr std::size_t chunkSize = 2048;
/// What is fetched at once: little at first, so that the first lines show early.
constexpr std::size_t firstFetchSize = 32 * chunkSize;
constexpr std::size_t fetchSize = 128 * chunkSize;
/// Two changes of a file that are further apart have different times.
constexpr auto longestFileClockStep = std::chrono::seconds(3);

} // namespace

std::shared_ptr<LogFileReaderProtocol> LogReader::create(const QUrl& fileUrl) {
    return createReader(fileUrl);
}

std::shared_ptr<LogReader> LogReader::createReader(const QUrl& fileUrl) {
    return std::shared_ptr<LogReader>(new LogReader(fileUrl));
}

LogReader::LogReader(const QUrl& fileUrl) : path_(localPath(fileUrl)) {
    if (auto handle = FileHandle::openForReading(fileUrl))
        handle_ = std::move(handle).value();
    if (handle_)
        identity_ = handle_->identity();
}

std::shared_ptr<LogReaderDelegate> LogReader::delegate() const {
    const std::shared_lock guard(stateMutex_);
    return delegate_;
}

void LogReader::setDelegate(std::shared_ptr<LogReaderDelegate> delegate) {
    const std::lock_guard guard(stateMutex_);
    delegate_.swap(delegate); // the old one goes outside the lock
}

std::shared_ptr<FileHandle> LogReader::openHandle() const {
    const std::shared_lock guard(stateMutex_);
    return handle_;
}

void LogReader::cancel() {
    canceled_.store(true, std::memory_order_release);
}

void LogReader::cancelScan() {
    scanCanceled_.store(true, std::memory_order_release);
}

void LogReader::close() {
    closed_.store(true, std::memory_order_release);
    std::shared_ptr<FileHandle> handle;
    const std::lock_guard guard(stateMutex_);
    handle_.swap(handle);
    identity_.reset();
}

std::optional<FileHandle::Identity> LogReader::fileIdentity() const {
    const std::shared_lock guard(stateMutex_);
    return identity_;
}

Status LogReader::reopen() {
    auto opened = FileHandle::openForReading(fileUrlFromPath(path_));
    if (!opened)
        return opened.error();
    const std::lock_guard guard(scanMutex_);
    if (!takeFile(std::move(opened).value()))
        return Error{EBADF, QStringLiteral("POSIX"), {}};
    return success();
}

bool LogReader::takeFile(std::shared_ptr<FileHandle> handle) {
    {
        const std::lock_guard guard(stateMutex_);
        if (closed_.load(std::memory_order_acquire))
            return false;
        identity_ = handle->identity();
        handle_.swap(handle); // the old one is closed outside the lock
        index_.clear();
    }
    decoder_.forgetDetection();
    forgetLines();
    forgetFault(scanFault_);
    forgetFault(readFault_);
    return true;
}

void LogReader::startAgain(LogReaderDelegate& listener) {
    auto opened = FileHandle::openForReading(fileUrlFromPath(path_));
    const std::lock_guard guard(scanMutex_);
    canceled_.store(false, std::memory_order_release);
    const auto before = openHandle();
    const std::shared_ptr<FileHandle> present = opened ? std::move(opened).value() : before;
    const bool isOther = before && (present->identity() != before->identity() ||
                                    present->size().value_or(currentFileLimit_) < currentFileLimit_ ||
                                    holdsOtherContent(*present));
    if (present == before || !takeFile(present))
        forgetLines();
    if (isOther)
        listener.readerDidForgetLines();
}

std::uint64_t LogReader::fileSize() {
    const auto handle = openHandle();
    return isCanceled() || !handle ? 0 : handle->size().value_or(0);
}

// ---- The index ----

LineRange LogReader::refresh() {
    return refreshReportingTo(delegate());
}

LineRange LogReader::refreshReportingTo(std::shared_ptr<LogReaderDelegate> delegate) {
    const std::lock_guard guard(scanMutex_);
    try {
        return bringUpToDate(delegate.get());
    } catch (const std::exception&) {
        forgetLines(); // what has been taken by half is not kept
        throw;
    }
}

LineRange LogReader::bringUpToDate(LogReaderDelegate* delegate) {
    if (isCanceled()) {
        if (delegate)
            delegate->readerDidCancel();
        return {};
    }
    const auto handle = openHandle();
    const qint64 oldCount = std::min(heldLines(), index_.entryCountUpTo(currentFileLimit_));
    // Asked of the file itself: `fileSize()` answers 0 once cancelled, as if the file had shrunk.
    const auto measured = handle ? handle->size() : std::nullopt;
    const std::uint64_t newSize = measured.value_or(currentFileLimit_);
    if (delegate)
        delegate->readerDidStart(newSize);

    LineRange changed{std::max<qint64>(oldCount - 1, 0), 0};
    const bool wasCut = measured && newSize < coveredEnd_;
    const std::uint64_t oldLimit = currentFileLimit_;
    ScanEnd end = ScanEnd::Complete;
    if (newSize < currentFileLimit_ || (handle && holdsOtherContent(*handle))) {
        forgetLines();
        decoder_.forgetDetection();
        if (delegate)
            delegate->readerDidForgetLines();
        end = scan(delegate);
        changed = {0, heldLines()};
    } else if (currentFileLimit_ < newSize || wasCut) {
        if (wasCut)
            forgetLinesBeyond(newSize);
        end = scan(delegate);
        // What cannot be read brings nothing new, however often it is tried.
        if (wasCut || currentFileLimit_ != oldLimit || heldLines() != oldCount)
            changed.length = heldLines() - changed.location;
    } else {
        scanError_.store(0, std::memory_order_release);
        publishAll();
    }
    if (end == ScanEnd::Stopped)
        return isStopped() ? LineRange{} : changed;
    if (isCanceled()) {
        if (delegate)
            delegate->readerDidCancel();
        return {};
    }
    if (delegate)
        delegate->readerDidFinish();
    return changed;
}

bool LogReader::isBehind() {
    const std::lock_guard guard(scanMutex_);
    const auto handle = openHandle();
    const auto stamp = handle && !isStopped() ? handle->stamp() : std::nullopt;
    if (!stamp)
        return false;
    if (stamp->size != currentFileLimit_)
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

bool LogReader::holdsOtherContent(const FileHandle& handle) const {
    return !sample_.isStillIn(handle);
}

void LogReader::reset() {
    const std::lock_guard guard(scanMutex_);
    canceled_.store(false, std::memory_order_release);
    forgetLines();
}

void LogReader::forgetLines() {
    isUnread_ = true; // first: what is counted from here on need not be there
    index_.clear();
    currentFileLimit_ = 0;
    coveredEnd_ = 0;
    sample_.clear();
    comparedStamp_.reset();
    scanError_.store(0, std::memory_order_release);
}

void LogReader::indexLines() {
    const std::lock_guard guard(scanMutex_);
    scan(delegate().get());
}

LogReader::ScanEnd LogReader::scan(LogReaderDelegate* delegate) {
    const auto handle = openHandle();
    if (!handle)
        return ScanEnd::Complete;
    const std::uint64_t size = handle->size().value_or(currentFileLimit_);
    const std::uint64_t readEnd = scanLimit(size);
    learnLineEnd(*handle);
    // What is half a unit yet comes again.
    const LineEnd lineEnd = index_.lineEnd();
    std::uint64_t offset = currentFileLimit_ - currentFileLimit_ % lineEnd.size;
    std::uint64_t newLimit = size;

    const auto block = std::make_unique_for_overwrite<char[]>(fetchSize);
    const auto positions = std::make_unique_for_overwrite<std::uint32_t[]>(NewlineScan::roomFor(fetchSize));
    std::size_t fetch = firstFetchSize;
    scanCanceled_.store(false, std::memory_order_release);
    while (!isScanStopped()) {
        const std::size_t wanted = std::min<std::uint64_t>(fetch, readEnd - std::min(offset, readEnd));
        int error = 0;
        const auto got = handle->read(offset, {block.get(), wanted}, &error);
        if (!got) {
            warnOfReadError({offset, error}, scanFault_);
            newLimit = std::min(size, offset);
        }
        const std::span<const char> bytes(block.get(), got.value_or(0) - got.value_or(0) % lineEnd.size);
        if (bytes.empty()) {
            if (delegate)
                delegate->readerDidReadBytes(0);
            currentFileLimit_ = newLimit;
            if (error == 0 && offset < coveredEnd_)
                forgetLinesBeyond(offset);
            publishAll();
            scanError_.store(error, std::memory_order_release);
            if (error == 0)
                forgetFault(scanFault_);
            return ScanEnd::Complete;
        }
        const std::size_t found =
            NewlineScan::find(bytes, {positions.get(), NewlineScan::roomFor(bytes.size())});
        const std::span<const std::uint32_t> newlines(positions.get(),
                                                      lineEnd.keepUnits(bytes, {positions.get(), found}));
        std::pair<std::size_t, std::size_t> taken(bytes.size(), newlines.size());
        if (delegate)
            taken = reportSteps(*delegate, offset, bytes.size(), newlines);
        takeBytes(offset, bytes.first(taken.first),
                  unknownNewlines(offset, taken.first, newlines.first(taken.second)));
        // Not what has come since the size was measured: the next scan starts before it.
        sample_.take(offset,
                     bytes.first(std::min<std::uint64_t>(taken.first, size - std::min(size, offset))));
        if (__builtin_add_overflow(offset, taken.first, &offset))
            fatalError("file offset overflow");
        coveredEnd_ = std::max(coveredEnd_, offset);
        fetch = fetchSize;
    }
    if (!isStopped())
        currentFileLimit_ = offset; // only the scan was given up: what it has found can be read
    publishAll();
    if (delegate)
        delegate->readerDidCancel();
    return ScanEnd::Stopped;
}

void LogReader::learnLineEnd(const FileHandle& handle) {
    if (index_.entryCount() > 1)
        return;
    std::vector<char> start(firstFetchSize);
    const std::size_t known = handle.read(0, start).value_or(0);
    index_.setLineEnd(decoder_.lineEndFor({start.data(), static_cast<qsizetype>(known)}));
}

std::span<const std::uint32_t> LogReader::unknownNewlines(std::uint64_t offset, std::size_t size,
                                                          std::span<const std::uint32_t> newlines) {
    const qint64 first = index_.entryCountUpTo(offset);
    const qint64 count = index_.entryCountUpTo(offset + size) - first;
    if (count == 0)
        return newlines;
    const std::vector<std::uint64_t> known = index_.view().starts(first, count);
    const auto [unconfirmed, unknown] = std::ranges::mismatch(
        known, newlines, {}, {}, [offset](std::uint32_t newline) { return offset + newline + 1; });
    if (unconfirmed != known.end())
        forgetLinesBeyond(*unconfirmed - index_.lineEnd().size);
    return newlines.subspan(static_cast<std::size_t>(unknown - newlines.begin()));
}

void LogReader::forgetLinesBeyond(std::uint64_t offset) {
    index_.dropBeyond(offset);
    coveredEnd_ = offset;
    index_.publish(index_.entryCount(), coveredEnd_);
}

std::pair<std::size_t, std::size_t> LogReader::reportSteps(LogReaderDelegate& delegate, std::uint64_t offset,
                                                           std::size_t size,
                                                           std::span<const std::uint32_t> newlines) const {
    qint64 count = index_.entryCountUpTo(offset);
    std::size_t reported = 0;
    std::size_t bytes = 0;
    while (bytes < size && !isScanStopped()) {
        const std::size_t step = std::min(chunkSize, size - bytes);
        bytes += step;
        delegate.readerDidReadBytes(step);
        while (reported < newlines.size() && newlines[reported] < bytes) {
            ++reported;
            delegate.readerDidIndexLines(++count);
        }
    }
    return {bytes, reported};
}

void LogReader::takeBytes(std::uint64_t offset, std::span<const char> /*bytes*/,
                          std::span<const std::uint32_t> newlines) {
    index_.appendNewlines(offset, newlines);
    const qint64 complete = index_.entryCount() - 1;
    // Never fewer than readers saw before the scan.
    if (!newlines.empty() && complete >= index_.lineCount())
        index_.publish(complete, index_.lastOffset() - index_.lineEnd().size);
}

void LogReader::publishAll() {
    index_.publish(index_.entryCount(), coveredEnd_);
    isUnread_ = false;
}

qint64 LogReader::lineCount() const {
    return index_.lineCount();
}

bool LogReader::isUnread() const {
    return isUnread_ && lineCount() == 1 && openHandle() != nullptr;
}

void LogReader::warnOfReadError(const ReadFault& fault, ReadFault& last) const {
    {
        const std::lock_guard guard(faultMutex_);
        if (std::exchange(last, fault) == fault)
            return;
    }
    qCWarning(logCore).noquote() << QStringLiteral(
                                        "Reading %1 failed at byte %2: %3. What lies behind is not shown.")
                                        .arg(displayPath(fileUrlFromPath(path_)),
                                             QString::number(fault.offset),
                                             QString::fromLocal8Bit(std::strerror(fault.error)));
}

void LogReader::forgetFault(ReadFault& last) const {
    const std::lock_guard guard(faultMutex_);
    last = {};
}

// ---- Reading ----

std::optional<LogReader::LineNumbers> LogReader::clamp(qint64 start, qint64 count, qint64 total) {
    if (count == 0 || total == 0)
        return std::nullopt;
    count = std::min(count, total);
    start = std::max<qint64>(std::min(start, total), 1);
    // A negative count gives the one line: it never reads backwards.
    const qint64 last = std::max(std::min(start + count - 1, total), start);
    return LineNumbers{start, last};
}

std::optional<LogReader::Bytes> LogReader::locate(qint64 start, qint64 count, Detail detail) const {
    const LineIndex::View view = index_.view();
    const auto lines = clamp(start, count, view.lineCount());
    if (!lines)
        return std::nullopt;
    const auto begin = view.start(lines->first - 1);
    if (!begin)
        return std::nullopt; // being scanned again
    Bytes bytes{*begin, view.endOffset(), false, view.lineEnd(), {}};
    if (lines->last < view.lineCount()) {
        if (const auto next = view.start(lines->last)) {
            bytes.end = *next - view.lineEnd().size;
            bytes.newlineFollows = true;
        }
    }
    if (bytes.end < bytes.begin)
        return std::nullopt;
    if (detail == Detail::LineStarts)
        bytes.lineStarts = view.starts(lines->first - 1, lines->last - lines->first + 1);
    return bytes;
}

std::optional<QByteArray> LogReader::readBytes(const FileHandle& handle, std::uint64_t begin,
                                               std::uint64_t end) const {
    QByteArray bytes(static_cast<qsizetype>(end - begin), Qt::Uninitialized);
    int error = 0;
    const auto got = handle.read(begin, {bytes.data(), static_cast<std::size_t>(bytes.size())}, &error);
    if (!got) {
        warnOfReadError({begin, error}, readFault_);
        return std::nullopt;
    }
    bytes.truncate(static_cast<qsizetype>(*got));
    return bytes;
}

LogReader::LocatedLines LogReader::locateInFile(qint64 start, qint64 count, Detail detail) const {
    const std::shared_lock guard(stateMutex_);
    return {locate(start, count, detail), handle_};
}

QStringList LogReader::readLines(qint64 start, qint64 count) {
    const auto [range, handle] = locateInFile(start, count, Detail::Range);
    if (!range || isCanceled() || !handle)
        return {};
    const auto bytes = readBytes(*handle, range->begin, range->end);
    if (!bytes)
        return {};
    const FileTextDecoder::Part part{range->begin, *bytes, !range->newlineFollows};
    const auto texts = decoder_.decode({&part, 1});
    return texts ? texts->front().text.split(u'\n') : QStringList();
}

QStringList LogReader::readFirstLines(qint64 n) {
    return readLines(1, std::max<qint64>(n, 1));
}

QStringList LogReader::readLastLines(qint64 n) {
    return readLines(lineCount(), -std::max<qint64>(n, 1));
}

std::vector<LogReader::ShownPart> LogReader::partsToShow(const Bytes& lines, RowLength length) {
    const auto endOfLine = [&](std::size_t line) {
        return line + 1 < lines.lineStarts.size() ? lines.lineStarts[line + 1] - lines.lineEnd.size
                                                  : lines.end;
    };
    std::uint64_t longest = ~std::uint64_t{0};
    if (length == RowLength::Shown) {
        std::vector<std::uint64_t> lengths;
        lengths.reserve(lines.lineStarts.size());
        for (std::size_t i = 0; i < lines.lineStarts.size(); ++i)
            lengths.push_back(std::max(endOfLine(i), lines.lineStarts[i]) - lines.lineStarts[i]);
        longest = longestLineAmong(lengths);
    }
    std::vector<ShownPart> parts;
    bool joinNext = false;
    for (std::size_t i = 0; i < lines.lineStarts.size(); ++i) {
        const std::uint64_t begin = lines.lineStarts[i];
        const std::uint64_t end = std::max(endOfLine(i), begin);
        const bool tooLong = end - begin > longest;
        if (tooLong)
            parts.push_back({begin, begin + longest, end - begin - longest});
        else if (joinNext) {
            parts.back().end = end;
            ++parts.back().lineCount;
        } else
            parts.push_back({begin, end, 0});
        joinNext = !tooLong;
    }
    for (ShownPart& part : parts)
        part.lineEnd = lines.lineEnd;
    if (!parts.empty())
        parts.back().isUnfinished = !lines.newlineFollows;
    return parts;
}

std::optional<LogReader::ReadParts> LogReader::readParts(qint64 start, qint64 count, RowLength length) const {
    const auto [range, handle] = locateInFile(start, count, Detail::LineStarts);
    if (!range || isCanceled() || !handle)
        return std::nullopt;
    ReadParts read{partsToShow(*range, length), {}};
    read.bytes.reserve(read.shown.size());
    for (const ShownPart& part : read.shown) {
        auto bytes = readBytes(*handle, part.begin, part.end);
        if (!bytes)
            return std::nullopt;
        read.bytes.push_back(std::move(*bytes));
    }
    return read;
}

DisplayLines LogReader::readRows(qint64 start, qint64 count, RowLength length) {
    learnEncoding();
    const auto read = readParts(start, count, length);
    return read ? decodeRows(*read) : DisplayLines();
}

DisplayLines LogReader::decodeRows(const ReadParts& read) {
    DisplayLines result;
    for (std::size_t i = 0; i < read.shown.size(); ++i) {
        const ShownPart& shown = read.shown[i];
        const FileTextDecoder::Part part{shown.begin, read.bytes[i], shown.isCut()};
        if (!addLinesAtOnce(result, shown, part))
            addLinesOneByOne(result, shown, part);
    }
    return result;
}

bool LogReader::addLinesAtOnce(DisplayLines& to, const ShownPart& shown, const FileTextDecoder::Part& part) {
    const auto text = decoder_.decodeSilently(part);
    if (!text)
        return false;
    if (shown.lineCount == 1) {
        const std::uint64_t unused = shown.cutBytes > 0 ? shown.end - shown.begin - text->usedBytes : 0;
        to.lines.push_back({text->text, shown.cutBytes + unused});
        return true;
    }
    QStringList lines = text->text.split(u'\n');
    // The file may have been cut short, or hold lines that end otherwise than was known.
    if (lines.size() != shown.lineCount)
        return false;
    for (QString& line : lines)
        to.lines.push_back({std::move(line)});
    return true;
}

void LogReader::addLinesOneByOne(DisplayLines& to, const ShownPart& shown,
                                 const FileTextDecoder::Part& part) {
    for (qsizetype begin = 0; begin <= part.bytes.size();) {
        const qsizetype newline = shown.lineEnd.find(part.bytes, begin);
        const qsizetype end = newline < 0 ? part.bytes.size() : newline;
        FileTextDecoder::Line line =
            decoder_.decodeLine({part.offset + static_cast<std::uint64_t>(begin),
                                 part.bytes.sliced(begin, end - begin), part.isCut && newline < 0});
        const std::uint64_t unused =
            shown.cutBytes > 0 ? static_cast<std::uint64_t>(end - begin) - line.text.usedBytes : 0;
        to.lines.push_back({std::move(line.text.text), shown.cutBytes + unused, line.isInvalid});
        begin = end + shown.lineEnd.size;
    }
}

std::uint64_t LogReader::byteCount(qint64 start, qint64 count) const {
    const auto range = locate(start, count, Detail::Range);
    return range ? range->end - range->begin + (range->newlineFollows ? range->lineEnd.size : 0U) : 0;
}

SearchOutcome LogReader::findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                       const std::function<bool()>& isCancelled) {
    const auto handle = openHandle();
    if (isCanceled() || !handle)
        return {};
    learnEncoding();
    LineSearch search({index_, *handle, decoder_}, item, [&] { return isStopped() || isCancelled(); });
    SearchOutcome outcome(search.find(first, last));
    if (!outcome && search.readError() != 0)
        outcome.fault = QCoreApplication::translate("LogReader", "The search has stopped, reading failed: %1")
                            .arg(QString::fromLocal8Bit(std::strerror(search.readError())));
    return outcome;
}

// ---- Encoding ----

void LogReader::learnEncoding() {
    // The first page tells the encoding, whichever is read first.
    if (fileEncoding() != encoding::unknown)
        return;
    if (const auto read = readParts(1, pages::size, RowLength::Shown))
        decodeRows(*read);
}

EncodingChoice LogReader::encodingChoice() const {
    return decoder_.choice();
}

void LogReader::setEncodingChoice(EncodingChoice choice) {
    decoder_.setChoice(choice);
}

StringEncoding LogReader::fileEncoding() const {
    return decoder_.fileEncoding();
}
StringEncoding LogReader::detectEncoding(QByteArrayView data) const {
    return FileTextDecoder::detectEncoding(data);
}

} // namespace korvane
