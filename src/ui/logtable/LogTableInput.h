#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/ClickCounter.h"
#include "ui/logtable/LineCaret.h"

#include <QBasicTimer>
#include <QObject>
#include <QPointF>

#include <optional>

class QContextMenuEvent;
class QKeyEvent;
class QMouseEvent;
class QWheelEvent;

namespace korvane {

class LogTableView;

/// Turns mouse and key events of the log table into scrolling and selecting. The table passes its events in;
/// mouse and wheel positions are in viewport coordinates. Main thread; belongs to the table.
class LogTableInput : public QObject {
public:
    explicit LogTableInput(LogTableView& table);

    /// Handles a key; false if it has no meaning here.
    [[nodiscard]] bool pressKey(const QKeyEvent& event);
    void pressMouse(const QMouseEvent& event);
    void moveMouse(const QMouseEvent& event);
    void releaseMouse(const QMouseEvent& event);
    void doubleClick(const QMouseEvent& event);
    void turnWheel(const QWheelEvent& event);
    void askForMenu(const QContextMenuEvent& event);
    /// The selection was changed elsewhere: keys that select text start at the first visible character.
    void forgetTextPlace() { caret_.forget(); }

protected:
    /// Scrolls while the mouse is dragged outside the viewport.
    void timerEvent(QTimerEvent* event) override;

private:
    /// What the drag under way selects.
    enum class Drag { None, Text, Rows };

    /// Scrolls within a current row that is taller than the view before moving on.
    void moveLine(int direction, Qt::KeyboardModifiers modifiers);
    void movePage(int direction, Qt::KeyboardModifiers modifiers);
    void moveCurrentRow(qint64 row, Qt::KeyboardModifiers modifiers);
    void makeCurrent(qint64 row, Qt::KeyboardModifiers modifiers);
    /// The next shown row in this direction.
    std::optional<qint64> rowBeside(qint64 row, int direction) const;
    /// The shown row that is nearest to `row`; -1 without any.
    qint64 nearestRow(qint64 row) const;
    void pressLeft(qint64 row, const QMouseEvent& event);
    void dragTo(QPointF point);
    /// The border between two characters that is nearest to the point.
    int textPositionAt(qint64 row, QPointF point);
    /// The text that a click selects: none for the first click, a word for the second, a compound word for
    /// the third, the line for the fourth.
    TextRange textTakenAt(qint64 row, QPointF point);

    LogTableView& table_;
    LineCaret caret_;
    ClickCounter clicks_;
    Drag drag_ = Drag::None;
    bool hasDragged_ = false;
    qint64 pressRow_ = -1;
    int clickCount_ = 0;
    /// Accumulated wheel movement towards the next zoom step.
    int zoomDelta_ = 0;
    /// The text that the press itself selected: a drag extends it.
    TextRange pressedText_;
    QPointF lastDragPoint_;
    QBasicTimer autoScrollTimer_;
};

} // namespace korvane
