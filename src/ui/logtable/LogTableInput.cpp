#include "ui/logtable/LogTableInput.h"

#include "ui/logtable/LogTableView.h"

#include <QApplication>
#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QTimerEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cstdlib>

namespace korvane {
namespace {

constexpr int wheelLines = 3;
constexpr int autoScrollMilliseconds = 40;
constexpr int autoScrollSideways = 24;

bool isWordUnit(QChar unit) {
    return unit.isLetterOrNumber() || unit == u'_' || unit.isMark() || unit.isSurrogate();
}

/// The run of letters and digits, or of one other character, around a place in a text that is not empty.
TextRange wordAround(const QString& text, int position) {
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
    return {start, end - start};
}

} // namespace

LogTableInput::LogTableInput(LogTableView& table) : table_(table) {}

// ---- Keys

bool LogTableInput::pressKey(const QKeyEvent& event) {
    const bool hasCurrent = table_.currentRow() >= 0;
    const qint64 current = hasCurrent ? table_.currentRow() : table_.firstVisibleRow();
    switch (event.key()) {
    case Qt::Key_Up:
        moveCurrentRow(hasCurrent ? current - 1 : current, event.modifiers());
        return true;
    case Qt::Key_Down:
        moveCurrentRow(hasCurrent ? current + 1 : current, event.modifiers());
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
        table_.scrollToEnd();
        return true;
    case Qt::Key_Left:
        table_.horizontalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepSub);
        return true;
    case Qt::Key_Right:
        table_.horizontalScrollBar()->triggerAction(QAbstractSlider::SliderSingleStepAdd);
        return true;
    case Qt::Key_Escape:
        if (!table_.textSelection() && table_.selection().isEmpty())
            return false;
        table_.clearSelection();
        return true;
    default:
        return false;
    }
}

void LogTableInput::movePage(int direction, Qt::KeyboardModifiers modifiers) {
    const qint64 current = table_.currentRow() >= 0 ? table_.currentRow() : table_.firstVisibleRow();
    const qint64 step = std::max(1, table_.rowsPerPage() - 1);
    table_.scrollByPixels(direction * static_cast<qreal>(step) * table_.rowHeight());
    moveCurrentRow(current + direction * step, modifiers);
}

void LogTableInput::moveCurrentRow(qint64 row, Qt::KeyboardModifiers modifiers) {
    if (table_.rowCount() == 0)
        return;
    const qint64 target = std::clamp<qint64>(row, 0, table_.rowCount() - 1);
    table_.scrollRowToVisible(target);
    if (modifiers & Qt::ShiftModifier)
        table_.selectRowsTo(target);
    else
        table_.selectRow(target);
}

// ---- The mouse

void LogTableInput::pressMouse(const QMouseEvent& event) {
    if (event.button() != Qt::LeftButton && event.button() != Qt::RightButton)
        return;
    const qint64 row = table_.rowAt(event.position().y());
    if (row < 0) {
        if (event.button() == Qt::LeftButton)
            table_.clearSelection();
        return;
    }
    if (event.button() == Qt::LeftButton) {
        pressLeft(row, event);
        return;
    }
    // The menu acts on what is selected; a click elsewhere selects first.
    const auto& text = table_.textSelection();
    if (!(table_.selection().contains(row) || (text && text->row == row)))
        table_.selectRow(row);
}

void LogTableInput::pressLeft(qint64 row, const QMouseEvent& event) {
    const QLatin1StringView column = table_.columnAt(event.position().x());
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
        table_.toggleRow(row);
        return;
    }
    if (isThirdClick(row)) {
        const auto view = table_.delegate().viewForTableColumn(cell::line, row);
        if (view.row)
            table_.selectText(row, {0, view.row->line.length()});
        return;
    }
    table_.selectRow(row);
    pressRow_ = row;
    if (column == cell::line) {
        drag_ = Drag::Text;
        pressPosition_ = textPositionAt(row, event.position());
    } else {
        drag_ = Drag::Rows;
    }
}

