#include "ui/widgets/BusyIndicator.h"

#include <QPainter>

namespace korvane {
namespace {

constexpr int spokes = 10;
constexpr int stepMilliseconds = 90;

} // namespace

BusyIndicator::BusyIndicator(QWidget* parent) : QAbstractButton(parent) {
    setFixedSize(sizeHint());
    setFocusPolicy(Qt::NoFocus);
}

void BusyIndicator::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.translate(rect().center() + QPointF(0.5, 0.5));
    QColor color = palette().color(underMouse() ? QPalette::Highlight : QPalette::ButtonText);
    for (int i = 0; i < spokes; ++i) {
        // The spoke of the step is the darkest, those behind it fade.
        const int age = (step_ - i + spokes) % spokes;
        color.setAlphaF(1.0F - static_cast<float>(age) / (spokes + 1));
        painter.setPen(QPen(color, 1.8, Qt::SolidLine, Qt::RoundCap));
        painter.save();
        painter.rotate(360.0 / spokes * i);
        painter.drawLine(QPointF(0, -4), QPointF(0, -7.5));
        painter.restore();
    }
}

void BusyIndicator::timerEvent(QTimerEvent* /*event*/) {
    step_ = (step_ + 1) % spokes;
    update();
}

void BusyIndicator::showEvent(QShowEvent* event) {
    timer_.start(stepMilliseconds, this);
    QAbstractButton::showEvent(event);
}

void BusyIndicator::hideEvent(QHideEvent* event) {
    timer_.stop();
    QAbstractButton::hideEvent(event);
}

} // namespace korvane
