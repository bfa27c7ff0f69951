#include "ui/hosts/RemotePathBar.h"

#include "foundation/FilePath.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLayoutItem>
#include <QToolButton>

namespace korvane {

RemotePathBar::RemotePathBar(QWidget* parent) : QWidget(parent), layout_(new QHBoxLayout(this)) {
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(0);
}

void RemotePathBar::setPath(const QString& path) {
    while (QLayoutItem* item = layout_->takeAt(0)) {
        if (QWidget* widget = item->widget()) {
            widget->hide();
            // One of them may be the button whose click is being handled.
            widget->deleteLater();
        }
        delete item;
    }
    addComponent(QStringLiteral("/"), QStringLiteral("/"));
    QString walked;
    for (const QString& component : path.split(u'/', Qt::SkipEmptyParts)) {
        walked += u'/' + component;
        if (layout_->count() > 1)
            layout_->addWidget(new QLabel(QStringLiteral("/"), this));
        addComponent(component, walked);
    }
    layout_->addStretch();
}

void RemotePathBar::addComponent(const QString& title, const QString& path) {
    auto* button = new QToolButton(this);
    button->setAutoRaise(true);
    button->setFocusPolicy(Qt::TabFocus);
    button->setText(displayText(title).replace(u'&', QStringLiteral("&&")));
    button->setToolTip(tr("Show %1").arg(displayText(path)));
    button->setAccessibleName(displayText(path));
    connect(button, &QToolButton::clicked, this, [this, path] { Q_EMIT pathChosen(path); });
    layout_->addWidget(button);
}

} // namespace korvane
