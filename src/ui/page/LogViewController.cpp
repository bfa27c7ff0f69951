#include "ui/page/LogViewController.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/Preferences.h"
#include "core/RowsUpdatedNotificationObject.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "foundation/TimingLog.h"
#include "foundation/text/Translations.h"
#include "ui/page/EndFollower.h"
#include "ui/page/GotoLineViewController.h"
#include "ui/page/LineCopier.h"
#include "ui/page/LineMarker.h"
#include "ui/page/LogAppearance.h"
#include "ui/page/LogSearch.h"
#include "ui/page/PrimarySelection.h"
#include "ui/page/ShownRows.h"
#include "ui/page/ViewPlace.h"

#include <QEvent>
#include <QLocale>
#include <QMenu>
#include <QPointer>

#include <algorithm>

namespace korvane {
namespace {

/// Longer selections are not highlighted elsewhere: they are meant to be copied, not searched. UTF-16 units.
constexpr qsizetype longestQuickHighlight = 1000;
/// Maximum number of lines marked at once: each costs a read of the file and an entry in the list.
constexpr qint64 mostLinesMarkedAtOnce = 1000;

} // namespace

LogViewController::LogViewController(std::shared_ptr<Document> document, AlertPresenter& alerts,
                                     QWidget* parent)
    : QObject(parent), document_(std::move(document)), dataSource_(document_->dataSource()),
      tableView_(new LogTableView(parent)), endFollower_(new EndFollower(*tableView_, this)),
      shownRows_(new ShownRows(
          document_, dataSource_, *tableView_, *endFollower_, [this] { return followsEnd(); }, this)),
      search_(new LogSearch(*tableView_, *shownRows_, dataSource_, this)),
      viewPlace_(new ViewPlace(document_, dataSource_, *tableView_, *endFollower_, this)),
      lineMarker_(new LineMarker(document_, dataSource_, *tableView_, this)),
      primarySelection_(new PrimarySelection(*tableView_, dataSource_, this)),
      copier_(new LineCopier(dataSource_, alerts, *tableView_, this)) {
    tableView_->delegate().setDataSource(dataSource_);
    copier_->setPlace([this] {
        const QUrl& url = document_->fileUrl();
        return CopyFormat::placeInMarkdown(document_->isTransient() ? document_->displayName()
                                                                    : displayPath(url),
                                           url.isLocalFile() ? QString() : url.authority());
    });
    appearance_ = new LogAppearance(document_, dataSource_, *tableView_, this);
    shownRows_->update();
    connect(shownRows_, &ShownRows::changed, this, [this] {
        requestVisiblePages();
        Q_EMIT rowCountChanged();
    });

    observeRows();
    observeLineMarks();
    preferencesToken_ =
        Preferences::shared().observe([this](const QString& key) { handleUserDefaultsChanged(key); });

    connect(search_, &LogSearch::noMatch, this, [this](LogSearch::Ending ending, bool isForwards) {
        if (document_->isLoading())
            showSearchMessage(tr("No match in what has been read so far"));
        else if (ending == LogSearch::Ending::NoMatch)
            showSearchMessage(tr("No match"));
        else
            showSearchMessage(isForwards ? tr("No further match. Search again to go on from the first line")
                                         : tr("No further match. Search again to go on from the last line"));
    });
    connect(search_, &LogSearch::hiddenLineShown, this, [this](qint64 lineNumber) {
        showSearchMessage(
            tr("Line %1 is hidden, and shown for its match").arg(QLocale().toString(lineNumber)));
    });
    connect(search_, &LogSearch::searchFailed, this, &LogViewController::showSearchMessage);
    connect(search_, &LogSearch::searchingChanged, this, [this](bool isSearching) {
        if (isSearching)
            Q_EMIT userMessageOver(searchMessage_);
    });
    connect(viewPlace_, &ViewPlace::lineKnown, this, &LogViewController::goToLine);
    connect(viewPlace_, &ViewPlace::lineMissing, this, [this](qint64 lineNumber) {
        goToLine(lineCount());
        Q_EMIT userMessage(noSuchLine(lineNumber));
    });
    connect(copier_, &LineCopier::ended, this, &LogViewController::userMessage);
    tableView_->installEventFilter(this);
    connect(tableView_, &LogTableView::selectionChanged, this, [this] {
        quickHighlightSelection();
        Q_EMIT selectionChanged();
    });
    connect(tableView_, &LogTableView::selectedByMouse, this,
            [this] { primarySelection_->offer(LineCopier::largeCopyBytes); });
    connect(tableView_, &LogTableView::visibleRowsChanged, this, [this] { visibleRowsChanged(); });
    connect(tableView_, &LogTableView::visibleRowsShown, this, [this] {
        document_->firstScreenShown();
        Q_EMIT firstRowsShown();
    });
    connect(tableView_, &LogTableView::contextMenuRequested, this, [this](QPoint place) {
        if (contextMenu_)
            contextMenu_->popup(place);
    });
}

void LogViewController::showSearchMessage(const QString& text) {
    searchMessage_ = text;
    Q_EMIT userMessage(text);
}

LogViewController::~LogViewController() = default;

bool LogViewController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == tableView_ && event->type() == QEvent::Hide) {
        dataSource_->viewHidden();
        shownRows_->setVisible(false);
    } else if (watched == tableView_ && event->type() == QEvent::Show) {
        visibleRowsChanged();
        shownRows_->setVisible(true);
    }
    return QObject::eventFilter(watched, event);
}

