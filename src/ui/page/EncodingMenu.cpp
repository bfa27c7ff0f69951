#include "ui/page/EncodingMenu.h"

#include <QActionGroup>

namespace korvane {

EncodingMenu::EncodingMenu(QWidget* parent) : QMenu(parent), group_(new QActionGroup(this)) {
    setTitle(tr("Text Enc&oding"));
    add(tr("&Automatic"), {});
    add(tr("UTF-8, show invalid bytes as �"), {EncodingChoice::Kind::LenientUtf8, encoding::utf8});
    addSeparator();
    for (const StringEncoding known : knownEncodings())
        add(encodingName(known), {EncodingChoice::Kind::Fixed, known});
    connect(group_, &QActionGroup::triggered, this,
            [this](const QAction* action) { Q_EMIT chosen(action->data().value<EncodingChoice>()); });
}

void EncodingMenu::add(const QString& text, EncodingChoice choice) {
    QAction* action = addAction(text);
    action->setCheckable(true);
    action->setData(QVariant::fromValue(choice));
    group_->addAction(action);
}

void EncodingMenu::setChoice(EncodingChoice choice) {
    for (QAction* action : group_->actions())
        if (action->data().value<EncodingChoice>() == choice)
            action->setChecked(true);
}

void EncodingMenu::setChoosable(bool choosable) {
    group_->setEnabled(choosable);
}

} // namespace korvane
