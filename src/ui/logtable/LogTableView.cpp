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
#include <cstdlib>

namespace korvane {
namespace {

constexpr int loadingDelayMilliseconds = 150;
/// Maximum scroll bar value: bars use int, and need room for their own arithmetic.
constexpr qint64 largestBarValue = 1'000'000'000;

} // namespace

LogTableView::LogTableView(QWidget* parent)
    : QAbstractScrollArea(parent), delegate_([this] { return lineTextWidth(); }), input_(*this) {
    LogTableAccessible::install();
    columns_ = {{cell::lineMark, 0}, {cell::lineNum, 0}, {cell::line, 0}};
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

std::vector<LogTableView::Column>::const_iterator LogTableView::column(QLatin1StringView identifier) const {
    return std::find_if(columns_.begin(), columns_.end(),
                        [identifier](const Column& known) { return known.identifier == identifier; });
}

LogTableView::Column LogTableView::takeColumn(QLatin1StringView identifier) {
    const auto place = column(identifier);
    const Column taken = *place;
    columns_.erase(place);
    layoutChanged();
    return taken;
}

void LogTableView::addColumn(const Column& column) {
    columns_.push_back(column);
    layoutChanged();
}

void LogTableView::moveColumn(std::size_t from, std::size_t to) {
    const Column moved = columns_[from];
    columns_.erase(columns_.begin() + static_cast<std::ptrdiff_t>(from));
    columns_.insert(columns_.begin() + static_cast<std::ptrdiff_t>(to), moved);
    layoutChanged();
}

void LogTableView::setColumnWidth(QLatin1StringView identifier, qreal width) {
    for (Column& known : columns_) {
        if (known.identifier == identifier)
            known.width = width;
    }
    viewport()->update();
}

qreal LogTableView::lineColumnX() const {
    qreal x = 0;
    for (const Column& known : columns_) {
        if (known.identifier == cell::line)
            break;
        x += known.width;
    }
    return x;
}

qreal LogTableView::lineTextX() const {
    return lineColumnX() + LogRowPainter::textMargin;
}

qreal LogTableView::lineTextWidth() const {
    const auto line = column(cell::line);
    return std::max(rowHeight() * 4,
                    (line == columns_.end() ? 0 : line->width) - 2 * LogRowPainter::textMargin);
}

QLatin1StringView LogTableView::columnAt(qreal x) const {
    qreal left = 0;
    for (const Column& known : columns_) {
        if (known.identifier == cell::line || x < left + known.width)
            return known.identifier;
        left += known.width;
    }
    return cell::line;
}

// ---- Rows and scrolling

void LogTableView::setRowCount(qint64 count) {
    rowCount_ = count;
    selection_.limitTo(count);
    currentRow_ = std::min(currentRow_, count - 1);
    anchorRow_ = std::min(anchorRow_, count - 1);
    if (textSelection_ && textSelection_->row >= count)
        textSelection_.reset();
    if (caret_ && caret_->row >= count)
        caret_.reset();
    const auto held = held_;
    setTop(places().limited(top_));
    if (held && held->place.row < count)
        held_ = held;
    viewport()->update();
    Q_EMIT contentChanged();
}

void LogTableView::rowsChanged(qint64 firstRow, qint64 lastRow) {
    delegate_.rowsChanged(firstRow, lastRow);
    keepPlaceInChangedRows();
    viewport()->update();
    Q_EMIT contentChanged();
}

void LogTableView::keepPlaceInChangedRows() {
    if (const auto held = held_; held && held->place.row < rowCount_)
        holdAt(held->place, std::min(held->y, std::max(0.0, viewport()->height() - rowHeight())));
    else if (stoodAtEnd_ && top_ != RowPlace{})
        scrollToEnd();
    else
        setTop(places().limited(top_));
}

void LogTableView::redecorate() {
    delegate_.redecorate();
    viewport()->update();
}

void LogTableView::layoutChanged() {
    delegate_.resetRowHeights();
    widestLine_ = 0;
    // An offset beyond the new height of its row is invalid.
    const auto isInside = [this](RowPlace place) {
        return place.row >= rowCount_ || place.offset < delegate_.heightOfRow(place.row);
    };
    if (held_ && !isInside(held_->place))
        held_.reset();
    if (!isInside(top_))
        top_.offset = 0;
    keepPlaceInChangedRows();
    viewport()->update();
    Q_EMIT contentChanged();
}

RowPlaces LogTableView::places() const {
    return {[this](qint64 row) { return delegate_.heightOfRow(row); }, rowCount_,
            static_cast<qreal>(viewport()->height()), rowHeight()};
}

std::vector<RowPlaces::VisibleRow> LogTableView::visibleRows() const {
    return places().visible(top_);
}

void LogTableView::setTop(RowPlace top) {
    moveTop(top, isAtEnd(top));
}

void LogTableView::holdAt(RowPlace place, qreal y) {
    setTop(places().moved(place, -y));
    // At the ends of the file the place may be nearer to the edge than requested.
    const auto area = rowRect(place.row);
    held_ = HeldPlace{place, area ? area->top() + place.offset : y};
}

void LogTableView::moveTop(RowPlace top, bool isEnd) {
    const bool moved = top != top_;
    held_.reset();
    top_ = top;
    stoodAtEnd_ = isEnd;
    updateScrollBars();
    if (moved) {
        viewport()->update();
        Q_EMIT visibleRowsChanged();
    }
}

void LogTableView::scrollByPixels(qreal pixels) {
    if (rowCount_ == 0)
        return;
    if (pixels < 0 && -pixels < viewport()->height()) {
        holdAt(top_, -pixels);
        return;
    }
    const RowPlace top = places().moved(top_, pixels);
    // If rows still have to get their text, the end may move away: do not count it as reached.
    moveTop(top, isAtEnd(top) && !hasUnmeasuredRows(top));
    held_ = HeldPlace{top, 0};
}

bool LogTableView::hasUnmeasuredRows(RowPlace top) const {
    if (!delegate_.isWrapping())
        return false;
    const auto rows = places().visible(top);
    return std::any_of(rows.begin(), rows.end(),
                       [this](const auto& row) { return !delegate_.isLoaded(row.row); });
}

bool LogTableView::scrollByPage(int direction) {
    const RowPlace before = top_;
    scrollByPixels(direction * std::max(1, rowsPerPage() - 1) * rowHeight());
    return top_ != before;
}

int LogTableView::rowsPerPage() const {
    return std::max(1, static_cast<int>(viewport()->height() / rowHeight()));
}

void LogTableView::updateScrollBars() {
    isUpdatingBars_ = true;
    scrollShift_ = 0;
    while ((rowCount_ >> scrollShift_) > largestBarValue)
        ++scrollShift_;
    const RowPlaces rows = places();
    // Far from the end an estimate is enough; no rows are measured for it.
    const bool isNearEnd = rows.isNearEnd(top_);
    const RowPlace end = isNearEnd ? rows.end() : RowPlace{std::max<qint64>(rowCount_ - rowsPerPage(), 0), 0};
    const qint64 last = end.row + (end.offset > 0 ? 1 : 0);
    verticalScrollBar()->setRange(0, static_cast<int>(last >> scrollShift_));
    verticalScrollBar()->setPageStep(std::max(1, rowsPerPage() >> scrollShift_));
    const qint64 value = isNearEnd && top_ == end ? last : top_.row;
    verticalScrollBar()->setValue(static_cast<int>(value >> scrollShift_));
    isUpdatingBars_ = false;
    updateHorizontalBar();
}

void LogTableView::updateHorizontalBar() {
    const qreal textArea = viewport()->width() - lineColumnX();
    const qreal overhang =
        delegate_.isWrapping() ? 0 : widestLine_ + 2 * LogRowPainter::textMargin - textArea;
    isUpdatingBars_ = true;
    horizontalScrollBar()->setRange(0, static_cast<int>(std::clamp(std::ceil(overhang), 0.0, 2e9)));
    horizontalScrollBar()->setPageStep(std::max(1, static_cast<int>(textArea)));
    horizontalScrollBar()->setSingleStep(static_cast<int>(delegate_.metrics().cellWidth() * 4));
    isUpdatingBars_ = false;
}

qreal LogTableView::horizontalOffset() const {
    return delegate_.isWrapping() ? 0 : horizontalScrollBar()->value();
}

void LogTableView::scrollContentsBy(int /*dx*/, int /*dy*/) {
    if (isUpdatingBars_)
        return;
    const qint64 wanted = static_cast<qint64>(verticalScrollBar()->value()) << scrollShift_;
    const qint64 shown = static_cast<qint64>(top_.row >> scrollShift_) << scrollShift_;
    if (verticalScrollBar()->value() == verticalScrollBar()->maximum() && wanted != shown)
        scrollToEnd();
    else if (wanted != shown)
        setTop(places().limited({wanted, 0}));
    viewport()->update();
}

qint64 LogTableView::lastVisibleRow() const {
    const auto rows = visibleRows();
    return rows.empty() ? -1 : rows.back().row;
}

bool LogTableView::isAtEnd() const {
    return isAtEnd(top_);
}

bool LogTableView::isAtEnd(RowPlace top) const {
    return rowCount_ == 0 || places().limited({rowCount_ - 1, 1e9}) == top;
}

void LogTableView::setTopRow(qint64 row) {
    setTop(places().limited({std::clamp<qint64>(row, 0, std::max<qint64>(rowCount_ - 1, 0)), 0}));
}

void LogTableView::scrollToEnd() {
    // Do not check again for the end: text loaded meanwhile makes rows taller.
    moveTop(places().end(), true);
}

void LogTableView::scrollRowToVisible(qint64 row) {
    if (row >= 0 && row < rowCount_)
        setTop(places().showing(top_, row));
}

void LogTableView::scrollRowPartToVisible(qint64 row, qreal offset, qreal height) {
    if (row >= 0 && row < rowCount_)
        setTop(places().showingPart(top_, {row, offset}, height));
}

bool LogTableView::isRowPartInView(qint64 row, qreal offset, qreal height) const {
    const auto area = rowRect(row);
    return area && area->top() + offset >= 0 && area->top() + offset + height <= viewport()->height();
}

bool LogTableView::scrollTextToVisible(qint64 row, TextRange range) {
    if (row < 0 || row >= rowCount_)
        return false;
    const auto view = delegate_.viewForTableColumn(cell::line, row);
    const QRectF first = view.layout ? view.layout->characterRect(range.location) : QRectF();
    const bool fits = delegate_.heightOfRow(row) <= viewport()->height();
    const int rowsBefore = rowsPerPage() / 3; // context above it
    if (isRowPartInView(row, fits ? 0 : first.top(), fits ? delegate_.heightOfRow(row) : first.height()))
        holdAt({row, 0}, rowRect(row)->top());
    else
        holdAt({row, first.top()}, rowsBefore * rowHeight());
    if (!view.layout)
        return false;
    const QRectF last = view.layout->characterRect(std::max(range.location, range.end() - 1));
    widestLine_ = std::max(widestLine_, view.layout->width());
    updateHorizontalBar();
    const qreal visible = viewport()->width() - lineTextX() - LogRowPainter::textMargin;
    const qreal offset = horizontalOffset();
    if (!delegate_.isWrapping() && (first.left() < offset || last.right() > offset + visible))
        horizontalScrollBar()->setValue(static_cast<int>(std::max(0.0, first.left() - visible / 3)));
    return true;
}

qint64 LogTableView::rowAt(qreal y) const {
    for (const RowPlaces::VisibleRow& row : visibleRows()) {
        if (y >= row.y && y < row.y + row.height)
            return row.row;
    }
    return -1;
}

std::optional<QRectF> LogTableView::rowRect(qint64 row) const {
    for (const RowPlaces::VisibleRow& visible : visibleRows()) {
        if (visible.row == row)
            return QRectF(0, visible.y, viewport()->width(), visible.height);
    }
    return std::nullopt;
}

std::optional<QPointF> LogTableView::textOrigin(qint64 row) const {
    const auto area = rowRect(row);
    if (!area)
        return std::nullopt;
    return QPointF(lineTextX() - horizontalOffset(), area->top());
}

void LogTableView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    keepPlaceInChangedRows();
    Q_EMIT visibleRowsChanged();
}

// ---- Drawing

void LogTableView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), colors_.background);
    const auto rows = visibleRows();
    LogRowPainter rowPainter(painter, delegate_, columns_,
                             {.grounds = delegate_.grounds(),
                              .labelFont = font(),
                              .viewSize = viewport()->size(),
                              .horizontalOffset = horizontalOffset(),
                              .showsLoading = showsLoading_});
    for (const RowPlaces::VisibleRow& row : rows) {
        if (row.y + row.height < event->rect().top() || row.y > event->rect().bottom() + 1)
            continue;
        const bool hasText = textSelection_ && textSelection_->row == row.row;
        rowPainter.paint(row, {.isSelected = showsAsSelected(row.row),
                               .isCurrent = row.row == currentRow_,
                               .selectedText = hasText ? textSelection_->range : TextRange{},
                               .caret = caret_ && caret_->row == row.row ? std::optional(caret_->position)
                                                                         : std::nullopt});
    }
    rowPainter.paintSeparators(rows);
    if (hasFocus())
        rowPainter.paintFocus(rows, currentRow_);
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