// ---- Rows

void LogViewController::observeRows() {
    subscriptions_.push_back(document_->notices().rowsUpdated.subscribe(
        [this](const RowsUpdatedNotificationObject& rows) { rowsUpdatedInTable(rows); }));
    subscriptions_.push_back(dataSource_->notices().pageLoaded.subscribe([this](qint64 page) {
        const qint64 firstRow = pages::firstLine(page) - dataSource_->rowStart();
        dataSourceLoadedLines(firstRow, firstRow + pages::size - 1);
    }));
    subscriptions_.push_back(dataSource_->notices().rowsStale.subscribe(
        [this] { dataSourceLoadedLines(0, tableView_->rowCount() - 1); }));
}

void LogViewController::rowsUpdatedInTable(const RowsUpdatedNotificationObject& rows) {
    viewPlace_->rowsWillChange(rows.isOtherContent);
    if (rows.isOtherContent) {
        search_->forgetMatches();
        primarySelection_->forget();
        // The last line of a local file exists from the beginning, and is not new while it is empty.
        endFollower_->otherContent(document_->connectionState() == ConnectionState::Local ? 1 : 0);
    }
    const qint64 countBefore = rows.isOtherContent ? 0 : lineCount();
    if (rows.isOtherContent)
        tableView_->selection().clear(); // its rows now mean other lines
    endFollower_->whileRowsChange(followsEnd(), [&] {
        appearance_->updateLineNumberColumn();
        shownRows_->linesChanged(rows);
        shownRows_->update();
        tableView_->rowsChanged(std::max<qint64>(0, rows.idx.location - dataSource_->rowStart()));
    });
    if (document_->isLoading())
        endFollower_->forgetNewLines();
    viewPlace_->rowsHaveChanged();
    // Only now: the view may have scrolled to a pending place.
    requestVisiblePages();
    if (!document_->isLoading() && lineCount() > countBefore)
        Q_EMIT linesArrived(lineCount() - countBefore);
    Q_EMIT rowCountChanged();
}

bool LogViewController::followsEnd() const {
    // While a file is being read the view stays at its first line, unless the user has gone to the end.
    return document_->isFollowed() && (!document_->isLoading() || endFollower_->isAtEnd());
}

void LogViewController::requestVisiblePages() {
    // Rows drawn from a cached layout do not request their text again.
    qint64 requested = 0;
    for (const RowPlaces::VisibleRow& row : tableView_->scroller().visibleRows()) {
        const qint64 page = pages::pageOfLine(dataSource_->rowStart() + row.row);
        if (row.hiddenRows == 0 && page != std::exchange(requested, page))
            dataSource_->loadPage(page, true);
    }
}

void LogViewController::dataSourceLoadedLines(qint64 firstRow, qint64 lastRow) {
    // Loaded text can make wrapped rows taller.
    endFollower_->whileRowsChange(followsEnd(), [=, this] { tableView_->rowsChanged(firstRow, lastRow); });
    search_->rowsArrived();
    primarySelection_->rowsArrived();
    Q_EMIT rowsArrived();
}

void LogViewController::visibleRowsChanged() {
    // In a tab behind another the table still follows the end, but its rows are not visible.
    if (!tableView_->isVisible())
        return;
    const qint64 first = tableView_->scroller().firstVisibleRow();
    const qint64 last = std::max(first, tableView_->scroller().lastVisibleRow());
    const qint64 margin = 3 * (last - first + 1);
    dataSource_->dropRequestsOutside(std::max<qint64>(0, first - margin), last + margin);
    const QPointer<LogViewController> self(this);
    // The neighbours are requested after the visible rows.
    QMetaObject::invokeMethod(
        this,
        [this, first, last, margin] {
            if (tableView_->scroller().firstVisibleRow() != first)
                return;
            for (const qint64 row : {first, last, last + margin, first - margin}) {
                if (row >= 0 && row < tableView_->rowCount())
                    dataSource_->loadPage(pages::pageOfLine(dataSource_->rowStart() + row), true);
            }
        },
        Qt::QueuedConnection);
}

