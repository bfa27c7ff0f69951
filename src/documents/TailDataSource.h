#pragma once

#include "core/TailDataSourceProtocol.h"
#include "core/search/CompiledSearch.h"
#include "documents/LineDecorator.h"
#include "documents/PageStore.h"
#include "foundation/work/NativeLock.h"
#include "foundation/work/OperationQueue.h"
#include "tail/FollowedDataSource.h"

#include <any>
#include <atomic>
#include <string>

namespace korvane {

class ArrivedLinesNotifier;
class ChangedLinesAnnouncer;
class LineMarkLookup;
class PageLoadOperation;
class QuickHighlightFilterRule;
class RuleFollower;

/// Base of local and remote data sources: pages of decorated rows, requested when they are first shown.
///
/// A look-up never waits: loads read and decorate without the lock and take it once to store a page. Rows
/// stay until the cache is cleared. A page whose lines changed keeps its old rows until the new ones are
/// loaded.
class TailDataSource : public TailDataSourceProtocol,
                       public FollowedDataSource,
                       public std::enable_shared_from_this<TailDataSource> {
public:
    ~TailDataSource() override;

    DefaultFilterLineAction defaultLineAction() const override;
    void setDefaultLineAction(DefaultFilterLineAction action) override;
    std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer() const override;
    qint64 rowStart() const override;

    QString quickHighlightSelectionString() const override { return quickHighlightSelectionString_; }
    void setQuickHighlightSelectionString(const QString& text) override;
    bool quickHighlightEnabled() const override { return quickHighlightEnabled_; }
    void setQuickHighlightEnabled(bool enabled) override { quickHighlightEnabled_ = enabled; }

    const std::map<qint64, SearchMatch>& lastSearchResults() const override { return lastSearchResults_; }
    void setLastSearchResults(std::map<qint64, SearchMatch> results) override;
    void setShownSearch(const std::optional<SearchItem>& search) override;
    void addSearchResult(const SearchMatch& match) override;

    std::shared_ptr<DocumentProtocol> getDocument() const override;
    std::shared_ptr<LogFileReaderProtocol> followedReader() const override { return nullptr; }
    void announceChangedLines(LineRange changed) override;
    void announceOtherContent(LineRange changed) override;
    void followingBegan() override;
    void linesArrived() override;
    void filePolled() override;
    void contentForgotten() override;
    bool letArrivedLinesPass() override;

    void reset() override;
    void clearView() override;
    void clearCache() override;
    void invalidateRows() override;
    void linesChanged(qint64 firstLine) override;

    qint64 numberOfRows() const override;
    RowLine rowLine(qint64 row) override;
    std::optional<RowLine> cachedRowLine(qint64 row) const override;
    bool hasLineMark(qint64 row) const override;

    std::vector<bool> hiddenLines(qint64 first, const QStringList& texts,
                                  const std::function<bool()>& isCancelled) override;

    void loadPage(qint64 page, bool async) override;
    void dropRequestsOutside(qint64 firstRow, qint64 lastRow) override;
    void viewHidden() override { pages_.setHidden(); }
    bool hasInvalidLines() const override { return pages_.hasInvalidLines(); }

    /// Null = no line carries a mark.
    void setLineMarkLookup(std::shared_ptr<const LineMarkLookup> lookup) { lineMarks_ = std::move(lookup); }
    /// Cancels all loads, releases the document and posts nothing any more. Does not wait.
    virtual void close();

    /// The reader has read the file again from its first byte. Any thread.
    void fileReadAnew();

    // For page loads, from any thread.

    /// For the lines of one page; must not outlive the data source.
    LineDecorator lineDecorator(std::function<bool()> isCancelled) const;
    PageStore& pageStore() { return pages_; }
    /// Some rows of the page have been loaded.
    void announcePage(qint64 page);

protected:
    TailDataSource(const std::shared_ptr<DocumentProtocol>& document, std::string queueName);

    void setRuleEnforcer(std::shared_ptr<RuleEnforcerProtocol> enforcer);
    virtual std::shared_ptr<PageLoadOperation> makeLoadOperation(const PageRequest& request) = 0;
    /// See ChangedLinesAnnouncer.
    void announceLoadedRows(LineRange rows);
    /// Cancels loads of other pages, also running ones.
    void cancelLoadsOutside(qint64 firstRow, qint64 lastRow);

private:
    void request(std::optional<PageRequest> request, bool async);
    /// Main thread.
    void tellOfPage(qint64 page);
    std::shared_ptr<ChangedLinesAnnouncer> announcer();
    /// Null without a reader, and once closed.
    std::shared_ptr<ArrivedLinesNotifier> arrivedLines();
    RowLine shownRow(qint64 lineIndex, PageRow row) const;
    /// Makes all rows be decorated again, and reports that views must request them again.
    void redecorateRows();
    void cancelWaitingLoads(const std::function<bool(qint64 page)>& isUnwanted);

    std::atomic<DefaultFilterLineAction> defaultLineAction_{DefaultFilterLineAction::show};

    // Main thread only.
    QString quickHighlightSelectionString_;
    std::unique_ptr<const QuickHighlightFilterRule> quickHighlightRule_;
    bool quickHighlightEnabled_;
    std::map<qint64, SearchMatch> lastSearchResults_;
    struct ShownSearch {
        explicit ShownSearch(const SearchItem& item) : search(item) {}
        CompiledSearch search;
        CompiledSearch::Matcher matcher{search};
    };
    std::unique_ptr<ShownSearch> shownSearch_;
    std::shared_ptr<const LineMarkLookup> lineMarks_;
    std::unique_ptr<RuleFollower> ruleFollower_;

    PageStore pages_;

    NativeLock lock_;
    std::weak_ptr<DocumentProtocol> document_ GUARDED_BY(lock_);
    std::shared_ptr<RuleEnforcerProtocol> ruleEnforcer_ GUARDED_BY(lock_);
    qint64 rowStart_ GUARDED_BY(lock_) = 0;
    std::shared_ptr<ChangedLinesAnnouncer> announcer_ GUARDED_BY(lock_);   // made when it is first needed
    std::shared_ptr<ArrivedLinesNotifier> arrivedLines_ GUARDED_BY(lock_); // likewise

    OperationQueue queue_;
};

} // namespace korvane
