#include "documents/TailDataSource.h"

#include "core/DocumentProtocol.h"
#include "core/LineMarkLookup.h"
#include "core/Preferences.h"
#include "core/reader/Pages.h"
#include "documents/ArrivedLinesNotifier.h"
#include "documents/ChangedLinesAnnouncer.h"
#include "documents/PageLoadOperation.h"
#include "documents/RuleFollower.h"
#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "rules/QuickHighlightFilterRule.h"
#include "rules/RuleEnforcer.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace korvane {
namespace {

/// Maximum time a follower is blocked waiting for pending lines to be evaluated.
/// For one row, so that a slow pattern does not delay the others: about half a millisecond.
constexpr MatchBudget::Steps stepsForShownSearch = 25'000;
constexpr auto longestPassingWait = std::chrono::milliseconds(50);

/// The file may have changed since the search: only ranges inside the text can be painted.
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
    if (defaultLineAction_.exchange(action) == action)
        return;
    redecorateRows();
    notices().defaultLineActionChanged.post();
}

void TailDataSource::redecorateRows() {
    invalidateRows();
    notices().rowsStale.post();
}

std::shared_ptr<RuleEnforcerProtocol> TailDataSource::ruleEnforcer() const {
    return lock_.withReadLock([this]() REQUIRES_SHARED(lock_) { return ruleEnforcer_; });
}

void TailDataSource::setRuleEnforcer(std::shared_ptr<RuleEnforcerProtocol> enforcer) {
    lock_.withWriteLock([&]() REQUIRES(lock_) { ruleEnforcer_ = std::move(enforcer); });
}

qint64 TailDataSource::rowStart() const {
    return lock_.withReadLock([this]() REQUIRES_SHARED(lock_) { return rowStart_; });
}

void TailDataSource::setQuickHighlightSelectionString(const QString& text) {
    quickHighlightSelectionString_ = text;
    quickHighlightRule_ = text.isEmpty() ? nullptr : std::make_unique<QuickHighlightFilterRule>(text);
}

void TailDataSource::setLastSearchResults(std::map<qint64, SearchMatch> results) {
    lastSearchResults_ = std::move(results);
}

void TailDataSource::setShownSearch(const std::optional<SearchItem>& search) {
    shownSearch_ = search ? std::make_unique<ShownSearch>(*search) : nullptr;
}

void TailDataSource::addSearchResult(const SearchMatch& match) {
    lastSearchResults_.insert_or_assign(match.row, match);
}

std::shared_ptr<DocumentProtocol> TailDataSource::getDocument() const {
    return lock_.withReadLock([this]() REQUIRES_SHARED(lock_) { return document_; }).lock();
}

void TailDataSource::reset() {
    clearView();
    if (const auto enforcer = ruleEnforcer())
        enforcer->clearRules();
}

void TailDataSource::clearView() {
    clearCache();
    const qint64 lastLine = std::max<qint64>(rowCount() - 1, 0);
    lock_.withWriteLock([&]() REQUIRES(lock_) { rowStart_ = lastLine; });
}

void TailDataSource::clearCache() {
    pages_.clear();
    lock_.withWriteLock([this]() REQUIRES(lock_) { rowStart_ = 0; });
    lastSearchResults_.clear();
    queue_.cancelAllOperations();
}

void TailDataSource::invalidateRows() {
    pages_.invalidate();
    queue_.cancelAllOperations();
}

void TailDataSource::linesChanged(qint64 firstLine) {
    pages_.forgetRequestsFrom(std::max<qint64>(firstLine, 0));
}

std::shared_ptr<ChangedLinesAnnouncer> TailDataSource::announcer() {
    return lock_.withWriteLock([this]() REQUIRES(lock_) {
        if (!announcer_)
            announcer_ = std::make_shared<ChangedLinesAnnouncer>(weak_from_this());
        return announcer_;
    });
}

void TailDataSource::announceChangedLines(LineRange changed) {
    announcer()->announce(changed);
}

void TailDataSource::announceLoadedRows(LineRange rows) {
    announcer()->announceLoadedRows(rows);
}

void TailDataSource::announceOtherContent(LineRange changed) {
    announcer()->announceOtherContent(changed);
}

