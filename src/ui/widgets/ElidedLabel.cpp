#include "ui/widgets/ElidedLabel.h"

#include <QPainter>

namespace korvane {

void ElidedLabel::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    const QRect area = contentsRect();
    painter.drawText(area, Qt::AlignVCenter | Qt::AlignLeft | Qt::TextSingleLine,
                     fontMetrics().elidedText(text(), elideMode_, area.width()));
}

} // namespace korvane