// ---- Selecting

void LogTableView::dropText() {
    textSelection_.reset();
    caret_.reset();
    input_.forgetTextPlace();
}

void LogTableView::selectionHasChanged() {
    viewport()->update();
    Q_EMIT selectionChanged();
}

void LogTableView::restoreSelection(const RowSelection& selection, qint64 currentRow) {
    selection_ = selection;
    selection_.limitTo(rowCount_);
    currentRow_ = anchorRow_ = std::min(currentRow, rowCount_ - 1);
    selectionHasChanged();
}

void LogTableView::selectRow(qint64 row) {
    if (row < 0 || row >= rowCount_)
        return;
    dropText();
    currentRow_ = anchorRow_ = row;
    selection_.select(row, row);
    selectionHasChanged();
}

void LogTableView::selectRowsTo(qint64 row) {
    if (row < 0 || row >= rowCount_)
        return;
    dropText();
    currentRow_ = row;
    if (anchorRow_ < 0)
        anchorRow_ = row;
    selection_.select(anchorRow_, row);
    selectionHasChanged();
}

void LogTableView::toggleRow(qint64 row) {
    if (row < 0 || row >= rowCount_)
        return;
    dropText();
    selection_.toggle(row);
    currentRow_ = anchorRow_ = row;
    selectionHasChanged();
}

