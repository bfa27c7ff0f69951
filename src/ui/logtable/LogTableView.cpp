#include "ui/logtable/LogTableView.h"

#include "ui/logtable/LogRowPainter.h"
#include "ui/logtable/LogTableAccessible.h"

#include <QHelpEvent>
#include <QPainter>
#include <QScrollBar>
#include <QToolTip>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace korvane {
namespace {

constexpr int loadingDelayMilliseconds = 150;
/// Maximum scroll bar value: bars use int, and need room for their own arithmetic.
constexpr qint64 largestBarValue = 1'000'000'000;

} // namespace

LogTableView::LogTableView(QWidget* parent)
    : QAbstractScrollArea(parent), delegate_([this] { return lineTextWidth(); }),
      scroller_(delegate_, [this] { return static_cast<qreal>(viewport()->height()); }),
      selection_([this] { return rowCount(); }), input_(*this) {
    LogTableAccessible::install();
    connect(&scroller_, &LogTableScroller::rangeChanged, this, &LogTableView::updateScrollBars);
    connect(&scroller_, &LogTableScroller::moved, this, [this] {
        viewport()->update();
        Q_EMIT visibleRowsChanged();
    });
    connect(&selection_, &LogTableSelection::changed, this, [this] {
        if (!selection_.text() && !selection_.caret())
            input_.forgetTextPlace();
        viewport()->update();
        Q_EMIT selectionChanged();
    });
    setColors(
        {palette().color(QPalette::Base), palette().color(QPalette::Text), palette().color(QPalette::Mid)});
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName(tr("Log lines"));
    viewport()->setAutoFillBackground(false);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);
    viewport()->setCursor(Qt::IBeamCursor);
    viewport()->setMouseTracking(true);
    verticalScrollBar()->setSingleStep(1);
    layoutChanged();
}

LogTableView::~LogTableView() {
    LogTableAccessible::remove(*this);
}

void LogTableView::setColors(const Colors& colors) {
    colors_ = colors;
    groundsChanged();
}

void LogTableView::groundsChanged() {
    delegate_.setGrounds({colors_, palette(), hasFocus()});
    viewport()->update();
}

qreal LogTableView::rowHeight() const {
    return delegate_.metrics().lineHeight();
}

// ---- Columns

void LogTableView::setColumns(const LogTableColumns& columns) {
    columns_ = columns;
    layoutChanged();
}

void LogTableView::setColumnWidth(QLatin1StringView identifier, qreal width) {
    columns_.setWidth(identifier, width);
    viewport()->update();
}

qreal LogTableView::lineTextX() const {
    return columns_.x(cell::line) + LogRowPainter::textMargin;
}

qreal LogTableView::lineTextWidth() const {
    return std::max(rowHeight() * 4, columns_.width(cell::line) - 2 * LogRowPainter::textMargin);
}

// ---- Rows and scrolling

void LogTableView::setRowCount(qint64 count) {
    const RowMap& map = scroller_.map();
    setRowMap(map.showsAll() ? RowMap::ofAllRows(count) : map.limitedTo(count));
}

void LogTableView::setRowMap(const RowMap& map) {
    selection_.limitTo(map);
    delegate_.setMap(map);
    scroller_.setMap(map);
    viewport()->update();
    Q_EMIT contentChanged();
}

void LogTableView::rowsChanged(qint64 firstRow, qint64 lastRow) {
    delegate_.rowsChanged(firstRow, lastRow);
    scroller_.heightsChanged();
    viewport()->update();
    Q_EMIT contentChanged();
}

void LogTableView::redecorate() {
    delegate_.redecorate();
    viewport()->update();
}

void LogTableView::layoutChanged() {
    delegate_.resetRowHeights();
    widestLine_ = 0;
    scroller_.layoutChanged();
    viewport()->update();
    Q_EMIT contentChanged();
}

void LogTableView::updateScrollBars() {
    isUpdatingBars_ = true;
    scrollShift_ = 0;
    while ((scroller_.map().count() >> scrollShift_) > largestBarValue)
        ++scrollShift_;
    const RowPlace end = scroller_.endPosition();
    const qint64 last = end.row + (end.offset > 0 ? 1 : 0);
    verticalScrollBar()->setRange(0, static_cast<int>(last >> scrollShift_));
    verticalScrollBar()->setPageStep(std::max(1, scroller_.rowsPerPage() >> scrollShift_));
    const qint64 value = scroller_.isAtEndPosition() ? last : scroller_.topPosition();
    verticalScrollBar()->setValue(static_cast<int>(value >> scrollShift_));
    isUpdatingBars_ = false;
    updateHorizontalBar();
}

