#include "ui/LogTableView.h"

#include "ui/Icons.h"
#include "ui/LogRowPainter.h"
#include "ui/LogTableAccessible.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QScrollBar>
#include <QStyle>
#include <QToolTip>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace korvane {
namespace {

constexpr int wheelLines = 3;
constexpr int autoScrollMilliseconds = 40;
constexpr int loadingDelayMilliseconds = 150;
/// Scroll bars count in int; this leaves room for their own arithmetic.
constexpr qint64 largestBarValue = 1'000'000'000;

bool isWordUnit(QChar unit) {
    return unit.isLetterOrNumber() || unit == u'_' || unit.isMark() || unit.isSurrogate();
}

} // namespace

LogTableView::LogTableView(QWidget* parent)
    : QAbstractScrollArea(parent), delegate_(*this), markImage_(icon(QStringLiteral("linemark"))) {
    LogTableAccessible::install();
    columns_ = {{cell::lineMark, 0}, {cell::lineNum, 0}, {cell::line, 0}};
    colors_ = {palette().color(QPalette::Base), palette().color(QPalette::Text),
               palette().color(QPalette::Mid)};
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

void LogTableView::addColumn(const Column& added) {
    columns_.push_back(added);
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
    if (currentRow_ >= count)
        currentRow_ = count - 1;
    if (textSelection_ && textSelection_->row >= count)
        textSelection_.reset();
    setTop(places().limited(top_));
    viewport()->update();
    Q_EMIT contentChanged();
}

void LogTableView::rowsChanged(qint64 firstRow) {
    delegate_.rowsChanged(firstRow);
    setTop(placeInChangedRows());
    viewport()->update();
    Q_EMIT contentChanged();
}

RowPlace LogTableView::placeInChangedRows() const {
    return stoodAtEnd_ && top_ != RowPlace{} ? places().end() : places().limited(top_);
}

void LogTableView::redecorate() {
    delegate_.redecorate();
    viewport()->update();
}

void LogTableView::layoutChanged() {
    delegate_.resetRowHeights();
    widestLine_ = 0;
    setTop(places().limited(top_));
    viewport()->update();
    Q_EMIT contentChanged();
}

RowPlaces LogTableView::places() const {
    return {[this](qint64 row) { return const_cast<LogTableViewDelegate&>(delegate_).heightOfRow(row); },
            rowCount_, static_cast<qreal>(viewport()->height()), rowHeight()};
}

std::vector<RowPlaces::VisibleRow> LogTableView::visibleRows() const {
    return places().visible(top_);
}

void LogTableView::setTop(RowPlace top) {
    const bool moved = top != top_;
    top_ = top;
    stoodAtEnd_ = isAtEnd();
    updateScrollBars();
    if (moved) {
        viewport()->update();
        Q_EMIT visibleRowsChanged();
    }
}

void LogTableView::scrollByPixels(qreal pixels) {
    if (rowCount_ > 0)
        setTop(places().moved(top_, pixels));
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
    // Away from the end its exact place is not worth measuring rows for.
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
    return rowCount_ == 0 || places().limited({rowCount_ - 1, 1e9}) == top_;
}

void LogTableView::setTopRow(qint64 row) {
    setTop(places().limited({std::clamp<qint64>(row, 0, std::max<qint64>(rowCount_ - 1, 0)), 0}));
}

void LogTableView::scrollToEnd() {
    setTop(places().end());
}

void LogTableView::scrollRowToVisible(qint64 row) {
    if (row >= 0 && row < rowCount_)
        setTop(places().showing(top_, row));
}

void LogTableView::scrollTextToVisible(qint64 row, TextRange range) {
    const auto area = rowRect(row);
    if (!area || area->top() < 0 || area->bottom() > viewport()->height()) {
        // Into the middle, with something to read around it.
        setTopRow(std::max<qint64>(0, row - rowsPerPage() / 3));
    }
    const auto view = delegate_.viewForTableColumn(cell::line, row);
    if (!view.layout)
        return;
    const QRectF first = view.layout->characterRect(range.location);
    const QRectF last = view.layout->characterRect(std::max(range.location, range.end() - 1));
    widestLine_ = std::max(widestLine_, view.layout->width());
    updateHorizontalBar();
    const qreal visible = viewport()->width() - lineColumnX() - 2 * LogRowPainter::textMargin;
    const qreal offset = horizontalOffset();
    if (!delegate_.isWrapping() && (first.left() < offset || last.right() > offset + visible))
        horizontalScrollBar()->setValue(static_cast<int>(std::max(0.0, first.left() - visible / 3)));
    if (const auto shown = rowRect(row); shown && shown->top() + first.bottom() > viewport()->height())
        scrollByPixels(shown->top() + first.bottom() - viewport()->height() / 2.0);
}

qint64 LogTableView::rowAt(qreal y) const {
    for (const RowPlaces::VisibleRow& row : visibleRows()) {
        if (y >= row.y && y < row.y + row.height)
            return row.row;
    }
    return -1;
}

std::optional<QRectF> LogTableView::rowRect(qint64 wanted) const {
    for (const RowPlaces::VisibleRow& row : visibleRows()) {
        if (row.row == wanted)
            return QRectF(0, row.y, viewport()->width(), row.height);
    }
    return std::nullopt;
}

std::optional<QPointF> LogTableView::textOrigin(qint64 row) const {
    const auto area = rowRect(row);
    if (!area)
        return std::nullopt;
    return QPointF(lineColumnX() + LogRowPainter::textMargin - horizontalOffset(), area->top());
}

void LogTableView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    setTop(placeInChangedRows());
    Q_EMIT visibleRowsChanged();
}

