#include "ui/logtable/LogTableInput.h"

#include "ui/logtable/LineWords.h"
#include "ui/logtable/LogTableView.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTimerEvent>
#include <QWheelEvent>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

constexpr int wheelLines = 3;
constexpr int autoScrollMilliseconds = 40;
constexpr int autoScrollSideways = 24;

} // namespace

LogTableInput::LogTableInput(LogTableView& table) : table_(table), caret_(table) {}

// ---- Keys

bool LogTableInput::pressKey(const QKeyEvent& event) {
    if (caret_.pressKey(event))
        return true;
    switch (event.key()) {
    case Qt::Key_Up:
        moveLine(-1, event.modifiers());
        return true;
    case Qt::Key_Down:
        moveLine(1, event.modifiers());
        return true;
    case Qt::Key_PageUp:
        movePage(-1, event.modifiers());
        return true;
    case Qt::Key_PageDown:
        movePage(1, event.modifiers());
        return true;
    case Qt::Key_Home:
        table_.horizontalScrollBar()->setValue(0);
        moveCurrentRow(0, event.modifiers());
        return true;
    case Qt::Key_End:
        moveCurrentRow(table_.rowCount() - 1, event.modifiers());
        table_.scroller().scrollToEnd();
        return true;
    case Qt::Key_Left:
        table_.horizontalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepSub);
        return true;
    case Qt::Key_Right:
        table_.horizontalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepAdd);
        return true;
    case Qt::Key_Escape:
        if (!table_.selection().text() && table_.selection().rows().isEmpty())
            return false;
        table_.selection().clear();
        return true;
    default:
        return false;
    }
}

void LogTableInput::moveLine(int direction, Qt::KeyboardModifiers modifiers) {
    const qint64 current = table_.selection().currentRow();
    const auto area = table_.rowRect(current);
    if (!area) {
        moveCurrentRow(current < 0 ? table_.scroller().firstVisibleRow()
                                   : rowBeside(current, direction).value_or(current),
                       modifiers);
        return;
    }
    const qreal viewHeight = table_.viewport()->height();
    const qreal line = table_.rowHeight();
    const qreal unread = direction > 0 ? area->bottom() - viewHeight : -area->top();
    if (unread > 0 && area->height() > line) {
        table_.scroller().scrollByPixels(direction *
                                         (area->height() > viewHeight ? std::min(unread, line) : unread));
        return;
    }
    const auto beside = rowBeside(current, direction);
    if (!beside) {
        makeCurrent(current, modifiers);
        return;
    }
    const qint64 target = *beside;
    // A row that does not fit is shown from the end nearest to the current row.
    const qreal height = table_.delegate().heightOfRow(target);
    const qreal shown = height > viewHeight ? line : height;
    if (direction > 0)
        table_.scroller().scrollRowPartToVisible(target, 0, shown);
    else if (area->top() < shown)
        table_.scroller().scrollByPixels(area->top() - shown);
    makeCurrent(target, modifiers);
}

void LogTableInput::movePage(int direction, Qt::KeyboardModifiers modifiers) {
    if (table_.rowCount() == 0)
        return;
    // The current row keeps its height in the view.
    const auto area = table_.rowRect(table_.selection().currentRow());
    const qreal lowest = std::max(0.0, table_.viewport()->height() - table_.rowHeight());
    const qreal y = area ? std::clamp(area->top(), 0.0, lowest) + table_.rowHeight() / 2 : 0;
    const qint64 firstBefore = table_.scroller().firstVisibleRow();
    if (!table_.scroller().scrollByPage(direction)) {
        makeCurrent(nearestRow(direction > 0 ? table_.rowCount() - 1 : 0), modifiers);
        return;
    }
    const qint64 row = nearestRow(table_.scroller().rowAt(y));
    // Rows loaded later may push an unloaded row out of the view: then take one that keeps its place.
    if (table_.delegate().isLoaded(row))
        makeCurrent(row, modifiers);
    else
        makeCurrent(nearestRow(direction > 0 ? table_.scroller().firstVisibleRow() : firstBefore), modifiers);
}

std::optional<qint64> LogTableInput::rowBeside(qint64 row, int direction) const {
    const RowMap& map = table_.scroller().map();
    return direction > 0 ? map.nextShown(row) : map.previousShown(row);
}

