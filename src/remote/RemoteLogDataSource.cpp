#include "remote/RemoteLogDataSource.h"

#include "core/DocumentProtocol.h"
#include "core/RuleEnforcerProtocol.h"
#include "core/reader/Pages.h"
#include "core/search/CompiledSearch.h"
#include "core/search/Direction.h"
#include "foundation/work/MainThread.h"
#include "remote/Client.h"
#include "remote/RemoteFile.h"
#include "remote/RemoteLoadLinesOperation.h"
#include "remote/RemoteReader.h"
#include "remote/ssh/RemoteLog.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace korvane {

namespace {

/// Evaluates the notifying rules over lines that are not kept, one piece at a time. Waits for the server: on
/// a worker.
void passLines(const std::weak_ptr<TailDataSource>& weak, RemoteReader& reader, LineRange lines,
               const std::stop_token& stop) {
    const qint64 end = lines.location + lines.length;
    for (qint64 line = lines.location; line < end && !stop.stop_requested();) {
        const auto dataSource = weak.lock();
        const auto enforcer = dataSource ? dataSource->ruleEnforcer() : nullptr;
        // Created before the lines are requested, so that lines of a later file generation are not reported.
        const auto pass = enforcer ? enforcer->makeNotificationPass() : nullptr;
        if (!pass)
            return;
        const auto piece =
            reader.lines(line, std::min(end - line, pages::size), RemoteReader::LineLimit::Long,
                         [&stop] { return stop.stop_requested(); });
        if (!piece || piece->lines.empty()) {
            if (!stop.stop_requested())
                qCWarning(logRemote, "No rule has looked at what arrived from line %lld on.",
                          static_cast<long long>(line + 1));
            return;
        }
        for (const DisplayLine& text : piece->lines)
            pass->look(line++, text.text);
    }
}

/// Of `texts` from index `from` to index `to`, the match that comes first in the direction; its row is the
/// index.
std::optional<SearchMatch> firstMatch(CompiledSearch::Matcher& matcher, const QStringList& texts, qint64 from,
                                      qint64 to, Direction direction) {
    const bool forwards = direction == Direction::Forwards;
    for (qint64 at = forwards ? from : to; from <= at && at <= to; at += forwards ? 1 : -1) {
        if (auto ranges = matcher.matchRanges(SearchedLine(texts.at(at))); !ranges.empty())
            return SearchMatch{at, std::move(ranges)};
    }
    return std::nullopt;
}

} // namespace

std::shared_ptr<RemoteLogDataSource>
RemoteLogDataSource::create(const std::shared_ptr<DocumentProtocol>& document,
                            std::shared_ptr<RemoteFile> file) {
    std::shared_ptr<RemoteLogDataSource> made(new RemoteLogDataSource(document, std::move(file)));
    made->reader_->setOnOtherContent([weak = std::weak_ptr(made)] {
        const auto alive = weak.lock();
        if (!alive)
            return;
        const MutexLock guard(alive->mutex_);
        alive->count_.outdate();
        alive->countInBackground(FileChange::Replaced);
    });
    return made;
}

RemoteLogDataSource::RemoteLogDataSource(const std::shared_ptr<DocumentProtocol>& document,
                                         std::shared_ptr<RemoteFile> file)
    : TailDataSource(document, "Remote log load line operation queue"), file_(std::move(file)),
      reader_(std::make_shared<RemoteReader>(file_)), countQueue_("Remote line count operation queue", 1),
      arrivedQueue_("Remote rule notification queue", 1, OperationQueue::Priority::Background) {
    pageStore().setGrowsByPieces();
}

std::shared_ptr<RemoteLogDataSource> RemoteLogDataSource::self() const {
    return std::static_pointer_cast<RemoteLogDataSource>(
        std::const_pointer_cast<TailDataSource>(shared_from_this()));
}

// ---- Counting

qint64 RemoteLogDataSource::rowCount() const {
    const MutexLock guard(mutex_);
    return count_.lines();
}

void RemoteLogDataSource::ensureCounted() {
    const bool canAsk = file_->client()->isConnected();
    const MutexLock guard(mutex_);
    if (canAsk && count_.isWanted() && countQueue_.isEmpty())
        countInBackground(FileChange::None);
}

void RemoteLogDataSource::countInBackground(FileChange change) const {
    countQueue_.run([weak = std::weak_ptr(self()), change](const std::stop_token& stop) {
        if (const auto alive = weak.lock())
            alive->count(change, std::nullopt, [&stop] { return stop.stop_requested(); });
    });
}

