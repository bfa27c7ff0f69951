#include "documents/TailDataSource.h"

#include "core/DocumentProtocol.h"
#include "core/LineMarkLookup.h"
#include "core/NotificationNames.h"
#include "core/Preferences.h"
#include "core/reader/Pages.h"
#include "documents/ArrivedLinesNotifier.h"
#include "documents/ChangedLinesAnnouncer.h"
#include "documents/Discard.h"
#include "documents/PageLoadOperation.h"
#include "documents/RuleFollower.h"
#include "foundation/FilePath.h"
#include "foundation/notices/NotificationCenter.h"
#include "rules/QuickHighlightFilterRule.h"
#include "rules/RuleEnforcer.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace korvane {
namespace {

/// So long whoever follows a file is held up by lines of it that have not passed.
constexpr auto longestPassingWait = std::chrono::milliseconds(50);

/// The file may have changed since the search: only what still lies inside the text can be painted.
std::vector<TextRange> clippedTo(int length, const std::vector<TextRange>& ranges) {
    std::vector<TextRange> inside;
    for (const TextRange& range : ranges) {
        const int location = std::clamp(range.location, 0, length);
        const int end = std::clamp(range.end(), location, length);
        if (location < end)
            inside.push_back({location, end - location});
    }
    return inside;
}

} // namespace

TailDataSource::TailDataSource(const std::shared_ptr<DocumentProtocol>& document, std::string queueName)
    : quickHighlightEnabled_(Preferences::shared().quickHighlightSelection()), document_(document),
      queue_(std::move(queueName)) {
    auto enforcer = std::make_shared<RuleEnforcer>(*this);
    ruleEnforcer_ = enforcer;
    ruleFollower_ =
        std::make_unique<RuleFollower>(std::move(enforcer), *document, [this] { redecorateRows(); });
}

TailDataSource::~TailDataSource() = default;

DefaultFilterLineAction TailDataSource::defaultLineAction() const {
    return defaultLineAction_.load();
}

void TailDataSource::setDefaultLineAction(DefaultFilterLineAction action) {
    if (defaultLineAction_.exchange(action) != action)
        redecorateRows();
}

void TailDataSource::redecorateRows() {
    invalidateRows();
    const TailDataSourceProtocol* const sender = this;
    NotificationCenter::shared().post(notification::dataSourceLoadedLines, {}, sender);
}

std::shared_ptr<RuleEnforcerProtocol> TailDataSource::ruleEnforcer() const {
    return lock_.withReadLock([this] { return ruleEnforcer_; });
}

void TailDataSource::setRuleEnforcer(std::shared_ptr<RuleEnforcerProtocol> enforcer) {
    lock_.withWriteLock([&] { ruleEnforcer_ = std::move(enforcer); });
}

qint64 TailDataSource::rowStart() const {
    return lock_.withReadLock([this] { return rowStart_; });
}

void TailDataSource::setQuickHighlightSelectionString(const QString& text) {
    quickHighlightSelectionString_ = text;
    quickHighlightRule_ = text.isEmpty() ? nullptr : std::make_unique<QuickHighlightFilterRule>(text);
}

void TailDataSource::setLastSearchResults(std::map<qint64, SearchMatch> results) {
    lastSearchResults_ = std::move(results);
}

std::shared_ptr<DocumentProtocol> TailDataSource::getDocument() const {
    return lock_.withReadLock([this] { return document_; }).lock();
}

void TailDataSource::reset() {
    clearView();
    if (const auto enforcer = ruleEnforcer())
        enforcer->clearRules();
}

void TailDataSource::clearView() {
    clearCache();
    const qint64 lastLine = std::max<qint64>(rowCount() - 1, 0);
    lock_.withWriteLock([&] { rowStart_ = lastLine; });
}

void TailDataSource::clearCache() {
    auto dropped = std::make_shared<CachedPages>();
    lock_.withWriteLock([&] {
        ++generation_;
        rowStart_ = 0;
        cachedPages_.swap(*dropped);
        loadedPages_.clear();
        invalidPages_.clear();
    });
    lastSearchResults_.clear();
    queue_.cancelAllOperations();
    if (!dropped->empty())
        discardInBackground(std::move(dropped));
}

void TailDataSource::invalidateRows() {
    lock_.withWriteLock([this] {
        ++generation_;
        loadedPages_.clear();
        invalidPages_.clear();
    });
    queue_.cancelAllOperations();
}

