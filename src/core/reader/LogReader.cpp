#include "core/reader/LogReader.h"

#include "core/reader/LineFilterRead.h"

#include <algorithm>

namespace korvane {

std::shared_ptr<LogFileReaderProtocol> LogReader::create(const QUrl& fileUrl) {
    return createReader(fileUrl);
}

std::shared_ptr<LogReader> LogReader::createReader(const QUrl& fileUrl) {
    return std::shared_ptr<LogReader>(new LogReader(fileUrl, IndexedFile::Storage::Disk));
}

LogReader::LogReader(const QUrl& fileUrl, IndexedFile::Storage storage)
    : file_(fileUrl, storage), faults_(file_.path()), scan_(file_, decoder_, faults_),
      rows_(file_, decoder_, faults_) {}

std::shared_ptr<LogReaderDelegate> LogReader::delegate() const {
    const MutexLock guard(delegateMutex_);
    return delegate_;
}

void LogReader::setDelegate(std::shared_ptr<LogReaderDelegate> delegate) {
    const MutexLock guard(delegateMutex_);
    delegate_.swap(delegate); // the old delegate is released outside the lock
}

std::uint64_t LogReader::fileSize() {
    const auto handle = file_.handle();
    return scan_.isCancelled() || !handle ? 0 : handle->size().value_or(0);
}

LineRange LogReader::refreshReportingTo(std::shared_ptr<LogReaderDelegate> listener) {
    return scan_.refresh(listener.get());
}

bool LogReader::isUnread() const {
    return scan_.isUnread() && lineCount() == 1 && file_.handle() != nullptr;
}

QStringList LogReader::readLines(qint64 start, qint64 count) {
    return scan_.isCancelled() ? QStringList() : rows_.readLines(start, count);
}

QStringList LogReader::readFirstLines(qint64 n) {
    return readLines(1, std::max<qint64>(n, 1));
}

QStringList LogReader::readLastLines(qint64 n) {
    return readLines(lineCount(), -std::max<qint64>(n, 1));
}

DisplayLines LogReader::readRows(qint64 start, qint64 count, RowLength length) {
    return scan_.isCancelled() ? DisplayLines() : rows_.readRows(start, count, length);
}

std::uint64_t LogReader::byteCount(qint64 start, qint64 count) const {
    const auto lines = file_.locate(start, count, IndexedFile::Detail::Range);
    return lines ? lines->end - lines->begin + (lines->newlineFollows ? lines->lineEnd.size : 0U) : 0;
}

SearchOutcome LogReader::findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                       const std::function<bool()>& isCancelled) {
    if (scan_.isCancelled())
        return {};
    return rows_.findNextMatch(first, last, item,
                               [&] { return scan_.isCancelled() || file_.isClosed() || isCancelled(); });
}

FilteredLines LogReader::filterLines(qint64 first, qint64 count, LineFilter::Pass& pass,
                                     std::span<MatchBudget::Steps> budgets,
                                     const std::function<bool()>& isCancelled) {
    if (scan_.isCancelled())
        return {};
    return LineFilterRead(file_, decoder_, pass,
                          [&] { return scan_.isCancelled() || file_.isClosed() || isCancelled(); })
        .filter(first, count, budgets);
}

StringEncoding LogReader::detectEncoding(QByteArrayView data) const {
    return FileTextDecoder::detectEncoding(data);
}

} // namespace korvane
