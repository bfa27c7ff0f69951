#pragma once

#include <QPointF>
#include <QtGlobal>

class QMouseEvent;

namespace korvane {

/// Counts clicks that follow each other quickly at one place: Qt tells a second click from a first one, but
/// no third and fourth.
class ClickCounter {
public:
    /// For each press of the button, those that Qt calls double clicks included; 1 for the first click.
    int count(const QMouseEvent& event);
    /// The next press is a first click.
    void reset() { count_ = 0; }

private:
    int count_ = 0;
    QPointF place_;
    quint64 milliseconds_ = 0;
};

} // namespace korvane