void RemoteLogDataSource::cancelCount() {
    bool hasRows = false;
    {
        const MutexLock guard(mutex_);
        count_.giveUp();
        hasRows = count_.lines() > 0;
    }
    countQueue_.cancelAllOperations();
    // The cancelled load includes the first page.
    if (!hasRows)
        invalidateRows();
}

void RemoteLogDataSource::forgetPlaces() {
    reader_->forget();
}

void RemoteLogDataSource::firstLinesRead(qint64 lineCount) {
    std::optional<LineCount::FirstPage> page;
    {
        const MutexLock guard(mutex_);
        page = count_.firstPageRead(lineCount);
    }
    if (page && page->missed.length > 0)
        announceChangedLines(page->missed);
    else if (page && page->loaded.length > 0)
        announceLoadedRows(page->loaded);
}

void RemoteLogDataSource::firstLinesShown(qint64 lineCount) {
    {
        const MutexLock guard(mutex_);
        if (!count_.firstLinesShown(lineCount))
            return;
    }
    announceLoadedRows({0, lineCount});
}

void RemoteLogDataSource::showSoFar(const std::weak_ptr<RemoteLoadLinesOperation>& load,
                                    const std::vector<DisplayLine>& lines) {
    soFarQueue_.run([load, lines] {
        if (const auto alive = load.lock())
            alive->showSoFar(lines);
    });
}

void RemoteLogDataSource::countLines(const IsCancelled& isCancelled) {
    {
        const MutexLock guard(mutex_);
        if (isCancelled())
            return;
        count_.outdate();
    }
    count(FileChange::None, std::nullopt, isCancelled);
}

void RemoteLogDataSource::fileHasGrown(quint64 size, const IsCancelled& isCancelled) {
    {
        const MutexLock guard(mutex_);
        count_.outdate();
    }
    count(FileChange::Grown, size, isCancelled);
}

void RemoteLogDataSource::fileHasShrunk(quint64 size, const IsCancelled& isCancelled) {
    qint64 before = 0;
    {
        const MutexLock guard(mutex_);
        count_.outdate();
        if (size == 0)
            before = count_.empty();
    }
    if (size > 0) {
        count(FileChange::Replaced, std::nullopt, isCancelled);
        return;
    }
    reader_->forget();
    // After a reconnect we cannot tell which lines are new.
    const bool isMeasured = file_->client()->isConnected();
    forgetArrivedLines(isMeasured ? std::optional<qint64>(0) : std::nullopt);
    announce(FileChange::Replaced, before, 0);
    file_->lookForFault();
}

void RemoteLogDataSource::filePolledWith(quint64 size, const IsCancelled& isCancelled) {
    const auto [hasRows, isUncounted] = [this, size] {
        const MutexLock guard(mutex_);
        // A file without a complete line is counted once for each size.
        return std::pair(count_.lines() > 0,
                         count_.isWanted() && (!count_.isFresh() || knownFileSize_ != size));
    }();
    const quint64 known = reader_->knownSize();
    const bool isEmpty = size == 0 && (hasRows || known > 0);
    if (!isEmpty && known == 0 && size > 0 && isUncounted) {
        setKnownFileSize(size);
        count(FileChange::None, std::nullopt, isCancelled); // the last count had no answer
    }
    if (!isEmpty && (known == 0 || size == known))
        return;
    setKnownFileSize(size);
    if (isEmpty)
        fileHasShrunk(size, isCancelled);
    else
        fileHasGrown(size, isCancelled); // checks that it is the same file
}

void RemoteLogDataSource::count(FileChange change, std::optional<quint64> size,
                                const IsCancelled& isCancelled) {
    const MutexLock counting(countMutex_);
    if (change == FileChange::None) {
        const MutexLock guard(mutex_);
        if (count_.isFresh() && count_.lines() > 0)
            return; // counted while this call waited for the lock
    }
    uncounted_ = std::max(uncounted_, change);
    if (isCancelled())
        return;
    const std::uint64_t generation = [this] {
        const MutexLock guard(mutex_);
        return count_.generation();
    }();
    if (uncounted_ != FileChange::Replaced && reader_->knowsEnd()) {
        const auto growth = reader_->growth(size, isCancelled);
        if (!growth)
            return;
        if (growth->isSameFile) {
            setKnownFileSize(reader_->knownSize());
            takeCount(growth->lineCount, generation);
            return;
        }
        uncounted_ = FileChange::Replaced;
    }
    if (uncounted_ == FileChange::Replaced)
        reader_->forget();
    const std::optional<qint64> counted = reader_->count(isCancelled);
    const bool isLess = [&] {
        const MutexLock guard(mutex_);
        return counted && *counted < count_.lines();
    }();
    if (isLess)
        reader_->forget(); // belongs to the earlier file generation
    if (counted && reader_->sizeBeforeCount())
        setKnownFileSize(reader_->sizeBeforeCount());
    if (!counted || !takeCount(*counted, generation))
        return;
    const auto atEnd = reader_->findEnd(isCancelled);
    if (atEnd && *atEnd > *counted) {
        uncounted_ = FileChange::Grown;
        takeCount(*atEnd, generation);
    }
}