qint64 LogTableInput::nearestRow(qint64 row) const {
    const qint64 last = std::max<qint64>(table_.rowCount() - 1, 0);
    return table_.scroller().map().nearestShown(std::clamp<qint64>(row, 0, last)).value_or(-1);
}

void LogTableInput::moveCurrentRow(qint64 row, Qt::KeyboardModifiers modifiers) {
    const qint64 target = nearestRow(row);
    if (target < 0)
        return;
    table_.scroller().scrollRowToVisible(target);
    makeCurrent(target, modifiers);
}

void LogTableInput::makeCurrent(qint64 row, Qt::KeyboardModifiers modifiers) {
    if (modifiers & Qt::ShiftModifier)
        table_.selection().selectRowsTo(row);
    else
        table_.selection().selectRow(row);
}

// ---- The mouse

void LogTableInput::pressMouse(const QMouseEvent& event) {
    if (event.button() != Qt::LeftButton && event.button() != Qt::RightButton)
        return;
    const qint64 row = table_.scroller().rowAt(event.position().y());
    if (row < 0) {
        if (event.button() == Qt::LeftButton)
            table_.selection().clear();
        return;
    }
    if (!table_.scroller().map().shows(row)) {
        if (event.button() == Qt::LeftButton)
            Q_EMIT table_.gapClicked(row, clicks_.count(event));
        return;
    }
    if (event.button() == Qt::LeftButton) {
        pressLeft(row, event);
        return;
    }
    // The menu acts on the selection; a click outside it selects first.
    const auto& text = table_.selection().text();
    const bool isSelected = table_.selection().rows().contains(row) || (text && text->row == row);
    if (!isSelected)
        table_.selection().selectRow(row);
}

void LogTableInput::pressLeft(qint64 row, const QMouseEvent& event) {
    hasDragged_ = false;
    const QLatin1StringView column = table_.columns().at(event.position().x());
    if (column == cell::lineMark) {
        Q_EMIT table_.lineMarkClicked(row);
        return;
    }
    if (event.modifiers() & Qt::ShiftModifier) {
        moveCurrentRow(row, event.modifiers());
        drag_ = Drag::Rows;
        return;
    }
    if (event.modifiers() & Qt::ControlModifier) {
        table_.selection().toggleRow(row);
        return;
    }
    table_.selection().selectRow(row);
    pressRow_ = row;
    clickCount_ = clicks_.count(event);
    if (column != cell::line) {
        drag_ = Drag::Rows;
        return;
    }
    drag_ = Drag::Text;
    pressedText_ = textTakenAt(row, event.position());
    if (pressedText_.length > 0)
        table_.selection().selectText(row, pressedText_);
    caret_.setStart(row, pressedText_.location, pressedText_.end());
}

void LogTableInput::moveMouse(const QMouseEvent& event) {
    const QLatin1StringView under = table_.columns().at(event.position().x());
    table_.viewport()->setCursor(under == cell::line       ? Qt::IBeamCursor
                                 : under == cell::lineMark ? Qt::PointingHandCursor
                                                           : Qt::ArrowCursor);
    if (drag_ == Drag::None || !(event.buttons() & Qt::LeftButton))
        return;
    lastDragPoint_ = event.position();
    const bool isOutside = !table_.viewport()->rect().contains(event.position().toPoint());
    if (isOutside && !autoScrollTimer_.isActive())
        autoScrollTimer_.start(autoScrollMilliseconds, this);
    else if (!isOutside)
        autoScrollTimer_.stop();
    hasDragged_ = true;
    dragTo(event.position());
}

void LogTableInput::dragTo(QPointF point) {
    const qint64 row = table_.scroller().rowAt(std::clamp(point.y(), 0.0, table_.viewport()->height() - 1.0));
    if (row < 0 || !table_.scroller().map().shows(row))
        return;
    // A drag within the line selects text, across lines it selects rows.
    if (drag_ != Drag::Text || row != pressRow_) {
        table_.selection().selectRowsTo(row);
        return;
    }
    const TextRange here = textTakenAt(row, point);
    const int start = std::min(here.location, pressedText_.location);
    const int end = std::max(here.end(), pressedText_.end());
    table_.selection().selectText(row, {start, end - start});
    const bool isBackwards = here.location < pressedText_.location;
    caret_.setStart(row, isBackwards ? end : start, isBackwards ? start : end);
}