bool LogTableInput::isThirdClick(qint64 row) {
    if (!tripleClickArmed_ || sinceDoubleClick_.elapsed() >= QApplication::doubleClickInterval() ||
        row != pressRow_)
        return false;
    tripleClickArmed_ = false;
    return true;
}

void LogTableInput::moveMouse(const QMouseEvent& event) {
    const QLatin1StringView under = table_.columnAt(event.position().x());
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
    dragTo(event.position());
}

void LogTableInput::dragTo(QPointF point) {
    const qint64 row = table_.rowAt(std::clamp(point.y(), 0.0, table_.viewport()->height() - 1.0));
    if (row < 0)
        return;
    // Within the line it is text that is selected, across lines it is rows.
    if (drag_ != Drag::Text || row != pressRow_) {
        table_.selectRowsTo(row);
        return;
    }
    const int position = textPositionAt(row, point);
    table_.selectText(row, {std::min(position, pressPosition_), std::abs(position - pressPosition_)});
}

void LogTableInput::timerEvent(QTimerEvent* event) {
    if (event->timerId() != autoScrollTimer_.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    const qreal above = -lastDragPoint_.y();
    const qreal below = lastDragPoint_.y() - table_.viewport()->height();
    if (above > 0)
        table_.scrollByPixels(-table_.rowHeight() * (1 + above / 20));
    else if (below > 0)
        table_.scrollByPixels(table_.rowHeight() * (1 + below / 20));
    else
        table_.horizontalScrollBar()->setValue(
            table_.horizontalScrollBar()->value() +
            (lastDragPoint_.x() < 0 ? -autoScrollSideways : autoScrollSideways));
    dragTo(lastDragPoint_);
}

void LogTableInput::releaseMouse(const QMouseEvent& event) {
    if (event.button() != Qt::LeftButton)
        return;
    drag_ = Drag::None;
    autoScrollTimer_.stop();
}

void LogTableInput::doubleClick(const QMouseEvent& event) {
    if (event.button() != Qt::LeftButton || table_.columnAt(event.position().x()) != cell::line)
        return;
    const qint64 row = table_.rowAt(event.position().y());
    if (row < 0)
        return;
    table_.selectRow(row);
    selectWordAt(row, event.position());
    tripleClickArmed_ = true;
    pressRow_ = row;
    sinceDoubleClick_.restart();
}

void LogTableInput::turnWheel(const QWheelEvent& event) {
    if (event.modifiers() & Qt::ControlModifier) {
        const int steps = event.angleDelta().y() / QWheelEvent::DefaultDeltasPerStep;
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
        table_.scrollByPixels(down);
    if (right != 0)
        table_.horizontalScrollBar()->setValue(table_.horizontalScrollBar()->value() +
                                               static_cast<int>(right));
}

void LogTableInput::askForMenu(const QContextMenuEvent& event) {
    QPoint place = event.globalPos();
    if (event.reason() == QContextMenuEvent::Keyboard) {
        const auto area = table_.rowRect(table_.currentRow());
        place = table_.viewport()->mapToGlobal(area ? area->bottomLeft().toPoint() +
                                                          QPoint(static_cast<int>(table_.lineColumnX()), 0)
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
    return std::min(view.layout->positionAt(point - *origin), view.row->line.length());
}

void LogTableInput::selectWordAt(qint64 row, QPointF point) {
    const auto view = table_.delegate().viewForTableColumn(cell::line, row);
    const auto origin = table_.textOrigin(row);
    if (!view.layout || !origin || view.row->line.length() == 0)
        return;
    // The character under the pointer, not the nearest gap between two.
    int position = textPositionAt(row, point);
    if (position > 0 && view.layout->characterRect(position).left() > point.x() - origin->x() &&
        view.layout->characterRect(position - 1).top() == view.layout->characterRect(position).top())
        --position;
    table_.selectText(row, wordAround(view.row->line.string(), position));
}

} // namespace korvane