bool RemoteLogDataSource::takeCount(qint64 counted, std::uint64_t generation) {
    std::optional<LineCount::Counted> taken;
    {
        const MutexLock guard(mutex_);
        taken = count_.take(counted, generation);
    }
    if (!taken)
        return false;
    const FileChange change = std::exchange(uncounted_, FileChange::None);
    // The first page may be loading, and must not be requested again.
    if (taken->isFirst && change == FileChange::None) {
        if (counted > 0)
            announceLoadedRows({0, counted});
    } else
        announce(change, taken->before, counted);
    passArrivedLines(change, counted, generation);
    if (counted > 0)
        file_->linesAreThere();
    else
        file_->lookForFault();
    return true;
}

void RemoteLogDataSource::followingEnded() {
    const MutexLock guard(mutex_);
    count_.followingEnded();
}

void RemoteLogDataSource::followingBegan() {
    const MutexLock guard(mutex_);
    count_.followingBegan();
}

void RemoteLogDataSource::forgetArrivedLines(std::optional<qint64> reported) {
    arrivedQueue_.cancelAllOperations();
    const MutexLock guard(mutex_);
    count_.setReported(reported);
}

void RemoteLogDataSource::passArrivedLines(FileChange change, qint64 counted, std::uint64_t generation) {
    const LineRange lines = [&] {
        const MutexLock guard(mutex_);
        return count_.takeAppended(change, counted, generation);
    }();
    const auto enforcer = ruleEnforcer();
    if (lines.length > 0 && enforcer && enforcer->makeNotificationPass())
        arrivedQueue_.run([weak = weak_from_this(), reader = reader_, lines](const std::stop_token& stop) {
            passLines(weak, *reader, lines, stop);
        });
}

void RemoteLogDataSource::announce(FileChange change, qint64 before, qint64 now) {
    if (change != FileChange::Replaced && now == before)
        return;
    if (change == FileChange::Replaced || now < before) {
        contentForgotten();
        announceOtherContent({0, now});
        return;
    }
    announceChangedLines({before, now - before});
}

std::optional<quint64> RemoteLogDataSource::knownFileSize() const {
    const MutexLock guard(mutex_);
    return knownFileSize_;
}

void RemoteLogDataSource::setKnownFileSize(std::optional<quint64> bytes) {
    const MutexLock guard(mutex_);
    knownFileSize_ = bytes;
}

std::uint64_t RemoteLogDataSource::byteCount(qint64 /*first*/, qint64 count) const {
    const MutexLock guard(mutex_);
    if (!knownFileSize_ || count_.lines() == 0)
        return 0;
    const double share = static_cast<double>(count) / static_cast<double>(count_.lines());
    return static_cast<std::uint64_t>(static_cast<double>(*knownFileSize_) * share);
}

// ---- Pages

std::shared_ptr<PageLoadOperation> RemoteLogDataSource::makeLoadOperation(const PageRequest& request) {
    qCInfo(logRemote, "loading remote page %lld...", static_cast<long long>(request.page));
    return std::make_shared<RemoteLoadLinesOperation>(self(), file_, reader_, request);
}

void RemoteLogDataSource::dropRequestsOutside(qint64 firstRow, qint64 lastRow) {
    ensureCounted();
    const qint64 firstKept = std::max<qint64>(firstRow - pages::size, 0);
    TailDataSource::dropRequestsOutside(firstKept, lastRow + pages::size);
    // Loads for rows that are no longer visible take bandwidth from visible ones.
    cancelLoadsOutside(firstKept, lastRow + pages::size);
    const qint64 previous = std::exchange(lastFirstRow_, firstRow);
    const qint64 rows = numberOfRows();
    if (rows == 0 || firstRow == previous)
        return;
    const auto ask = [&](qint64 row) {
        if (row >= 0 && row < rows)
            loadPage(pages::pageOfLine(rowStart() + row), true);
    };
    // Visible rows are requested first, as visible.
    const qint64 last = std::min(lastRow, rows - 1);
    for (const qint64 row : {firstRow, last}) {
        if (row >= 0 && row < rows)
            static_cast<void>(rowLine(row));
    }
    if (reader_->isSlow(pages::size))
        return; // prefetching would take bandwidth from visible rows
    if (firstRow > previous)
        ask(std::min(last + pages::size, rows - 1));
    else
        ask(std::max<qint64>(firstRow - pages::size, 0));
}

