#include "ui/window/NavigateToolbarItem.h"

#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QToolButton>

namespace korvane {

NavigateToolbarItem::NavigateToolbarItem(QWidget* parent)
    : QWidget(parent), backward_(makeButton(QStringLiteral("previous"), tr("Search backwards"),
                                            tr("Search towards the first line"), false)),
      forward_(makeButton(QStringLiteral("next"), tr("Search forwards"), tr("Search towards the last line"),
                          true)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(backward_);
    layout->addWidget(forward_);
}

QToolButton* NavigateToolbarItem::makeButton(const QString& iconName, const QString& name,
                                             const QString& toolTip, bool forward) {
    auto* button = new QToolButton(this);
    button->setIcon(icon(iconName));
    button->setAccessibleName(name);
    button->setToolTip(toolTip);
    button->setAutoRaise(true);
    button->setCheckable(true);
    connect(button, &QToolButton::clicked, this, [this, forward] {
        setForward(forward); // a click on the pressed button keeps it pressed
        Q_EMIT clicked(forward);
    });
    return button;
}

void NavigateToolbarItem::setForward(bool forward) {
    forward_->setChecked(forward);
    backward_->setChecked(!forward);
}

} // namespace korvane
