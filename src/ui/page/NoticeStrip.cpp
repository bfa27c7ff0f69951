#include "ui/page/NoticeStrip.h"

#include "ui/widgets/ElidedLabel.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>

namespace korvane {

NoticeStrip::NoticeStrip(QWidget* parent)
    : QWidget(parent), image_(new QLabel(this)), label_(new ElidedLabel(this)), buttons_(new QHBoxLayout) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(10, 4, 10, 4);
    layout->addWidget(image_);
    layout->addWidget(label_, 1);
    layout->addLayout(buttons_);
    label_->setTextFormat(Qt::PlainText);
    label_->setElideMode(Qt::ElideMiddle);
    hide();
}

void NoticeStrip::showNotice(const PageNotice& notice) {
    if (notice == notice_)
        return;
    // Unchanged buttons stay: they keep the focus and a click under way.
    const bool hasOtherButtons =
        notice.remedies != notice_.remedies || notice.canDismiss != notice_.canDismiss;
    notice_ = notice;
    setVisible(!notice.text.isEmpty());
    label_->setText(notice.text);
    if (notice.text.isEmpty())
        return;
    const int side = fontMetrics().height();
    const auto image = notice.isWarning ? QStyle::SP_MessageBoxWarning : QStyle::SP_MessageBoxInformation;
    image_->setPixmap(style()->standardIcon(image).pixmap({side, side}, devicePixelRatioF()));
    label_->setToolTip(notice.text);
    label_->setAccessibleName(notice.text);
    if (hasOtherButtons)
        makeButtons();
}

void NoticeStrip::makeButtons() {
    while (QLayoutItem* const item = buttons_->takeAt(0)) {
        item->widget()->hide();
        item->widget()->deleteLater(); // its click may still be handled
        delete item;
    }
    for (const PageNotice::Remedy remedy : notice_.remedies) {
        switch (remedy) {
        case PageNotice::Remedy::Reload:
            addButton(tr("&Reload"), tr("Read the file anew (F5)"), remedy);
            break;
        case PageNotice::Remedy::ChooseEncoding:
            addButton(tr("Choose &Encoding…"), tr("Show the file in another encoding"), remedy);
            break;
        case PageNotice::Remedy::LeaveOut:
            addButton(tr("&Leave Them Out"), tr("Show only the lines that are not hidden"), remedy);
            break;
        case PageNotice::Remedy::EditRules:
            addButton(tr("Edit R&ules…"), tr("Show and change the rules"), remedy);
            break;
        case PageNotice::Remedy::GoOn:
            addButton(tr("&Go On"), tr("Go on reading until there is no room at all"), remedy);
            break;
        case PageNotice::Remedy::End:
            addButton(tr("En&d"), tr("Read no more; what has come stays"), remedy);
            break;
        case PageNotice::Remedy::CopyText:
            addButton(tr("Cop&y Reason"), tr("Put this text on the clipboard"), remedy);
            break;
        }
    }
    if (notice_.canDismiss) {
        auto* button = new QToolButton(this);
        button->setAutoRaise(true);
        button->setIcon(style()->standardIcon(QStyle::SP_TitleBarCloseButton));
        button->setToolTip(tr("Put this notice aside"));
        button->setAccessibleName(button->toolTip());
        connect(button, &QToolButton::clicked, this, &NoticeStrip::dismissed);
        buttons_->addWidget(button);
    }
}

void NoticeStrip::addButton(const QString& text, const QString& toolTip, PageNotice::Remedy remedy) {
    auto* button = new QPushButton(text, this);
    button->setToolTip(toolTip);
    connect(button, &QPushButton::clicked, this, [this, remedy] { Q_EMIT remedyChosen(remedy); });
    buttons_->addWidget(button);
}

} // namespace korvane