void TailDataSource::linesChanged(qint64 firstLine) {
    const qint64 firstPage = pages::pageOfLine(std::max<qint64>(firstLine, 0));
    lock_.withWriteLock([&] {
        std::erase_if(loadedPages_, [firstPage](const auto& entry) { return entry.first >= firstPage; });
    });
}

std::shared_ptr<ChangedLinesAnnouncer> TailDataSource::announcer() {
    return lock_.withWriteLock([this] {
        if (!announcer_)
            announcer_ = std::make_shared<ChangedLinesAnnouncer>(weak_from_this());
        return announcer_;
    });
}

void TailDataSource::announceChangedLines(LineRange changed) {
    announcer()->announce(changed);
}

void TailDataSource::announceOtherContent(LineRange changed) {
    announcer()->announceOtherContent(changed);
}

std::shared_ptr<ArrivedLinesNotifier> TailDataSource::arrivedLines() {
    const auto reader = followedReader();
    return lock_.withWriteLock([&] {
        if (!arrivedLines_ && reader && !document_.expired())
            arrivedLines_ = std::make_shared<ArrivedLinesNotifier>(weak_from_this(), reader);
        return arrivedLines_;
    });
}

void TailDataSource::followingBegan() {
    if (const auto arrived = arrivedLines())
        arrived->followingBegan();
}

void TailDataSource::linesArrived() {
    if (const auto arrived = arrivedLines())
        arrived->linesArrived();
}

void TailDataSource::filePolled() {
    if (const auto arrived = arrivedLines())
        arrived->filePolled();
}

void TailDataSource::contentForgotten() {
    if (const auto arrived = arrivedLines())
        arrived->contentForgotten();
    // Last: a line of the old content that is being looked at may still be told of.
    if (const auto enforcer = ruleEnforcer())
        enforcer->contentForgotten();
}

bool TailDataSource::letArrivedLinesPass() {
    const auto arrived = arrivedLines();
    return !arrived || arrived->letAllPass(longestPassingWait);
}

void TailDataSource::fileReadAnew() {
    if (const auto arrived = arrivedLines())
        arrived->fileReadAnew();
}

qint64 TailDataSource::numberOfRows() const {
    return std::max<qint64>(rowCount() - rowStart(), 0);
}

std::optional<PageRow> TailDataSource::cachedRow(qint64 lineIndex, bool* isRequested) const {
    const qint64 page = pages::pageOfLine(lineIndex);
    return lock_.withReadLock([&]() -> std::optional<PageRow> {
        if (isRequested)
            *isRequested = loadedPages_.contains(page);
        const auto cached = cachedPages_.find(page);
        if (cached == cachedPages_.end())
            return std::nullopt;
        const PageContent& content = cached->second.content;
        // What cannot be read shows as empty, not as still loading.
        if (content.kind != PageContent::Kind::Lines)
            return PageRow{};
        const auto offset = static_cast<std::size_t>(lineIndex - pages::firstLine(page));
        return offset < content.rows.size() ? std::optional(content.rows[offset]) : std::nullopt;
    });
}

std::optional<QStringList> TailDataSource::loadedTexts(qint64 page) const {
    return lock_.withReadLock([&]() -> std::optional<QStringList> {
        const auto asked = loadedPages_.find(page);
        const auto cached = cachedPages_.find(page);
        if (asked == loadedPages_.end() || cached == cachedPages_.end() ||
            asked->second != cached->second.token || cached->second.content.kind != PageContent::Kind::Lines)
            return std::nullopt;
        QStringList texts;
        texts.reserve(static_cast<qsizetype>(cached->second.content.rows.size()));
        for (const PageRow& row : cached->second.content.rows) {
            if (row.cutBytes > 0)
                return std::nullopt;
            texts.append(row.text.string());
        }
        return texts;
    });
}

RowLine TailDataSource::shownRow(qint64 lineIndex, PageRow row) const {
    RowLine shown{lineIndex + 1, std::move(row.text), true, row.cutBytes};
    if (const auto found = lastSearchResults_.find(lineIndex); found != lastSearchResults_.end()) {
        if (const auto enforcer = ruleEnforcer())
            enforcer->highlightSearchMatches(shown.line,
                                             clippedTo(shown.line.length(), found->second.results));
    }
    if (quickHighlightEnabled_ && quickHighlightRule_)
        RuleEnforcer::applyQuickHighlight(shown.line, *quickHighlightRule_);
    return shown;
}