qint64 LogViewController::lineCount() const {
    return dataSource_->rowStart() + tableView_->rowCount();
}

bool LogViewController::isAtStart() const {
    return tableView_->scroller().firstVisibleRow() == 0 && tableView_->selection().rows().isEmpty();
}

bool LogViewController::endsWithEmptyRow() const {
    const auto reader = document_->logReader();
    const qint64 lines = reader ? reader->lineCount() : 0;
    return lines > 1 && lines == lineCount() && reader->byteCount(lines, 1) == 0;
}

std::optional<qint64> LogViewController::validLineNumber(const QString& text) const {
    bool isNumber = false;
    qint64 number = QLocale().toLongLong(text.trimmed(), &isNumber);
    if (!isNumber)
        number = QLocale::system().toLongLong(text.trimmed(), &isNumber);
    if (!isNumber)
        number = text.trimmed().toLongLong(&isNumber);
    return isNumber && number >= 1 && number <= lineCount() ? std::optional(number) : std::nullopt;
}

void LogViewController::goToLine(qint64 lineNumber) {
    const qint64 row = lineNumber - 1 - dataSource_->rowStart();
    if (row < 0) {
        Q_EMIT userMessage(tr("Line %1 was cleared from the view: View > Show Cleared Lines brings it back")
                               .arg(QLocale().toString(lineNumber)));
        return;
    }
    if (row >= tableView_->rowCount()) {
        Q_EMIT userMessage(noSuchLine(lineNumber));
        return;
    }
    shownRows_->reveal(ShownRows::Reveal::Line, row, [this, row, lineNumber] {
        tableView_->scrollTextToVisible(row, {});
        tableView_->selection().selectRow(row);
        qCDebug(logTiming, "went to line %lld", static_cast<long long>(lineNumber));
    });
}

void LogViewController::goToMarkedLine(qint64 lineNumber) {
    goToLine(lineNumber);
    tableView_->setFocus();
}

void LogViewController::loadEnded() {
    // The file may already be growing.
    endFollower_->whileRowsChange(followsEnd(), [this] { shownRows_->update(); });
    viewPlace_->loadEnded();
    endFollower_->everythingRead();
}

QString LogViewController::noSuchLine(qint64 lineNumber) const {
    return tr("There is no line %1: the file has %2 line(s)", nullptr, translations::pluralOf(lineCount()))
        .arg(QLocale().toString(lineNumber), QLocale().toString(lineCount()));
}

void LogViewController::performGotoLineMenuAction() {
    auto* panel = new GotoLineViewController(
        lineCount(), [this](const QString& text) { return validLineNumber(text); },
        tableView_->parentWidget());
    connect(panel, &GotoLineViewController::lineChosen, this, &LogViewController::goToLine);
    panel->open();
}

void LogViewController::goToFirstLine() {
    tableView_->scroller().setTopRow(0);
    if (const auto first = tableView_->scroller().map().nearestShown(0))
        tableView_->selection().selectRow(*first);
}

void LogViewController::goToLastLine() {
    endFollower_->goToEnd();
    if (const auto last = tableView_->scroller().map().nearestShown(tableView_->rowCount() - 1))
        tableView_->selection().selectRow(*last);
}

void LogViewController::clearView() {
    dataSource_->clearView();
    rowStartChanged();
}

bool LogViewController::hasClearedLines() const {
    return dataSource_->rowStart() > 0;
}

void LogViewController::showAllLines() {
    const qint64 firstLine = dataSource_->rowStart() + tableView_->scroller().firstVisibleRow();
    dataSource_->clearCache();
    rowStartChanged();
    tableView_->scroller().setTopRow(firstLine);
    endFollower_->forgetNewLines();
}

void LogViewController::rowStartChanged() {
    search_->forgetMatches();
    tableView_->selection().clear();
    shownRows_->update();
    tableView_->rowsChanged();
    endFollower_->forgetNewLines();
    requestVisiblePages();
    Q_EMIT rowCountChanged();
}

// ---- Line marks