void RemoteLogDataSource::close() {
    countQueue_.cancelAllOperations();
    arrivedQueue_.cancelAllOperations();
    soFarQueue_.cancelAllOperations();
    TailDataSource::close();
}

// ---- Lines outside the rows loaded

std::optional<RemoteLogDataSource::Texts> RemoteLogDataSource::texts(qint64 first,
                                                                     const IsCancelled& isCancelled) {
    if (isCancelled && isCancelled())
        return std::nullopt;
    const qint64 page = pages::pageOfLine(first);
    if (first == pages::firstLine(page)) {
        if (auto loaded = pageStore().texts(page))
            return Texts{*std::move(loaded), false};
    }
    if (!file_->connectForPage())
        return std::nullopt;
    auto piece =
        reader_->lines(first, pages::firstLine(page + 1) - first, RemoteReader::LineLimit::Long, isCancelled);
    if (!piece)
        return std::nullopt;
    Texts texts;
    texts.isPartial = piece->isPartial;
    for (DisplayLine& line : piece->lines)
        texts.lines.append(std::move(line.text));
    return texts;
}

std::optional<QStringList> RemoteLogDataSource::readLines(qint64 first, qint64 count,
                                                          const IsCancelled& isCancelled) {
    QStringList lines;
    const qint64 end = first + count;
    for (qint64 line = pages::firstLine(pages::pageOfLine(first)); line < end;) {
        const auto piece = texts(line, isCancelled);
        if (!piece)
            return std::nullopt;
        const qint64 skipped = std::max<qint64>(first - line, 0);
        lines += piece->lines.mid(skipped, std::max<qint64>(end - line - skipped, 0));
        line = piece->isPartial ? line + piece->lines.size() : pages::firstLine(pages::pageOfLine(line) + 1);
    }
    return lines;
}

std::optional<SearchMatch> RemoteLogDataSource::searchRow(qint64 row, const SearchItem& item) {
    return findNextMatch(row, row, item, [] { return false; }).match;
}

SearchOutcome RemoteLogDataSource::findNextMatch(qint64 firstRow, qint64 lastRow, const SearchItem& item,
                                                 const IsCancelled& isCancelled) {
    if (firstRow < 0 && lastRow < 0)
        return {};
    // Lines before the first row exist, but are not in the table.
    const qint64 start = rowStart();
    const Direction direction = directionFrom(firstRow, lastRow);
    const bool forwards = direction == Direction::Forwards;
    const qint64 low = start + std::max<qint64>(std::min(firstRow, lastRow), 0);
    const qint64 high = std::min(start + std::max(firstRow, lastRow), rowCount() - 1);
    const CompiledSearch search(item);
    CompiledSearch::Matcher matcher(search);
    const qint64 firstPage = pages::pageOfLine(low);
    const qint64 lastPage = pages::pageOfLine(high);
    for (qint64 page = forwards ? firstPage : lastPage; low <= high && firstPage <= page && page <= lastPage;
         page += forwards ? 1 : -1) {
        std::optional<SearchMatch> match;
        qint64 line = pages::firstLine(page);
        for (bool hasMore = true; hasMore && line <= high && !(match && forwards);) {
            const auto piece = texts(line, isCancelled);
            if (!piece) {
                if (isCancelled())
                    return {};
                return SearchOutcome::failed(QCoreApplication::translate(
                    "RemoteLogDataSource", "The search has stopped: the server cannot be asked for lines"));
            }
            const qint64 from = std::max<qint64>(low - line, 0);
            const qint64 to = std::min<qint64>(high - line, piece->lines.size() - 1);
            // Backwards, a match in a later piece of the page is nearer.
            if (auto found = firstMatch(matcher, piece->lines, from, to, direction))
                match = SearchMatch{line + found->row, std::move(found->results)};
            hasMore = piece->isPartial;
            line += piece->lines.size();
        }
        if (match)
            return {*std::move(match)};
    }
    return {};
}

} // namespace korvane