std::shared_ptr<ArrivedLinesNotifier> TailDataSource::arrivedLines() {
    const auto reader = followedReader();
    return lock_.withWriteLock([&]() REQUIRES(lock_) {
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
    // Last: a line of the old generation that is being evaluated may still be reported.
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

RowLine TailDataSource::shownRow(qint64 lineIndex, PageRow row) const {
    RowLine shown{lineIndex + 1, std::move(row.text), true, row.cutBytes, row.marks};
    if (shownSearch_) {
        const QString text = shown.line.string();
        MatchBudget budget{stepsForShownSearch};
        RuleEnforcer::paintMatches(shown.line,
                                   shownSearch_->matcher.match(SearchedLine(text), budget).ranges);
    }
    if (const auto found = lastSearchResults_.find(lineIndex); found != lastSearchResults_.end()) {
        // The user looks for it: it is not hidden.
        shown.isShownAnyway = std::exchange(shown.marks.hideLine, false);
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
    PageStore::Found found = pages_.row(lineIndex);
    if (!found.isRequested) {
        const qint64 page = pages::pageOfLine(lineIndex);
        request(pages_.claim(page, lineIndex - pages::firstLine(page)), true);
    }
    if (!found.row)
        return {lineIndex + 1, {}, false, 0};
    return shownRow(lineIndex, *std::move(found.row));
}

std::optional<RowLine> TailDataSource::cachedRowLine(qint64 row) const {
    const qint64 lineIndex = rowStart() + row;
    PageStore::Found found = pages_.row(lineIndex);
    return found.row ? std::optional(shownRow(lineIndex, *std::move(found.row))) : std::nullopt;
}

bool TailDataSource::hasLineMark(qint64 row) const {
    const auto document = getDocument();
    return document && lineMarks_ &&
           lineMarks_->hasLineMark(absoluteString(document->fileUrl()), rowStart() + row);
}

std::vector<bool> TailDataSource::hiddenLines(qint64 first, const QStringList& texts,
                                              const std::function<bool()>& isCancelled) {
    const auto enforcer = ruleEnforcer();
    const auto rules = enforcer ? enforcer->makeSilentPass(isCancelled) : nullptr;
    std::vector<bool> hidden;
    if (!rules)
        return hidden;
    hidden.reserve(static_cast<std::size_t>(texts.size()));
    std::optional<std::vector<bool>> shown;
    qint64 shownPage = -1;
    for (const QString& text : texts) {
        const qint64 page = pages::pageOfLine(first);
        if (std::exchange(shownPage, page) != page)
            shown = pages_.hiddenRows(page);
        // The result on the screen is used: there a slow rule may have had a larger budget left.
        const auto offset = static_cast<std::size_t>(first - pages::firstLine(page));
        if (shown && offset < shown->size()) {
            hidden.push_back((*shown)[offset]);
        } else {
            AttributedString line(text);
            RuleMarks marks;
            rules->applyRules(first, line, marks);
            hidden.push_back(marks.hideLine);
        }
        ++first;
    }
    return hidden;
}

void TailDataSource::loadPage(qint64 page, bool async) {
    request(pages_.claim(page), async);
}

void TailDataSource::request(std::optional<PageRequest> request, bool async) {
    if (!request)
        return;
    const qint64 page = request->page;
    const std::shared_ptr<PageLoadOperation> operation = makeLoadOperation(*request);
    if (!async) {
        operation->runBody();
        return;
    }
    cancelWaitingLoads([page](qint64 other) { return other == page; }); // they would do the same work twice
    operation->then(weak_from_this(), [this, page] { tellOfPage(page); });
    queue_.addOperation(operation);
}

void TailDataSource::announcePage(qint64 page) {
    MainThread::shared().post([weak = weak_from_this(), page] {
        if (const auto alive = weak.lock())
            alive->tellOfPage(page);
    });
}

void TailDataSource::tellOfPage(qint64 page) {
    if (getDocument())
        notices().pageLoaded.post(page);
}

void TailDataSource::dropRequestsOutside(qint64 firstRow, qint64 lastRow) {
    const qint64 start = rowStart();
    const qint64 firstPage = pages::pageOfLine(start + firstRow);
    const qint64 lastPage = pages::pageOfLine(start + lastRow);
    pages_.setView(firstPage, lastPage);
    cancelWaitingLoads([=](qint64 page) { return page < firstPage || page > lastPage; });
}

void TailDataSource::cancelLoadsOutside(qint64 firstRow, qint64 lastRow) {
    const qint64 start = rowStart();
    for (const auto& operation : queue_.operations()) {
        const qint64 page = static_cast<const PageLoadOperation&>(*operation).request().page;
        if (page < pages::pageOfLine(start + firstRow) || page > pages::pageOfLine(start + lastRow))
            operation->cancel();
    }
}

void TailDataSource::cancelWaitingLoads(const std::function<bool(qint64 page)>& isUnwanted) {
    for (const auto& operation : queue_.operations()) {
        const bool isWaiting = !operation->isExecuting() && !operation->isFinished();
        if (isWaiting && isUnwanted(static_cast<const PageLoadOperation&>(*operation).request().page))
            operation->cancel();
    }
}

void TailDataSource::close() {
    ruleFollower_.reset();
    pages_.invalidate();
    const auto arrived = lock_.withWriteLock([this]() REQUIRES(lock_) {
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

} // namespace korvane
