#include "ui/widgets/ColorButton.h"

#include <QColorDialog>
#include <QPainter>

namespace korvane {
namespace {

constexpr QSize swatchSize(40, 16);

} // namespace

ColorButton::ColorButton(const QString& title, QWidget* parent) : QToolButton(parent) {
    setAccessibleName(title);
    setToolTip(title);
    setIconSize(swatchSize);
    connect(this, &QToolButton::clicked, this, [this] { choose(); });
    setColor(Qt::black);
}

void ColorButton::setColor(const QColor& color) {
    color_ = color;
    QPixmap swatch(swatchSize * devicePixelRatioF());
    swatch.setDevicePixelRatio(devicePixelRatioF());
    swatch.fill(color);
    QPainter painter(&swatch);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(QRectF(0.5, 0.5, swatchSize.width() - 1, swatchSize.height() - 1));
    painter.end();
    QIcon icon(swatch);
    icon.addPixmap(swatch, QIcon::Disabled);
    setIcon(icon);
}

void ColorButton::choose() {
    auto* dialog = new QColorDialog(color_, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(accessibleName());
    connect(dialog, &QColorDialog::colorSelected, this, [this](const QColor& chosen) {
        setColor(chosen);
        Q_EMIT colorChosen(chosen);
    });
    dialog->open();
}

} // namespace korvane