void LogTableView::updateHorizontalBar() {
    const qreal textArea = viewport()->width() - columns_.x(cell::line);
    const qreal overhang =
        delegate_.isWrapping() ? 0 : widestLine_ + 2 * LogRowPainter::textMargin - textArea;
    isUpdatingBars_ = true;
    horizontalScrollBar()->setRange(0, static_cast<int>(std::clamp(std::ceil(overhang), 0.0, 2e9)));
    horizontalScrollBar()->setPageStep(std::max(1, static_cast<int>(textArea)));
    horizontalScrollBar()->setSingleStep(static_cast<int>(delegate_.metrics().cellWidth() * 4));
    isUpdatingBars_ = false;
}

void LogTableView::noteLineWidth(qreal width) {
    widestLine_ = std::max(widestLine_, width);
    updateHorizontalBar();
}

qreal LogTableView::horizontalOffset() const {
    return delegate_.isWrapping() ? 0 : horizontalScrollBar()->value();
}

void LogTableView::scrollContentsBy(int /*dx*/, int /*dy*/) {
    if (isUpdatingBars_)
        return;
    const qint64 wanted = static_cast<qint64>(verticalScrollBar()->value()) << scrollShift_;
    const qint64 shown = (scroller_.topPosition() >> scrollShift_) << scrollShift_;
    if (verticalScrollBar()->value() == verticalScrollBar()->maximum() && wanted != shown)
        scroller_.scrollToEnd();
    else if (wanted != shown)
        scroller_.setTopPosition(wanted);
    viewport()->update();
}

bool LogTableView::scrollTextToVisible(qint64 row, TextRange range) {
    if (!scroller_.map().shows(row))
        return false;
    const auto view = delegate_.viewForTableColumn(cell::line, row);
    const QRectF first = view.layout ? view.layout->characterRect(range.location) : QRectF();
    const bool fits = delegate_.heightOfRow(row) <= viewport()->height();
    const int rowsBefore = scroller_.rowsPerPage() / 3; // context above it
    const qreal height = fits ? delegate_.heightOfRow(row) : first.height();
    if (scroller_.isPartVisible(row, fits ? 0 : first.top(), height))
        scroller_.holdAt({row, 0}, rowRect(row)->top());
    else
        scroller_.holdAt({row, first.top()}, rowsBefore * rowHeight());
    if (!view.layout)
        return false;
    const QRectF last = view.layout->characterRect(std::max(range.location, range.end() - 1));
    noteLineWidth(view.layout->width());
    const qreal visible = viewport()->width() - lineTextX() - LogRowPainter::textMargin;
    const qreal offset = horizontalOffset();
    if (!delegate_.isWrapping() && (first.left() < offset || last.right() > offset + visible))
        horizontalScrollBar()->setValue(static_cast<int>(std::max(0.0, first.left() - visible / 3)));
    return true;
}

std::optional<QRectF> LogTableView::rowRect(qint64 row) const {
    const auto visible = scroller_.visibleRow(row);
    if (!visible)
        return std::nullopt;
    return QRectF(0, visible->y, viewport()->width(), visible->height);
}

std::optional<QPointF> LogTableView::textOrigin(qint64 row) const {
    const auto area = rowRect(row);
    if (!area)
        return std::nullopt;
    return QPointF(lineTextX() - horizontalOffset(), area->top());
}

void LogTableView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    scroller_.heightsChanged();
    Q_EMIT visibleRowsChanged();
}

// ---- Drawing

void LogTableView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), colors_.background);
    const auto rows = scroller_.visibleRows();
    LogRowPainter rowPainter(painter, delegate_, columns_,
                             {.grounds = delegate_.grounds(),
                              .labelFont = font(),
                              .viewSize = viewport()->size(),
                              .horizontalOffset = horizontalOffset(),
                              .showsLoading = showsLoading_});
    for (const RowPlaces::VisibleRow& row : rows) {
        if (row.y + row.height < event->rect().top() || row.y > event->rect().bottom() + 1)
            continue;
        if (row.hiddenRows > 0) {
            rowPainter.paintGap(row);
            continue;
        }
        const auto& text = selection_.text();
        const auto& caret = selection_.caret();
        rowPainter.paint(
            row,
            {.isSelected = selection_.showsRow(row.row),
             .isCurrent = row.row == selection_.currentRow(),
             .followsGap = !scroller_.map().hasGapRows() && scroller_.map().gapBefore(row.row).length > 0,
             .selectedText = text && text->row == row.row ? text->range : TextRange{},
             .caret = caret && caret->row == row.row ? std::optional(caret->position) : std::nullopt});
    }
    rowPainter.paintSeparators(rows);
    if (hasFocus())
        rowPainter.paintFocus(rows, selection_.currentRow());
    if (!rows.empty())
        delegate_.keepLayouts(rows.front().row, rows.back().row);
    if (rowPainter.widestLine() > widestLine_) {
        widestLine_ = rowPainter.widestLine();
        QMetaObject::invokeMethod(
            this, [this] { updateHorizontalBar(); }, Qt::QueuedConnection);
    }
    noteLoadingRows(rowPainter.hasMetUnloadedRow());
    if (!rows.empty() && !rowPainter.hasMetUnloadedRow() && !hasShownRows_) {
        hasShownRows_ = true;
        Q_EMIT visibleRowsShown();
    }
}