void LogTableView::selectAll() {
    if (rowCount_ == 0)
        return;
    dropText();
    selection_.select(0, rowCount_ - 1);
    anchorRow_ = 0;
    currentRow_ = rowCount_ - 1;
    selectionHasChanged();
}

void LogTableView::clearSelection() {
    selection_.clear();
    dropText();
    selectionHasChanged();
}

QString LogTableView::selectedText() const {
    if (!textSelection_)
        return {};
    const auto view = delegate_.viewForTableColumn(cell::line, textSelection_->row);
    return view.row
               ? view.row->line.string().mid(textSelection_->range.location, textSelection_->range.length)
               : QString();
}

void LogTableView::selectText(qint64 row, TextRange range) {
    caret_.reset();
    takeText(row, range);
    selectionHasChanged();
}

void LogTableView::takeText(qint64 row, TextRange range) {
    textSelection_ = range.length > 0 ? std::optional(TextSelection{row, range}) : std::nullopt;
    // Deselect other rows: their selection would stay, but be invisible.
    currentRow_ = anchorRow_ = row;
    selection_.select(row, row);
}

void LogTableView::selectTextToCaret(qint64 row, int anchor, int position) {
    const TextRange range{std::min(anchor, position), std::abs(position - anchor)};
    takeText(row, range);
    caret_ = Caret{row, position};
    scrollCaretToVisible();
    selectionHasChanged();
}

void LogTableView::scrollCaretToVisible() {
    const auto view = delegate_.viewForTableColumn(cell::line, caret_->row);
    if (!view.layout)
        return;
    const QRectF place = view.layout->characterRect(caret_->position);
    scrollRowPartToVisible(caret_->row, place.top(), place.height());
    widestLine_ = std::max(widestLine_, view.layout->width());
    updateHorizontalBar();
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
        const qint64 row = rowAt(help->pos().y());
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