RowLine TailDataSource::rowLine(qint64 row) {
    const qint64 lineIndex = rowStart() + row;
    bool isRequested = false;
    std::optional<PageRow> cached = cachedRow(lineIndex, &isRequested);
    if (!isRequested)
        loadPage(pages::pageOfLine(lineIndex), true);
    if (!cached)
        return {lineIndex + 1, {}, false, 0};
    return shownRow(lineIndex, *std::move(cached));
}

std::optional<RowLine> TailDataSource::cachedRowLine(qint64 row) const {
    const qint64 lineIndex = rowStart() + row;
    std::optional<PageRow> cached = cachedRow(lineIndex, nullptr);
    return cached ? std::optional(shownRow(lineIndex, *std::move(cached))) : std::nullopt;
}

bool TailDataSource::hasLineMark(qint64 row) const {
    const auto document = getDocument();
    return document && lineMarks_ &&
           lineMarks_->hasLineMark(absoluteString(document->fileUrl()), rowStart() + row);
}

std::optional<PageRequest> TailDataSource::claimPage(qint64 page) {
    return lock_.withWriteLock([&]() -> std::optional<PageRequest> {
        const auto [entry, isNew] = loadedPages_.try_emplace(page, lastToken_ + 1);
        if (!isNew)
            return std::nullopt;
        return PageRequest{page, ++lastToken_, generation_};
    });
}

void TailDataSource::loadPage(qint64 page, bool async) {
    const std::optional<PageRequest> request = claimPage(page);
    if (!request)
        return;
    const std::shared_ptr<PageLoadOperation> operation = makeLoadOperation(*request);
    if (!async) {
        operation->runBody();
        return;
    }
    cancelWaitingLoads(
        [page](qint64 other) { return other == page; }); // it would only do the same work twice
    operation->then(weak_from_this(), [this, page] {
        if (!getDocument())
            return;
        const TailDataSourceProtocol* const sender = this;
        NotificationCenter::shared().post(notification::dataSourceLoadedLines, arrivalNotice(page), sender);
    });
    queue_.addOperation(operation);
}

void TailDataSource::dropRequestsOutside(qint64 firstRow, qint64 lastRow) {
    const qint64 start = rowStart();
    const qint64 firstPage = pages::pageOfLine(start + firstRow);
    const qint64 lastPage = pages::pageOfLine(start + lastRow);
    cancelWaitingLoads([=](qint64 page) { return page < firstPage || page > lastPage; });
}

void TailDataSource::cancelWaitingLoads(const std::function<bool(qint64 page)>& isUnwanted) {
    for (const auto& operation : queue_.operations()) {
        const bool isWaiting = !operation->isExecuting() && !operation->isFinished();
        if (isWaiting && isUnwanted(static_cast<const PageLoadOperation&>(*operation).request().page))
            operation->cancel();
    }
}

bool TailDataSource::hasInvalidLines() const {
    return lock_.withReadLock([this] { return !invalidPages_.empty(); });
}

void TailDataSource::close() {
    ruleFollower_.reset();
    const auto arrived = lock_.withWriteLock([this] {
        ++generation_;
        document_.reset();
        return std::exchange(arrivedLines_, nullptr);
    });
    if (arrived)
        arrived->close();
    queue_.cancelAllOperations();
}

LineDecorator TailDataSource::lineDecorator(std::function<bool()> isCancelled) const {
    const auto enforcer = ruleEnforcer();
    return LineDecorator(enforcer ? enforcer->makePass(std::move(isCancelled)) : nullptr);
}

void TailDataSource::storePage(const PageRequest& request, PageContent content) {
    PageContent replaced; // freed outside the lock
    lock_.withWriteLock([&] {
        if (request.generation != generation_)
            return;
        CachedPage& cached = cachedPages_[request.page];
        if (cached.token > request.token)
            return;
        cached.token = request.token;
        // Rows that were read once stay until the cut is taken notice of, and the cache with it is cleared.
        const bool isLess = content.isShort || content.kind == PageContent::Kind::Unreadable;
        if (isLess && cached.generation == generation_ && cached.content.rows.size() > content.rows.size())
            return;
        cached.generation = generation_;
        replaced = std::exchange(cached.content, std::move(content));
        if (cached.content.hasInvalidLines)
            invalidPages_.insert(request.page);
        else
            invalidPages_.erase(request.page);
    });
}

void TailDataSource::withdrawRequest(const PageRequest& request) {
    lock_.withWriteLock([&] {
        const auto entry = loadedPages_.find(request.page);
        if (entry != loadedPages_.end() && entry->second == request.token)
            loadedPages_.erase(entry);
    });
}

} // namespace korvane
