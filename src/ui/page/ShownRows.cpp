#include "ui/page/ShownRows.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "bookmarks/LineMarkEntry.h"
#include "core/Preferences.h"
#include "core/RowsUpdatedNotificationObject.h"
#include "core/RuleEnforcerProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "documents/Document.h"
#include "filtering/ShownLines.h"
#include "foundation/FilePath.h"
#include "ui/logtable/LogTableView.h"
#include "ui/page/EndFollower.h"

#include <algorithm>
#include <utility>

namespace korvane {

namespace {

/// Rows of a gap that one click opens.
constexpr qint64 openedAtOnce = 10;

} // namespace

ShownRows::ShownRows(std::shared_ptr<Document> document, std::shared_ptr<TailDataSourceProtocol> dataSource,
                     LogTableView& table, EndFollower& endFollower, std::function<bool()> followsEnd,
                     QObject* parent)
    : QObject(parent), document_(std::move(document)), dataSource_(std::move(dataSource)), table_(table),
      endFollower_(endFollower), followsEnd_(std::move(followsEnd)) {
    if (const auto reader = document_->logReader())
        lines_ = std::make_unique<ShownLines>(
            reader, [this] { mapChanged(); }, [this] { Q_EMIT countedChanged(); });
    if (!lines_)
        return;
    lines_->setLines({dataSource_->rowStart(), dataSource_->numberOfRows()});
    takeRules();
    takeMode();
    takeMarks();
    RowNotices& notices = dataSource_->notices();
    subscriptions_.push_back(notices.rowsStale.subscribe([this] { takeRules(); }));
    subscriptions_.push_back(notices.defaultLineActionChanged.subscribe([this] { takeRules(); }));
    preferencesToken_ = Preferences::shared().observe([this](const QString& key) {
        if (key == Preferences::keyHiddenLines.key)
            takeMode();
    });
    if (FileBasedBookmarksManager::hasShared()) {
        BookmarkNotices& marks = FileBasedBookmarksManager::shared().notices();
        subscriptions_.push_back(marks.lineMarksChanged.subscribe([this] { takeMarks(); }));
        subscriptions_.push_back(marks.lineMarksDeleted.subscribe([this](const auto&) { takeMarks(); }));
        subscriptions_.push_back(marks.bookmarksUpdated.subscribe([this] { takeMarks(); }));
    }
    connect(&table_, &LogTableView::gapClicked, this,
            [this](qint64 row, int count) { openGap(row, count > 1); });
    connect(&table_, &LogTableView::visibleRowsChanged, this,
            [this] { lines_->setFocus(dataSource_->rowStart() + table_.scroller().firstVisibleRow()); });
}

ShownRows::~ShownRows() = default;

// ---- What is shown

bool ShownRows::couldLeaveOut() const {
    return lines_ && lines_->canHide() && Preferences::shared().hiddenLines() == HiddenLines::AsFiltered;
}

bool ShownRows::leavesOut() const {
    return !table_.scroller().map().showsAll();
}

qint64 ShownRows::unhiddenRowCount() const {
    return table_.scroller().map().meantRowCount();
}

void ShownRows::setConditions(ShownLines::Conditions conditions) {
    if (!lines_)
        return;
    conditions_ = std::move(conditions);
    Q_EMIT conditionsChanged();
    lines_->setConditions(conditions_);
}

qint64 ShownRows::matchCount(const SearchItem& item) const {
    return lines_ ? lines_->matchCount(item).value_or(0) : 0;
}

void ShownRows::setCounted(const std::optional<SearchItem>& search) {
    if (lines_)
        lines_->setCounted(search);
}

std::optional<ShownLines::Counted> ShownRows::counted() const {
    return lines_ ? lines_->counted() : std::nullopt;
}

OverviewStrip::Content ShownRows::overview() const {
    OverviewStrip::Content content{{dataSource_->rowStart(), dataSource_->numberOfRows()}, {}, marked_};
    if (const auto found = counted())
        content.matches = found->lines;
    return content;
}

int ShownRows::percentExamined() const {
    const qint64 lines = dataSource_->rowCount();
    const qint64 left = lines_ ? std::min(lines_->linesLeft(), lines) : 0;
    return left == 0 ? 100 : static_cast<int>((lines - left) * 100 / lines);
}

void ShownRows::takeRules() {
    ShownLines::Rules rules;
    if (const auto enforcer = dataSource_->ruleEnforcer())
        rules.rules = enforcer->activeSearches();
    rules.hidesUnclaimed = dataSource_->defaultLineAction() == DefaultFilterLineAction::hide;
    lines_->setRules(std::move(rules));
    Q_EMIT changed();
}

void ShownRows::takeMode() {
    lines_->setMode(Preferences::shared().hiddenLines());
    Q_EMIT changed();
}

void ShownRows::takeMarks() {
    marked_.clear();
    if (FileBasedBookmarksManager::hasShared())
        if (const auto marks =
                FileBasedBookmarksManager::shared().lineMarksFor(absoluteString(document_->fileUrl())))
            for (const auto& mark : *marks)
                marked_.push_back(mark->lineNum());
    std::ranges::sort(marked_);
    publishAlwaysShown();
    Q_EMIT marksChanged();
}

void ShownRows::publishAlwaysShown() {
    LineSetWriter writer;
    for (const auto& [first, count] : opened_)
        writer.fill({first, count});
    for (const auto& [kind, line] : revealed_)
        writer.fill({line, 1});
    for (const qint64 line : marked_)
        writer.fill({line, 1});
    lines_->setAlwaysShown(writer.set());
}

void ShownRows::reveal(Reveal kind, qint64 row, std::function<void()> then) {
    pending_.reset();
    if (!lines_ || table_.scroller().map().shows(row)) {
        then();
        return;
    }
    const qint64 line = dataSource_->rowStart() + row;
    pending_ = std::make_unique<Pending>(Pending{line, std::move(then)});
    revealed_[kind] = line;
    publishAlwaysShown();
}

void ShownRows::openGap(qint64 row, bool isWhole) {
    const RowMap::Gap gap = table_.scroller().map().gapAt(row);
    if (gap.length == 0)
        return;
    qint64& count = opened_[dataSource_->rowStart() + gap.location];
    count = std::max(count, isWhole ? gap.length : std::min(gap.length, openedAtOnce));
    publishAlwaysShown();
}

// ---- Changes

void ShownRows::linesChanged(const RowsUpdatedNotificationObject& rows) {
    if (!lines_)
        return;
    if (rows.isOtherContent) {
        opened_.clear();
        revealed_.clear();
        pending_.reset();
        publishAlwaysShown();
        lines_->startAgain();
    } else {
        lines_->linesChanged(rows.idx.location);
    }
}

void ShownRows::encodingChanged() {
    if (lines_)
        lines_->startAgain();
}

void ShownRows::setVisible(bool isVisible) {
    if (lines_)
        lines_->setRunning(isVisible);
}

void ShownRows::update() {
    if (lines_)
        lines_->setLines({dataSource_->rowStart(), dataSource_->numberOfRows()});
    if (!lines_ || lines_->map().showsAll())
        table_.setRowMap(RowMap::ofAllRows(dataSource_->numberOfRows()));
    else
        table_.setRowMap(lines_->map().limitedTo(dataSource_->numberOfRows()));
}

void ShownRows::mapChanged() {
    // While the first lines found fit into the view, it stands at their end without being at the end of the
    // file.
    endFollower_.whileRowsChange(followsEnd_() && hasLastRow_, [this] { update(); });
    hasLastRow_ = lines_->reachesEnd();
    if (pending_ && table_.scroller().map().shows(pending_->line - dataSource_->rowStart()))
        std::exchange(pending_, nullptr)->then();
    Q_EMIT changed();
}

} // namespace korvane