void LogTableView::noteLoadingRows(bool anyLoading) {
    if (!anyLoading) {
        loadingTimer_.stop();
        showsLoading_ = false;
    } else if (!showsLoading_ && !loadingTimer_.isActive()) {
        loadingTimer_.start(loadingDelayMilliseconds, this);
    }
}

// ---- The selection

QString LogTableView::selectedText() const {
    const auto& text = selection_.text();
    if (!text)
        return {};
    const auto view = delegate_.viewForTableColumn(cell::line, text->row);
    return view.row ? view.row->line.string().mid(text->range.location, text->range.length) : QString();
}

void LogTableView::scrollCaretToVisible() {
    const auto& caret = selection_.caret();
    if (!caret)
        return;
    const auto view = delegate_.viewForTableColumn(cell::line, caret->row);
    if (!view.layout)
        return;
    const QRectF place = view.layout->characterRect(caret->position);
    scroller_.scrollRowPartToVisible(caret->row, place.top(), place.height());
    noteLineWidth(view.layout->width());
    const qreal visible = viewport()->width() - lineTextX() - LogRowPainter::textMargin;
    QScrollBar& bar = *horizontalScrollBar();
    if (place.left() < bar.value())
        bar.setValue(static_cast<int>(place.left()));
    else if (place.right() > bar.value() + visible)
        bar.setValue(static_cast<int>(std::ceil(place.right() - visible)));
}

// ---- Events

void LogTableView::keyPressEvent(QKeyEvent* event) {
    if (!input_.pressKey(*event))
        QAbstractScrollArea::keyPressEvent(event);
}

void LogTableView::mousePressEvent(QMouseEvent* event) {
    input_.pressMouse(*event);
}

void LogTableView::mouseMoveEvent(QMouseEvent* event) {
    input_.moveMouse(*event);
}

void LogTableView::mouseReleaseEvent(QMouseEvent* event) {
    input_.releaseMouse(*event);
}

void LogTableView::mouseDoubleClickEvent(QMouseEvent* event) {
    input_.doubleClick(*event);
}

void LogTableView::wheelEvent(QWheelEvent* event) {
    input_.turnWheel(*event);
    event->accept();
}

void LogTableView::contextMenuEvent(QContextMenuEvent* event) {
    input_.askForMenu(*event);
}

void LogTableView::timerEvent(QTimerEvent* event) {
    if (event->timerId() == loadingTimer_.timerId()) {
        loadingTimer_.stop();
        showsLoading_ = true;
        viewport()->update();
        return;
    }
    QAbstractScrollArea::timerEvent(event);
}

void LogTableView::changeEvent(QEvent* event) {
    QAbstractScrollArea::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        groundsChanged();
}

void LogTableView::focusInEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusInEvent(event);
    groundsChanged();
}

void LogTableView::focusOutEvent(QFocusEvent* event) {
    QAbstractScrollArea::focusOutEvent(event);
    groundsChanged();
}

bool LogTableView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const qint64 row = scroller_.rowAt(help->pos().y());
        const auto view =
            row < 0 ? LogTableViewDelegate::CellView{} : delegate_.viewForTableColumn(cell::line, row);
        QString text;
        if (view.row && view.row->cutBytes > 0)
            text = tr("This line is too long to show whole. Copying it copies all of it.");
        else if (LogRowPainter::isGivenUp(view))
            text = tr("A rule has given this line up: it is not known whether it matches.");
        QToolTip::showText(help->globalPos(), text, viewport());
        return true;
    }
    return QAbstractScrollArea::viewportEvent(event);
}

} // namespace korvane
