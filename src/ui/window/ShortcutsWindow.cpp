#include "ui/window/ShortcutsWindow.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QHeaderView>
#include <QMenu>
#include <QMenuBar>
#include <QTreeWidget>
#include <QVBoxLayout>

#include <initializer_list>
#include <utility>

namespace korvane {
namespace {

constexpr QSize windowSize(560, 620);

QString withoutMnemonic(QString text) {
    return text.remove(u'&');
}

QString shortcutText(const QAction& action) {
    QStringList keys;
    for (const QKeySequence& key : action.shortcuts())
        keys.append(key.toString(QKeySequence::NativeText));
    return keys.join(QStringLiteral(", "));
}

QTreeWidgetItem* addGroup(QTreeWidget& list, const QString& title) {
    auto* group = new QTreeWidgetItem(&list, {title});
    QFont bold = list.font();
    bold.setBold(true);
    group->setFont(0, bold);
    group->setFirstColumnSpanned(true);
    return group;
}

} // namespace

ShortcutsWindow::ShortcutsWindow(const QMenuBar& menus, QWidget* parent) : QDialog(parent) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Keyboard Shortcuts"));
    resize(windowSize);
    auto* list = new QTreeWidget(this);
    list->setAccessibleName(tr("Keyboard shortcuts"));
    list->setColumnCount(2);
    list->setHeaderLabels({tr("Action"), tr("Keys")});
    list->setRootIsDecorated(false);
    list->setSelectionMode(QAbstractItemView::NoSelection);
    for (const QAction* menu : menus.actions()) {
        QTreeWidgetItem* group = nullptr;
        for (const QAction* action : menu->menu() ? menu->menu()->actions() : QList<QAction*>()) {
            const QString keys = shortcutText(*action);
            if (keys.isEmpty())
                continue;
            if (!group)
                group = addGroup(*list, withoutMnemonic(menu->text()));
            new QTreeWidgetItem(group, {withoutMnemonic(action->text()), keys});
        }
    }
    const std::initializer_list<std::pair<QString, QString>> inLines{
        {tr("Next and previous row"), tr("Down, Up")},
        {tr("Extend the selection"), tr("Shift with a key that moves")},
        {tr("One page"), tr("Page Down, Page Up")},
        {tr("First and last row"), tr("Home, End")},
        {tr("Sideways"), tr("Left, Right")},
        {tr("From word to word"), tr("Ctrl+Left, Ctrl+Right")},
        {tr("Select text by characters, by words"), tr("Shift+Left or Right, Ctrl+Shift+Left or Right")},
        {tr("Select text to the line's start or end"), tr("Shift+Home, Shift+End, after a selection")},
        {tr("Take the selection away"), tr("Esc")},
        {tr("Larger and smaller text"), tr("Ctrl with the wheel")},
    };
    QTreeWidgetItem* lines = addGroup(*list, tr("In the lines"));
    for (const auto& [action, keys] : inLines)
        new QTreeWidgetItem(lines, {action, keys});
    const std::initializer_list<std::pair<QString, QString>> inSearch{
        {tr("Next match"), tr("Enter")},
        {tr("Previous match"), tr("Shift+Enter")},
        {tr("Back to the lines"), tr("Esc, Down")},
    };
    QTreeWidgetItem* search = addGroup(*list, tr("In the search field"));
    for (const auto& [action, keys] : inSearch)
        new QTreeWidgetItem(search, {action, keys});
    list->expandAll();
    list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    list->header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    list->header()->setStretchLastSection(false);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, this);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(list);
    layout->addWidget(buttons);
}

} // namespace korvane