void LogTableView::wheelEvent(QWheelEvent* event) {
    if (event->modifiers() & Qt::ControlModifier) {
        const int steps = event->angleDelta().y() / QWheelEvent::DefaultDeltasPerStep;
        if (steps != 0)
            Q_EMIT zoomRequested(steps);
        event->accept();
        return;
    }
    const bool sideways = event->modifiers() & Qt::ShiftModifier;
    QPointF delta = event->pixelDelta();
    if (delta.isNull()) {
        const qreal step = rowHeight() * std::max(wheelLines, QApplication::wheelScrollLines());
        delta = QPointF(event->angleDelta()) / QWheelEvent::DefaultDeltasPerStep * step;
    }
    const qreal down = sideways ? 0 : -delta.y();
    const qreal right = sideways ? -delta.y() - delta.x() : -delta.x();
    if (down != 0)
        scrollByPixels(down);
    if (right != 0)
        horizontalScrollBar()->setValue(horizontalScrollBar()->value() + static_cast<int>(right));
    event->accept();
}

// ---- Drawing

void LogTableView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.fillRect(event->rect(), colors_.background);
    const auto rows = visibleRows();
    LogRowPainter rowPainter(painter, delegate_, columns_,
                             {.colors = colors_,
                              .palette = palette(),
                              .isActive = hasFocus() || isActiveWindow(),
                              .labelFont = font(),
                              .viewSize = viewport()->size(),
                              .horizontalOffset = horizontalOffset(),
                              .markImage = markImage_,
                              .showsLoading = showsLoading_});
    for (const RowPlaces::VisibleRow& row : rows) {
        if (row.y + row.height < event->rect().top() || row.y > event->rect().bottom() + 1)
            continue;
        const bool hasText = textSelection_ && textSelection_->row == row.row;
        rowPainter.paint(row, {.isSelected = showsAsSelected(row.row),
                               .isCurrent = row.row == currentRow_,
                               .selectedText = hasText ? textSelection_->range : TextRange{}});
    }
    rowPainter.paintSeparators(rows);
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

void LogTableView::selectRow(qint64 row) {
    if (row < 0 || row >= rowCount_)
        return;
    textSelection_.reset();
    currentRow_ = anchorRow_ = row;
    selection_.select(row, row);
    viewport()->update();
    Q_EMIT selectionChanged();
}

void LogTableView::selectAll() {
    if (rowCount_ == 0)
        return;
    textSelection_.reset();
    selection_.select(0, rowCount_ - 1);
    anchorRow_ = 0;
    currentRow_ = rowCount_ - 1;
    viewport()->update();
    Q_EMIT selectionChanged();
}

void LogTableView::clearSelection() {
    selection_.clear();
    textSelection_.reset();
    viewport()->update();
    Q_EMIT selectionChanged();
}

QString LogTableView::selectedText() const {
    if (!textSelection_)
        return {};
    const auto view =
        const_cast<LogTableViewDelegate&>(delegate_).viewForTableColumn(cell::line, textSelection_->row);
    return view.row
               ? view.row->line.string().mid(textSelection_->range.location, textSelection_->range.length)
               : QString();
}

void LogTableView::selectText(qint64 row, TextRange range) {
    textSelection_ = range.length > 0 ? std::optional(TextSelection{row, range}) : std::nullopt;
    viewport()->update();
    Q_EMIT selectionChanged();
}

