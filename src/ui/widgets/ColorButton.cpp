#include "ui/widgets/ColorButton.h"

#include <QHideEvent>
#include <QPainter>

#include <utility>

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

void ColorButton::setTarget(const QString& subject, std::function<void(const QColor&)> chosen) {
    subject_ = subject;
    chosen_ = std::move(chosen);
}

void ColorButton::hideEvent(QHideEvent* event) {
    if (dialog_ && !event->spontaneous())
        dialog_->reject();
    QToolButton::hideEvent(event);
}

void ColorButton::choose() {
    if (dialog_)
        dialog_->reject();
    dialog_ = new QColorDialog(color_, this);
    dialog_->setAttribute(Qt::WA_DeleteOnClose);
    dialog_->setWindowTitle(subject_.isEmpty() ? accessibleName()
                                               : tr("%1 of “%2”").arg(accessibleName(), subject_));
    connect(dialog_, &QColorDialog::colorSelected, this, [this, chosen = chosen_](const QColor& color) {
        if (chosen) {
            chosen(color);
            return;
        }
        setColor(color);
        Q_EMIT colorChosen(color);
    });
    dialog_->open();
}

} // namespace korvane
