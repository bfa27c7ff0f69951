#include "ui/widgets/ProgressStrip.h"

#include "ui/widgets/ElidedLabel.h"

#include <QHBoxLayout>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>

namespace korvane {
namespace {

constexpr int lastWordMilliseconds = 1200;
constexpr int barWidth = 260;

} // namespace

ProgressStrip::ProgressStrip(QWidget* parent)
    : QWidget(parent), label_(new ElidedLabel(this)), bar_(new QProgressBar(this)),
      cancel_(new QPushButton(tr("Cancel"), this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 10, 4);
    layout->addWidget(label_, 1);
    layout->addWidget(bar_);
    layout->addWidget(cancel_);
    label_->setTextFormat(Qt::PlainText);
    bar_->setFixedWidth(barWidth);
    bar_->setAccessibleName(tr("Progress"));
    hide();
    connect(cancel_, &QPushButton::clicked, this, &ProgressStrip::cancelled);
}

void ProgressStrip::showProgress(const QString& text, int percent) {
    ++serial_;
    label_->setText(text);
    bar_->setRange(0, percent < 0 ? 0 : 100);
    bar_->setValue(percent);
    bar_->show();
    cancel_->show();
    show();
}

void ProgressStrip::finish(const QString& text) {
    if (isHidden())
        return;
    label_->setText(text);
    bar_->hide();
    cancel_->hide();
    QTimer::singleShot(text.isEmpty() ? 0 : lastWordMilliseconds, this, [this, serial = ++serial_] {
        if (serial == serial_)
            hide();
    });
}

} // namespace korvane
