#include "ui/page/ConnectionStrip.h"

#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QPushButton>

namespace korvane {

ConnectionStrip::ConnectionStrip(QWidget* parent)
    : QWidget(parent), label_(new ElidedLabel(this)), connect_(new QPushButton(this)) {
    const int side = fontMetrics().height();
    auto* image = new QLabel(this);
    image->setPixmap(icon(QStringLiteral("server")).pixmap({side, side}, devicePixelRatioF()));
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 10, 4);
    layout->addWidget(image);
    layout->addWidget(label_, 1);
    layout->addWidget(connect_);
    label_->setTextFormat(Qt::PlainText);
    hide();
    connect(connect_, &QPushButton::clicked, this, &ConnectionStrip::connectRequested);
}

void ConnectionStrip::showState(ConnectionState state, const QString& server, const QString& fault) {
    const bool isLost = state == ConnectionState::Lost;
    setVisible(isLost || state == ConnectionState::Unconnected);
    label_->setText(fault.isEmpty() ? tr("Not connected to %1").arg(server) : fault);
    label_->setToolTip(label_->text());
    connect_->setText(isLost ? tr("Rec&onnect") : tr("C&onnect"));
    connect_->setToolTip(tr("Connect to %1 (F5)").arg(server));
}

} // namespace korvane
