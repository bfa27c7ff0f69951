#include "remote/RemoteLogDataSource.h"

#include "core/DocumentProtocol.h"
#include "core/RuleEnforcerProtocol.h"
#include "core/reader/Pages.h"
#include "core/search/CompiledSearch.h"
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

/// Lets rules look at lines that nobody keeps, a piece at a time. Waits for the server: on a worker.
void passLines(const std::weak_ptr<TailDataSource>& weak, RemoteReader& reader, LineRange lines,
               const std::stop_token& stop) {
    const qint64 end = lines.location + lines.length;
    for (qint64 line = lines.location; line < end && !stop.stop_requested();) {
        const auto dataSource = weak.lock();
        const auto enforcer = dataSource ? dataSource->ruleEnforcer() : nullptr;
        // Before the lines are asked for: a pass tells nothing of a content that comes later.
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

} // namespace

std::shared_ptr<RemoteLogDataSource>
RemoteLogDataSource::create(const std::shared_ptr<DocumentProtocol>& document,
                            std::shared_ptr<RemoteFile> file) {
    std::shared_ptr<RemoteLogDataSource> made(new RemoteLogDataSource(document, std::move(file)));
    made->reader_->setOnOtherContent([weak = std::weak_ptr(made)] {
        const auto alive = weak.lock();
        if (!alive)
            return;
        const std::lock_guard guard(alive->mutex_);
        alive->isCounted_ = false;
        alive->countInBackground(Content::Other);
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

// ---- How many lines there are

qint64 RemoteLogDataSource::rowCount() const {
    const bool canAsk = file_->client()->isConnected();
    const std::lock_guard guard(mutex_);
    if ((!isCounted_ || lineCount_ == 0) && canAsk && !isCountUnwanted_ && countQueue_.isEmpty())
        countInBackground(Content::Known);
    return lineCount_;
}

void RemoteLogDataSource::countInBackground(Content content) const {
    countQueue_.run([weak = std::weak_ptr(self()), content](const std::stop_token& stop) {
        if (const auto alive = weak.lock())
            alive->count(content, std::nullopt, [&stop] { return stop.stop_requested(); });
    });
}

void RemoteLogDataSource::cancelCount() {
    bool hasRows = false;
    {
        const std::lock_guard guard(mutex_);
        isCountUnwanted_ = true;
        hasRows = lineCount_ > 0;
    }
    countQueue_.cancelAllOperations();
    // The first page is part of what the user has waited for.
    if (!hasRows)
        invalidateRows();
}

void RemoteLogDataSource::forgetPlaces() {
    reader_->forget();
}

void RemoteLogDataSource::firstLinesRead(qint64 lineCount) {
    LineRange missed;
    {
        const std::lock_guard guard(mutex_);
        if (std::exchange(isFirstPageRead_, true))
            return;
        if (isCounted_)
            missed = {lineCount, std::min(lineCount_, pages::size) - lineCount};
        else if (lineCount_ <= shownFirst_)
            lineCount_ = lineCount;
        else
            return;
    }
    if (missed.length > 0)
        announceChangedLines(missed); // they have come since
    else if (lineCount > 0)
        announceLoadedRows({0, lineCount});
}

void RemoteLogDataSource::firstLinesShown(qint64 lineCount) {
    {
        const std::lock_guard guard(mutex_);
        if (isCounted_ || isFirstPageRead_ || lineCount_ > shownFirst_ || lineCount <= lineCount_)
            return;
        shownFirst_ = lineCount_ = lineCount;
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
        const std::lock_guard guard(mutex_);
        if (isCancelled())
            return;
        isCountUnwanted_ = false;
        isCounted_ = false;
    }
    count(Content::Known, std::nullopt, isCancelled);
}

void RemoteLogDataSource::fileHasGrown(quint64 size, const IsCancelled& isCancelled) {
    {
        const std::lock_guard guard(mutex_);
        isCountUnwanted_ = false;
        isCounted_ = false;
    }
    count(Content::Grown, size, isCancelled);
}

void RemoteLogDataSource::fileHasShrunk(quint64 size, const IsCancelled& isCancelled) {
    qint64 before = 0;
    {
        const std::lock_guard guard(mutex_);
        isCountUnwanted_ = false;
        isCounted_ = false;
        if (size == 0) {
            before = std::exchange(lineCount_, 0);
            ++emptied_;
        }
    }
    if (size > 0) {
        count(Content::Other, std::nullopt, isCancelled);
        return;
    }
    reader_->forget();
    // Of what comes back after a loss nobody knows what is new.
    const bool isMeasured = file_->client()->isConnected();
    forgetArrivedLines(isMeasured ? std::optional<qint64>(0) : std::nullopt);
    announce(Content::Other, before, 0);
    file_->lookForFault();
}

void RemoteLogDataSource::filePolledWith(quint64 size, const IsCancelled& isCancelled) {
    const bool hasRows = [this] {
        const std::lock_guard guard(mutex_);
        return lineCount_ > 0;
    }();
    const quint64 known = reader_->knownSize();
    const bool isEmpty = size == 0 && (hasRows || known > 0);
    if (!isEmpty && (known == 0 || size == known))
        return;
    setKnownFileSize(size);
    if (isEmpty)
        fileHasShrunk(size, isCancelled);
    else
        fileHasGrown(size, isCancelled); // if it is the same file
}

void RemoteLogDataSource::count(Content content, std::optional<quint64> size,
                                const IsCancelled& isCancelled) {
    const std::lock_guard counting(countMutex_);
    if (content == Content::Known) {
        const std::lock_guard guard(mutex_);
        if (isCounted_ && lineCount_ > 0)
            return; // by the count that this one has waited for
    }
    uncounted_ = std::max(uncounted_, content);
    if (isCancelled())
        return;
    const std::uint64_t emptied = [this] {
        const std::lock_guard guard(mutex_);
        return emptied_;
    }();
    if (uncounted_ != Content::Other && reader_->knowsEnd()) {
        const auto growth = reader_->growth(size, isCancelled);
        if (!growth)
            return;
        if (growth->isSameFile) {
            setKnownFileSize(reader_->knownSize());
            takeCount(growth->lineCount, emptied);
            return;
        }
        uncounted_ = Content::Other;
    }
    if (uncounted_ == Content::Other)
        reader_->forget();
    const std::optional<qint64> counted = reader_->count(isCancelled);
    const bool isLess = [&] {
        const std::lock_guard guard(mutex_);
        return counted && *counted < lineCount_;
    }();
    if (isLess)
        reader_->forget(); // what has been kept belongs to what was there before
    if (counted && reader_->sizeBeforeCount())
        setKnownFileSize(reader_->sizeBeforeCount());
    if (!counted || !takeCount(*counted, emptied))
        return;
    const auto atEnd = reader_->findEnd(isCancelled);
    if (atEnd && *atEnd > *counted) {
        uncounted_ = Content::Grown;
        takeCount(*atEnd, emptied);
    }
}

bool RemoteLogDataSource::takeCount(qint64 counted, std::uint64_t emptied) {
    qint64 before = 0;
    bool isFirst = false;
    {
        const std::lock_guard guard(mutex_);
        // What was counted is gone by now.
        if (emptied_ != emptied)
            return false;
        isCounted_ = true;
        before = std::exchange(lineCount_, counted);
        isFirst = before <= shownFirst_ && !isFirstPageRead_;
    }
    const Content content = std::exchange(uncounted_, Content::Known);
    // The first page may be on its way, and is not asked for again.
    if (isFirst && content == Content::Known) {
        if (counted > 0)
            announceLoadedRows({0, counted});
    } else
        announce(content, before, counted);
    passArrivedLines(content, counted, emptied);
    if (counted > 0)
        file_->linesAreThere();
    else
        file_->lookForFault();
    return true;
}

void RemoteLogDataSource::followingEnded() {
    const std::lock_guard guard(mutex_);
    isFollowed_ = false;
}

void RemoteLogDataSource::followingBegan() {
    const std::lock_guard guard(mutex_);
    // Lines that arrived while there was no connection still notify.
    if (!std::exchange(isFollowed_, true) && arrivedFrom_)
        arrivedFrom_ = lineCount_;
}

void RemoteLogDataSource::forgetArrivedLines(std::optional<qint64> arrivedFrom) {
    arrivedQueue_.cancelAllOperations();
    const std::lock_guard guard(mutex_);
    arrivedFrom_ = arrivedFrom;
}

void RemoteLogDataSource::passArrivedLines(Content content, qint64 now, std::uint64_t emptied) {
    qint64 first = 0;
    {
        const std::lock_guard guard(mutex_);
        if (emptied_ != emptied)
            return;
        if (!isFollowed_) {
            arrivedFrom_ = now;
            return;
        }
        const bool isFirstCount = !arrivedFrom_;
        if (isFirstCount || (content == Content::Known && now < *arrivedFrom_))
            arrivedFrom_ = now;
        // What was counted by the way is told of when following finds it.
        if (isFirstCount || content == Content::Known)
            return;
        const bool isOther = content == Content::Other || now < *arrivedFrom_;
        first = isOther ? 0 : *arrivedFrom_;
        arrivedFrom_ = now;
    }
    const auto enforcer = ruleEnforcer();
    if (first < now && enforcer && enforcer->makeNotificationPass())
        arrivedQueue_.run([weak = weak_from_this(), reader = reader_, lines = LineRange{first, now - first}](
                              const std::stop_token& stop) { passLines(weak, *reader, lines, stop); });
}

void RemoteLogDataSource::announce(Content content, qint64 before, qint64 now) {
    if (content != Content::Other && now == before)
        return;
    if (content == Content::Other || now < before) {
        contentForgotten();
        announceOtherContent({0, now});
        return;
    }
    announceChangedLines({before, now - before});
}

std::optional<quint64> RemoteLogDataSource::knownFileSize() const {
    const std::lock_guard guard(mutex_);
    return knownFileSize_;
}

void RemoteLogDataSource::setKnownFileSize(std::optional<quint64> bytes) {
    const std::lock_guard guard(mutex_);
    knownFileSize_ = bytes;
}

std::uint64_t RemoteLogDataSource::byteCount(qint64 /*first*/, qint64 count) const {
    const std::lock_guard guard(mutex_);
    if (!knownFileSize_ || lineCount_ == 0)
        return 0;
    const double share = static_cast<double>(count) / static_cast<double>(lineCount_);
    return static_cast<std::uint64_t>(static_cast<double>(*knownFileSize_) * share);
}

// ---- Pages

std::shared_ptr<PageLoadOperation> RemoteLogDataSource::makeLoadOperation(const PageRequest& request) {
    qCInfo(logRemote, "loading remote page %lld...", static_cast<long long>(request.page));
    return std::make_shared<RemoteLoadLinesOperation>(self(), file_, reader_, request);
}

void RemoteLogDataSource::dropRequestsOutside(qint64 firstRow, qint64 lastRow) {
    const qint64 firstKept = std::max<qint64>(firstRow - pages::size, 0);
    TailDataSource::dropRequestsOutside(firstKept, lastRow + pages::size);
    // What is under way for rows that have been passed keeps the link from those that are looked at.
    cancelLoadsOutside(firstKept, lastRow + pages::size);
    const qint64 previous = std::exchange(lastFirstRow_, firstRow);
    const qint64 rows = numberOfRows();
    if (rows == 0 || firstRow == previous)
        return;
    const auto ask = [&](qint64 row) {
        if (row >= 0 && row < rows)
            loadPage(pages::pageOfLine(rowStart() + row), true);
    };
    // What is looked at goes first, and is asked for as such.
    const qint64 last = std::min(lastRow, rows - 1);
    for (const qint64 row : {firstRow, last}) {
        if (row >= 0 && row < rows)
            static_cast<void>(rowLine(row));
    }
    if (reader_->isSlow(pages::size))
        return; // it would take the link from what is looked at
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

// ---- Lines that nobody looks at

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
    // Lines before the first row are there, but not in the table.
    const qint64 start = rowStart();
    const bool forwards = firstRow <= lastRow;
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
            const qint64 from = std::max(low, line);
            const qint64 to = std::min(high, line + piece->lines.size() - 1);
            for (qint64 at = forwards ? from : to; from <= at && at <= to; at += forwards ? 1 : -1) {
                auto ranges = matcher.matchRanges(SearchedLine(piece->lines.at(at - line)));
                if (ranges.empty())
                    continue;
                // Backwards, one of a later piece goes before.
                match = SearchMatch{at, std::move(ranges)};
                break;
            }
            hasMore = piece->isPartial;
            line += piece->lines.size();
        }
        if (match)
            return {*std::move(match)};
    }
    return {};
}

} // namespace korvane
