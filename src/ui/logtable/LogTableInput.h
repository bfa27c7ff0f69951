#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
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

protected:
    /// Scrolls while the mouse is dragged outside the viewport.
    void timerEvent(QTimerEvent* event) override;

private:
    /// What a press of the mouse started to select.
    enum class Drag { None, Text, Rows };

    void moveCurrentRow(qint64 row, Qt::KeyboardModifiers modifiers);
    void movePage(int direction, Qt::KeyboardModifiers modifiers);
    void pressLeft(qint64 row, const QMouseEvent& event);
    bool isThirdClick(qint64 row);
    void dragTo(QPointF point);
    /// The gap between two characters that is nearest to the point.
    int textPositionAt(qint64 row, QPointF point);
    void selectWordAt(qint64 row, QPointF point);

    LogTableView& table_;
    Drag drag_ = Drag::None;
    qint64 pressRow_ = -1;
    int pressPosition_ = 0;
    QPointF lastDragPoint_;
    bool tripleClickArmed_ = false;
    QElapsedTimer sinceDoubleClick_;
    QBasicTimer autoScrollTimer_;
};

} // namespace korvane
