#pragma once

#include <QPointF>
#include <QtGlobal>

class QMouseEvent;

namespace korvane {

/// Counts clicks in quick succession at one place: Qt reports a double click, but no third and fourth click.
class ClickCounter {
public:
    /// Call for each press of the button, including those that Qt reports as double clicks; 1 for the first
    /// click.
    int count(const QMouseEvent& event);
    /// The next press counts as a first click.
    void reset() { count_ = 0; }

private:
    int count_ = 0;
    QPointF place_;
    quint64 milliseconds_ = 0;
};

} // namespace korvane
