#pragma once

#include <QFont>
#include <QObject>

namespace korvane {

/// How much larger or smaller than chosen in the preferences the lines of all log views are shown, until the
/// program ends. Main thread.
class LogZoom : public QObject {
    Q_OBJECT

public:
    static LogZoom& shared();

    /// In points; 0 for the chosen size.
    double points() const { return points_; }
    /// Steps of one point, as far as there are sizes.
    void change(int steps);
    void reset();
    /// The preferences' font in the size in which it is shown.
    QFont shownFont() const;

Q_SIGNALS:
    void changed();

private:
    void set(double points);

    double points_ = 0;
};

} // namespace korvane
