#pragma once

#include "foundation/text/AttributedString.h"
#include "ui/logtable/ClickCounter.h"
#include "ui/logtable/LineCaret.h"

#include <QBasicTimer>
#include <QObject>
#include <QPointF>

class QContextMenuEvent;
class QKeyEvent;
class QMouseEvent;
class QWheelEvent;

namespace korvane {

class LogTableView;

/// What the user does in the log table with the mouse and the keys: turns it into scrolling and selecting.
/// The table hands its events in; places of mouse and wheel are the viewport's. Main thread; belongs to the
/// table.
class LogTableInput : public QObject {
public:
    explicit LogTableInput(LogTableView& table);

    /// Whether the key means something here.
    [[nodiscard]] bool pressKey(const QKeyEvent& event);
    void pressMouse(const QMouseEvent& event);
    void moveMouse(const QMouseEvent& event);
    void releaseMouse(const QMouseEvent& event);
    void doubleClick(const QMouseEvent& event);
    void turnWheel(const QWheelEvent& event);
    void askForMenu(const QContextMenuEvent& event);
    /// Something else is selected: keys that select text begin at the first character in view.
    void forgetTextPlace() { caret_.forget(); }

protected:
    /// Scrolls while the mouse is dragged outside the viewport.
    void timerEvent(QTimerEvent* event) override;

private:
    /// What a press of the mouse started to select.
    enum class Drag { None, Text, Rows };

    /// Scrolls inside a current row that is taller than the view before it moves on.
    void moveLine(int direction, Qt::KeyboardModifiers modifiers);
    void movePage(int direction, Qt::KeyboardModifiers modifiers);
    void moveCurrentRow(qint64 row, Qt::KeyboardModifiers modifiers);
    void makeCurrent(qint64 row, Qt::KeyboardModifiers modifiers);
    void pressLeft(qint64 row, const QMouseEvent& event);
    void dragTo(QPointF point);
    /// The gap between two characters that is nearest to the point.
    int textPositionAt(qint64 row, QPointF point);
    /// What a click takes there: nothing by the first one, a word by the second, a compound one by the third,
    /// the line by the fourth.
    TextRange textTakenAt(qint64 row, QPointF point);

    LogTableView& table_;
    LineCaret caret_;
    ClickCounter clicks_;
    Drag drag_ = Drag::None;
    bool hasDragged_ = false;
    qint64 pressRow_ = -1;
    int clickCount_ = 0;
    /// Of the wheel, towards the next step of the zoom.
    int zoomDelta_ = 0;
    /// What the press itself took of the row's text: a drag goes on from there.
    TextRange pressedText_;
    QPointF lastDragPoint_;
    QBasicTimer autoScrollTimer_;
};

} // namespace korvane