void LogTableView::selectWordAt(qint64 row, int position) {
    const auto view = delegate_.viewForTableColumn(cell::line, row);
    if (!view.row || view.row->line.length() == 0)
        return;
    const QString& text = view.row->line.string();
    const auto length = static_cast<int>(text.size());
    const int at = std::min(position, length - 1);
    const bool isWord = isWordUnit(text[at]);
    const auto isSame = [&](QChar unit) { return isWord ? isWordUnit(unit) : unit == text[at]; };
    int start = at;
    while (start > 0 && isSame(text[start - 1]))
        --start;
    int end = at + 1;
    while (end < length && isSame(text[end]))
        ++end;
    selectText(row, {start, end - start});
}

int LogTableView::textPositionAt(qint64 row, QPointF point) {
    const auto view = delegate_.viewForTableColumn(cell::line, row);
    const auto origin = textOrigin(row);
    if (!view.layout || !origin)
        return 0;
    return std::min(view.layout->positionAt(point - *origin), view.row->line.length());
}

void LogTableView::moveCurrentRow(qint64 row, bool extends) {
    if (rowCount_ == 0)
        return;
    const qint64 target = std::clamp<qint64>(row, 0, rowCount_ - 1);
    textSelection_.reset();
    currentRow_ = target;
    if (!extends || anchorRow_ < 0)
        anchorRow_ = target;
    selection_.select(anchorRow_, target);
    scrollRowToVisible(target);
    viewport()->update();
    Q_EMIT selectionChanged();
}

void LogTableView::keyPressEvent(QKeyEvent* event) {
    const bool extends = event->modifiers() & Qt::ShiftModifier;
    const qint64 current = currentRow_ >= 0 ? currentRow_ : top_.row;
    const bool hasCurrent = currentRow_ >= 0;
    switch (event->key()) {
    case Qt::Key_Up:
        moveCurrentRow(hasCurrent ? current - 1 : current, extends);
        return;
    case Qt::Key_Down:
        moveCurrentRow(hasCurrent ? current + 1 : current, extends);
        return;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown: {
        const int direction = event->key() == Qt::Key_PageUp ? -1 : 1;
        const qint64 step = std::max(1, rowsPerPage() - 1);
        scrollByPixels(direction * static_cast<qreal>(step) * rowHeight());
        moveCurrentRow(current + direction * step, extends);
        return;
    }
    case Qt::Key_Home:
        horizontalScrollBar()->setValue(0);
        moveCurrentRow(0, extends);
        return;
    case Qt::Key_End:
        moveCurrentRow(rowCount_ - 1, extends);
        scrollToEnd();
        return;
    case Qt::Key_Left:
        horizontalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepSub);
        return;
    case Qt::Key_Right:
        horizontalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepAdd);
        return;
    case Qt::Key_Escape:
        if (textSelection_ || !selection_.isEmpty()) {
            clearSelection();
            return;
        }
        break;
    default:
        break;
    }
    QAbstractScrollArea::keyPressEvent(event);
}

void LogTableView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton && event->button() != Qt::RightButton)
        return;
    const qint64 row = rowAt(event->position().y());
    if (row < 0) {
        if (event->button() == Qt::LeftButton)
            clearSelection();
        return;
    }
    if (event->button() == Qt::RightButton) {
        // The menu acts on what is selected; a click elsewhere selects first.
        if (!selection_.contains(row) && !(textSelection_ && textSelection_->row == row))
            selectRow(row);
        return;
    }
    if (columnAt(event->position().x()) == cell::lineMark) {
        Q_EMIT lineMarkClicked(row);
        return;
    }
    if (event->modifiers() & Qt::ShiftModifier) {
        moveCurrentRow(row, true);
        drag_ = Drag::Rows;
        return;
    }
    if (event->modifiers() & Qt::ControlModifier) {
        textSelection_.reset();
        selection_.toggle(row);
        currentRow_ = anchorRow_ = row;
        viewport()->update();
        Q_EMIT selectionChanged();
        return;
    }
    if (tripleClickArmed_ && sinceDoubleClick_.elapsed() < QApplication::doubleClickInterval() &&
        row == pressRow_) {
        tripleClickArmed_ = false;
        const auto view = delegate_.viewForTableColumn(cell::line, row);
        if (view.row)
            selectText(row, {0, view.row->line.length()});
        return;
    }
    selectRow(row);
    pressRow_ = row;
    if (columnAt(event->position().x()) == cell::line) {
        drag_ = Drag::Text;
        pressPosition_ = textPositionAt(row, event->position());
    } else {
        drag_ = Drag::Rows;
    }
}