void LogTableInput::timerEvent(QTimerEvent* event) {
    if (event->timerId() != autoScrollTimer_.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    const qreal above = -lastDragPoint_.y();
    const qreal below = lastDragPoint_.y() - table_.viewport()->height();
    if (above > 0)
        table_.scroller().scrollByPixels(-table_.rowHeight() * (1 + above / 20));
    else if (below > 0)
        table_.scroller().scrollByPixels(table_.rowHeight() * (1 + below / 20));
    else
        table_.horizontalScrollBar()->setValue(
            table_.horizontalScrollBar()->value() +
            (lastDragPoint_.x() < 0 ? -autoScrollSideways : autoScrollSideways));
    dragTo(lastDragPoint_);
}

void LogTableInput::releaseMouse(const QMouseEvent& event) {
    if (event.button() != Qt::LeftButton)
        return;
    const bool hasSelected =
        std::exchange(drag_, Drag::None) != Drag::None &&
        (table_.selection().text() || (hasDragged_ && !table_.selection().rows().isEmpty()));
    autoScrollTimer_.stop();
    if (hasSelected)
        Q_EMIT table_.selectedByMouse();
}

void LogTableInput::doubleClick(const QMouseEvent& event) {
    const qint64 row = table_.scroller().rowAt(event.position().y());
    if (event.button() != Qt::LeftButton || row < 0 ||
        table_.columns().at(event.position().x()) != cell::line)
        return;
    pressMouse(event);
}

void LogTableInput::turnWheel(const QWheelEvent& event) {
    if (event.modifiers() & Qt::ControlModifier) {
        // High-resolution wheels report fractions of a step.
        const int delta = event.angleDelta().y();
        zoomDelta_ = (zoomDelta_ < 0) == (delta < 0) ? zoomDelta_ + delta : delta;
        const int steps = zoomDelta_ / QWheelEvent::DefaultDeltasPerStep;
        zoomDelta_ -= steps * QWheelEvent::DefaultDeltasPerStep;
        if (steps != 0)
            Q_EMIT table_.zoomRequested(steps);
        return;
    }
    const bool sideways = event.modifiers() & Qt::ShiftModifier;
    QPointF delta = event.pixelDelta();
    if (delta.isNull()) {
        const qreal step = table_.rowHeight() * std::max(wheelLines, QApplication::wheelScrollLines());
        delta = QPointF(event.angleDelta()) / QWheelEvent::DefaultDeltasPerStep * step;
    }
    const qreal down = sideways ? 0 : -delta.y();
    const qreal right = sideways ? -delta.y() - delta.x() : -delta.x();
    if (down != 0)
        table_.scroller().scrollByPixels(down);
    if (right != 0)
        table_.horizontalScrollBar()->setValue(table_.horizontalScrollBar()->value() +
                                               static_cast<int>(right));
}

void LogTableInput::askForMenu(const QContextMenuEvent& event) {
    QPoint place = event.globalPos();
    if (event.reason() == QContextMenuEvent::Keyboard) {
        const auto area = table_.rowRect(table_.selection().currentRow());
        place = table_.viewport()->mapToGlobal(
            area ? area->bottomLeft().toPoint() + QPoint(static_cast<int>(table_.columns().x(cell::line)), 0)
                 : QPoint(20, 20));
    }
    Q_EMIT table_.contextMenuRequested(place);
}

// ---- Text

int LogTableInput::textPositionAt(qint64 row, QPointF point) {
    const auto view = table_.delegate().viewForTableColumn(cell::line, row);
    const auto origin = table_.textOrigin(row);
    if (!view.layout || !origin)
        return 0;
    return std::min(view.layout->positionAt(point - *origin), view.textLength());
}

TextRange LogTableInput::textTakenAt(qint64 row, QPointF point) {
    const int nearest = textPositionAt(row, point);
    const auto view = table_.delegate().viewForTableColumn(cell::line, row);
    const auto origin = table_.textOrigin(row);
    if (clickCount_ < 2 || !view.layout || !origin)
        return {nearest, 0};
    if (clickCount_ > 3)
        return {0, view.textLength()};
    // The character under the pointer, not the nearest border between two.
    int position = nearest;
    if (position > 0 && view.layout->characterRect(position).left() > point.x() - origin->x() &&
        view.layout->characterRect(position - 1).top() == view.layout->characterRect(position).top())
        --position;
    const QString text = view.row->line.string().left(view.textLength());
    return wordAround(text, position, clickCount_ == 2 ? WordKind::Word : WordKind::Compound);
}

} // namespace korvane