void LogViewController::observeLineMarks() {
    document_->setLineMarkLookup(FileBasedBookmarksManager::sharedLookup());
    connect(tableView_, &LogTableView::lineMarkClicked, this,
            [this](qint64 row) { lineMarkColClicked(row); });
    connect(lineMarker_, &LineMarker::lineChosen, this, &LogViewController::goToLine);
    connect(lineMarker_, &LineMarker::marksChanged, this, [this] {
        tableView_->viewport()->update();
        FileBasedBookmarksManager::shared().notices().lineMarksChanged.post();
    });
    if (!FileBasedBookmarksManager::hasShared())
        return;
    BookmarkNotices& marks = FileBasedBookmarksManager::shared().notices();
    const auto redraw = [this] { tableView_->viewport()->update(); };
    subscriptions_.push_back(marks.lineMarksChanged.subscribe(redraw));
    subscriptions_.push_back(marks.lineMarksDeleted.subscribe([redraw](const auto&) { redraw(); }));
    subscriptions_.push_back(marks.bookmarksUpdated.subscribe(redraw));
}

void LogViewController::lineMarkColClicked(qint64 row) {
    lineMarker_->setMarks({row}, !dataSource_->hasLineMark(row));
}

void LogViewController::toggleLineMarkMenuAction() {
    std::vector<qint64> rows;
    for (const auto& range : tableView_->selection().rows().ranges()) {
        for (qint64 row = range.first; row <= range.last; ++row) {
            if (static_cast<qint64>(rows.size()) == mostLinesMarkedAtOnce) {
                Q_EMIT userMessage(tr("Not marked: more than %1 line(s) are selected", nullptr,
                                      translations::pluralOf(mostLinesMarkedAtOnce))
                                       .arg(QLocale().toString(mostLinesMarkedAtOnce)));
                return;
            }
            rows.push_back(row);
        }
    }
    if (rows.empty() && tableView_->selection().currentRow() >= 0)
        rows.push_back(tableView_->selection().currentRow());
    const bool allMarked =
        std::all_of(rows.begin(), rows.end(), [this](qint64 row) { return dataSource_->hasLineMark(row); });
    std::erase_if(rows, [&](qint64 row) { return dataSource_->hasLineMark(row) != allMarked; });
    lineMarker_->setMarks(rows, !allMarked);
}

// ---- How lines are shown

void LogViewController::handleUserDefaultsChanged(const QString& key) {
    const auto& preferences = Preferences::shared();
    if (key != Preferences::keyQuickHighlightSelection)
        return;
    dataSource_->setQuickHighlightEnabled(preferences.quickHighlightSelection());
    quickHighlightSelection();
}

bool LogViewController::quickHighlightEnabled() const {
    return dataSource_->quickHighlightEnabled();
}

void LogViewController::setQuickHighlightEnabled(bool enabled) {
    dataSource_->setQuickHighlightEnabled(enabled);
    tableView_->redecorate();
}

void LogViewController::quickHighlightSelection() {
    QString text = tableView_->selectedText();
    if (text.size() > longestQuickHighlight || text.trimmed().isEmpty())
        text.clear();
    if (text == dataSource_->quickHighlightSelectionString())
        return;
    dataSource_->setQuickHighlightSelectionString(text);
    tableView_->redecorate();
    quickHighlightTextSelected_.post(text);
}

void LogViewController::setEncodingChoice(EncodingChoice choice) {
    viewPlace_->keepWhileReading();
    document_->setEncodingChoice(choice);
    shownRows_->encodingChanged();
    if (!document_->isLoading())
        viewPlace_->restore(viewPlace_->place());
    search_->forgetMatches(); // the matches belong to texts in the old encoding
    tableView_->rowsChanged();
}

bool LogViewController::hidesUnclaimedLines() const {
    return dataSource_->defaultLineAction() == DefaultFilterLineAction::hide;
}

void LogViewController::setHidesUnclaimedLines(bool hides) {
    dataSource_->setDefaultLineAction(hides ? DefaultFilterLineAction::hide : DefaultFilterLineAction::show);
}

QString LogViewController::textForNewRule() const {
    QString text = tableView_->selectedText();
    if (text.isEmpty()) {
        if (const auto line = dataSource_->cachedRowLine(tableView_->selection().currentRow()))
            text = line->line.string();
    }
    return text.trimmed().left(longestQuickHighlight);
}

QStringList LogViewController::visibleLines() const {
    QStringList lines;
    for (const RowPlaces::VisibleRow& row : tableView_->scroller().visibleRows()) {
        if (const auto line = row.hiddenRows > 0 ? std::nullopt : dataSource_->cachedRowLine(row.row))
            lines.append(line->line.string());
    }
    return lines;
}

} // namespace korvane
