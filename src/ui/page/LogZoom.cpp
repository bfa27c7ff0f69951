#include "ui/page/LogZoom.h"

#include "core/Preferences.h"

#include <algorithm>

namespace korvane {
namespace {

constexpr double smallestPointSize = 5;
constexpr double largestPointSize = 72;

} // namespace

LogZoom& LogZoom::shared() {
    static LogZoom zoom;
    return zoom;
}

void LogZoom::change(int steps) {
    const double chosen = Preferences::shared().logViewFont().pointSizeF();
    set(std::clamp(chosen + points_ + steps, smallestPointSize, largestPointSize) - chosen);
}

void LogZoom::reset() {
    set(0);
}

void LogZoom::set(double points) {
    if (points == points_)
        return;
    points_ = points;
    Q_EMIT changed();
}

QFont LogZoom::shownFont() const {
    QFont font = Preferences::shared().logViewFont();
    if (points_ != 0)
        font.setPointSizeF(std::clamp(font.pointSizeF() + points_, smallestPointSize, largestPointSize));
    return font;
}

} // namespace korvane
