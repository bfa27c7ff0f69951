#include "remote/RemoteLogDataSource.h"

#include "core/DocumentProtocol.h"
#include "core/NotificationNames.h"
#include "core/RuleEnforcerProtocol.h"
#include "core/reader/Pages.h"
#include "core/search/CompiledSearch.h"
#include "foundation/notices/NotificationCenter.h"
#include "foundation/work/MainThread.h"
#include "remote/Client.h"
#include "remote/RemoteFile.h"
#include "remote/RemoteLoadLinesOperation.h"
#include "remote/ssh/RemoteLog.h"

#include <QCoreApplication>

#include <algorithm>
#include <utility>

namespace korvane {

namespace {

/// Lets rules look at lines that nobody keeps, a piece at a time. Waits for the server: on a worker.
void passLines(const std::weak_ptr<TailDataSource>& weak, RemoteFile& file, LineRange lines,
               const std::stop_token& stop) {
    const qint64 end = lines.location + lines.length;
    for (qint64 line = lines.location; line < end && !stop.stop_requested(); line += pages::size) {
        const auto dataSource = weak.lock();
        const auto enforcer = dataSource ? dataSource->ruleEnforcer() : nullptr;
        // Before the lines are asked for: a pass tells nothing of a content that comes later.
        const auto pass = enforcer ? enforcer->makeNotificationPass() : nullptr;
        if (!pass)
            return;
        const auto texts =
            file.lines(line, std::min(end - line, pages::size), [&stop] { return stop.stop_requested(); });
        if (!texts) {
            if (!stop.stop_requested())
                qCWarning(logRemote, "No rule has looked at what arrived from line %lld on.",
                          static_cast<long long>(line + 1));
            return;
        }
        qint64 number = line;
        for (const QString& text : *texts)
            pass->look(number++, text);
    }
}

} // namespace

RemoteLogDataSource::RemoteLogDataSource(const std::shared_ptr<DocumentProtocol>& document,
                                         std::shared_ptr<RemoteFile> file)
    : TailDataSource(document, "Remote log load line operation queue"), file_(std::move(file)),
      countQueue_("Remote line count operation queue", 1),
      arrivedQueue_("Remote rule notification queue", 1, OperationQueue::Priority::Background) {}

// ---- How many lines there are

qint64 RemoteLogDataSource::rowCount() const {
    const bool canAsk = file_->client()->isConnected();
    const std::lock_guard guard(mutex_);
    if (lastLineCount_ == 0 && canAsk && !isCountUnwanted_ && countQueue_.isEmpty()) {
        const std::weak_ptr weak = std::static_pointer_cast<RemoteLogDataSource>(
            std::const_pointer_cast<TailDataSource>(shared_from_this()));
        countQueue_.run([weak](const std::stop_token& stop) {
            if (const auto self = weak.lock())
                self->count(Content::Known, [&stop] { return stop.stop_requested(); });
        });
    }
    return shownLineCount_;
}

void RemoteLogDataSource::cancelCount() {
    {
        const std::lock_guard guard(mutex_);
        isCountUnwanted_ = true;
    }
    countQueue_.cancelAllOperations();
}

void RemoteLogDataSource::countLines(const IsCancelled& isCancelled) {
    {
        const std::lock_guard guard(mutex_);
        if (isCancelled())
            return;
        isCountUnwanted_ = false;
        lastLineCount_ = 0;
    }
    count(Content::Known, isCancelled);
}

void RemoteLogDataSource::fileHasGrown(const IsCancelled& isCancelled) {
    {
        const std::lock_guard guard(mutex_);
        isCountUnwanted_ = false;
        lastLineCount_ = 0;
    }
    count(Content::Grown, isCancelled);
}

void RemoteLogDataSource::fileHasShrunk(quint64 size, const IsCancelled& isCancelled) {
    qint64 before = 0;
    {
        const std::lock_guard guard(mutex_);
        isCountUnwanted_ = false;
        lastLineCount_ = 0;
        if (size == 0) {
            before = std::exchange(shownLineCount_, 0);
            ++emptied_;
        }
    }
    if (size == 0) {
        // Of what comes back after a loss nobody knows what is new.
        const bool isMeasured = file_->client()->isConnected();
        forgetArrivedLines(isMeasured ? std::optional<qint64>(0) : std::nullopt);
        announce(Content::Other, before, 0);
        file_->lookForFault();
    } else
        count(Content::Other, isCancelled);
}

void RemoteLogDataSource::fileIsEmpty() {
    {
        const std::lock_guard guard(mutex_);
        if (shownLineCount_ == 0)
            return;
        knownFileSize_ = 0;
    }
    fileHasShrunk(0, [] { return false; });
}

void RemoteLogDataSource::count(Content content, const IsCancelled& isCancelled) {
    const std::lock_guard counting(countMutex_);
    if (content == Content::Known) {
        const std::lock_guard guard(mutex_);
        if (lastLineCount_ != 0)
            return; // by the count that this one has waited for
    }
    uncounted_ = std::max(uncounted_, content);
    if (isCancelled())
        return;
    const std::uint64_t emptied = [this] {
        const std::lock_guard guard(mutex_);
        return emptied_;
    }();
    const std::optional<qint64> counted = file_->lineCount(isCancelled);
    if (!counted)
        return;
    qint64 before = 0;
    {
        const std::lock_guard guard(mutex_);
        // What was counted is gone by now.
        if (emptied_ != emptied)
            return;
        lastLineCount_ = *counted;
        before = std::exchange(shownLineCount_, *counted);
    }
    content = std::exchange(uncounted_, Content::Known);
    announce(content, before, *counted);
    passArrivedLines(content, *counted, emptied);
    if (*counted > 0)
        file_->linesAreThere();
    else
        file_->lookForFault();
}

void RemoteLogDataSource::followingBegan() {
    const std::lock_guard guard(mutex_);
    if (arrivedFrom_)
        arrivedFrom_ = shownLineCount_;
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
        arrivedQueue_.run([weak = weak_from_this(), file = file_, lines = LineRange{first, now - first}](
                              const std::stop_token& stop) { passLines(weak, *file, lines, stop); });
}

void RemoteLogDataSource::announce(Content content, qint64 before, qint64 now) {
    if (content == Content::Known && now == before)
        return;
    if (content == Content::Other || now < before) {
        contentForgotten();
        announceOtherContent({0, now});
        return;
    }
    const qint64 first = std::max<qint64>(before - 1, 0);
    announceChangedLines({first, now - first});
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
    if (!knownFileSize_ || shownLineCount_ == 0)
        return 0;
    const double share = static_cast<double>(count) / static_cast<double>(shownLineCount_);
    return static_cast<std::uint64_t>(static_cast<double>(*knownFileSize_) * share);
}

// ---- Pages

std::shared_ptr<PageLoadOperation> RemoteLogDataSource::makeLoadOperation(const PageRequest& request) {
    qCInfo(logRemote, "loading remote page %lld...", static_cast<long long>(request.page));
    return std::make_shared<RemoteLoadLinesOperation>(weak_from_this(), file_, request);
}

void RemoteLogDataSource::dropRequestsOutside(qint64 firstRow, qint64 lastRow) {
    TailDataSource::dropRequestsOutside(std::max<qint64>(firstRow - pages::size, 0), lastRow + pages::size);
    const qint64 previous = std::exchange(lastFirstRow_, firstRow);
    const qint64 rows = numberOfRows();
    if (rows == 0 || firstRow == previous)
        return;
    const auto ask = [&](qint64 row) {
        if (row >= 0 && row < rows)
            loadPage(pages::pageOfLine(rowStart() + row), true);
    };
    // What is looked at goes first.
    const qint64 last = std::min(lastRow, rows - 1);
    ask(firstRow);
    ask(last);
    if (firstRow > previous)
        ask(std::min(last + pages::size, rows - 1));
    else
        ask(std::max<qint64>(firstRow - pages::size, 0));
}

void RemoteLogDataSource::close() {
    countQueue_.cancelAllOperations();
    arrivedQueue_.cancelAllOperations();
    TailDataSource::close();
}

// ---- Lines that nobody looks at

std::optional<QStringList> RemoteLogDataSource::linesOfPage(qint64 page, const IsCancelled& isCancelled) {
    if (isCancelled && isCancelled())
        return std::nullopt;
    if (auto loaded = pageStore().texts(page))
        return loaded;
    return file_->page(page, isCancelled);
}

std::optional<QStringList> RemoteLogDataSource::readLines(qint64 first, qint64 count,
                                                          const IsCancelled& isCancelled) {
    QStringList lines;
    const qint64 end = first + count;
    for (qint64 line = first; line < end;) {
        const qint64 page = pages::pageOfLine(line);
        const auto read = linesOfPage(page, isCancelled);
        if (!read)
            return std::nullopt;
        const qint64 offset = line - pages::firstLine(page);
        lines += read->mid(offset, end - line);
        line = pages::firstLine(page + 1);
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
    const qint64 step = forwards ? 1 : -1;
    for (qint64 line = forwards ? low : high; line >= low && line <= high;) {
        const qint64 page = pages::pageOfLine(line);
        const auto lines = linesOfPage(page, isCancelled);
        if (!lines) {
            if (isCancelled())
                return {};
            return SearchOutcome::failed(QCoreApplication::translate(
                "RemoteLogDataSource", "The search has stopped: the server cannot be asked for lines"));
        }
        for (; line >= low && line <= high && pages::pageOfLine(line) == page; line += step) {
            const qint64 offset = line - pages::firstLine(page);
            if (offset >= lines->size())
                continue;
            if (auto ranges = matcher.matchRanges(SearchedLine(lines->at(offset))); !ranges.empty())
                return {SearchMatch{line, std::move(ranges)}};
        }
    }
    return {};
}

} // namespace korvane