void LogTableView::mouseMoveEvent(QMouseEvent* event) {
    const QLatin1StringView under = columnAt(event->position().x());
    viewport()->setCursor(under == cell::line       ? Qt::IBeamCursor
                          : under == cell::lineMark ? Qt::PointingHandCursor
                                                    : Qt::ArrowCursor);
    if (drag_ == Drag::None || !(event->buttons() & Qt::LeftButton))
        return;
    lastDragPoint_ = event->position();
    const bool isOutside = !viewport()->rect().contains(event->position().toPoint());
    if (isOutside && !autoScrollTimer_.isActive())
        autoScrollTimer_.start(autoScrollMilliseconds, this);
    else if (!isOutside)
        autoScrollTimer_.stop();
    dragTo(event->position());
}

void LogTableView::dragTo(QPointF point) {
    const qreal inside = std::clamp(point.y(), 0.0, viewport()->height() - 1.0);
    const qint64 row = rowAt(inside);
    if (row < 0)
        return;
    // Within the line it is text that is selected, across lines it is rows.
    drag_ = row == pressRow_ && drag_ == Drag::Text ? Drag::Text : drag_;
    if (drag_ == Drag::Text && row == pressRow_) {
        const int position = textPositionAt(row, point);
        selectText(row, {std::min(position, pressPosition_), std::abs(position - pressPosition_)});
        return;
    }
    textSelection_.reset();
    currentRow_ = row;
    selection_.select(anchorRow_, row);
    viewport()->update();
    Q_EMIT selectionChanged();
}

void LogTableView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return;
    drag_ = Drag::None;
    autoScrollTimer_.stop();
}

void LogTableView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || columnAt(event->position().x()) != cell::line)
        return;
    const qint64 row = rowAt(event->position().y());
    if (row < 0)
        return;
    selectRow(row);
    const auto view = delegate_.viewForTableColumn(cell::line, row);
    const auto origin = textOrigin(row);
    if (view.layout && origin) {
        // The character under the pointer, not the nearest gap between two.
        int position = textPositionAt(row, event->position());
        const qreal x = event->position().x() - origin->x();
        if (position > 0 && view.layout->characterRect(position).left() > x &&
            view.layout->characterRect(position - 1).top() == view.layout->characterRect(position).top())
            --position;
        selectWordAt(row, position);
    }
    tripleClickArmed_ = true;
    pressRow_ = row;
    sinceDoubleClick_.restart();
}

void LogTableView::contextMenuEvent(QContextMenuEvent* event) {
    QPoint place = event->globalPos();
    if (event->reason() == QContextMenuEvent::Keyboard) {
        const auto area = rowRect(currentRow_);
        place = viewport()->mapToGlobal(area ? area->bottomLeft().toPoint() +
                                                   QPoint(static_cast<int>(lineColumnX()), 0)
                                             : QPoint(20, 20));
    }
    Q_EMIT contextMenuRequested(place);
}

void LogTableView::timerEvent(QTimerEvent* event) {
    if (event->timerId() == autoScrollTimer_.timerId()) {
        const qreal above = -lastDragPoint_.y();
        const qreal below = lastDragPoint_.y() - viewport()->height();
        if (above > 0)
            scrollByPixels(-rowHeight() * (1 + above / 20));
        else if (below > 0)
            scrollByPixels(rowHeight() * (1 + below / 20));
        else
            horizontalScrollBar()->setValue(horizontalScrollBar()->value() +
                                            (lastDragPoint_.x() < 0 ? -24 : 24));
        dragTo(lastDragPoint_);
        return;
    }
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
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::ActivationChange)
        viewport()->update();
}

bool LogTableView::viewportEvent(QEvent* event) {
    if (event->type() == QEvent::ToolTip) {
        const auto* help = static_cast<QHelpEvent*>(event);
        const qint64 row = rowAt(help->pos().y());
        const auto view =
            row < 0 ? LogTableViewDelegate::CellView{} : delegate_.viewForTableColumn(cell::line, row);
        if (view.row && view.row->cutBytes > 0)
            QToolTip::showText(help->globalPos(),
                               tr("This line is too long to show whole. Copying it copies all of it."),
                               viewport());
        else
            QToolTip::hideText();
        return true;
    }
    return QAbstractScrollArea::viewportEvent(event);
}

} // namespace korvane
