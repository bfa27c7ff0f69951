#pragma once

#include <QFont>
#include <QObject>

namespace korvane {

/// Zoom of the lines in all log views, relative to the size chosen in the preferences; lasts until the
/// program ends. Main thread.
class LogZoom : public QObject {
    Q_OBJECT

public:
    static LogZoom& shared();

    /// In points; 0 for the chosen size.
    double points() const { return points_; }
    /// Changes the zoom by steps of one point, within the limits of the size.
    void change(int steps);
    void reset();
    /// The preferences' font at the zoomed size.
    QFont shownFont() const;

Q_SIGNALS:
    void changed();

private:
    void set(double points);

    double points_ = 0;
};

} // namespace korvane
