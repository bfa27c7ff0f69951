#include "ui/logtable/ClickCounter.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QStyleHints>

#include <algorithm>

namespace korvane {

int ClickCounter::count(const QMouseEvent& event) {
    const QStyleHints& hints = *QGuiApplication::styleHints();
    const bool isNear = (event.position() - place_).manhattanLength() <= hints.mouseDoubleClickDistance();
    const bool isSoon =
        event.timestamp() - milliseconds_ < static_cast<quint64>(hints.mouseDoubleClickInterval());
    const bool isDoubleClick = event.type() == QEvent::MouseButtonDblClick;
    count_ = isNear && isSoon ? count_ + 1 : 1;
    if (isDoubleClick)
        count_ = std::max(count_, 2);
    place_ = event.position();
    milliseconds_ = event.timestamp();
    return count_;
}

} // namespace korvane
