#include "ui/hosts/RemoteHostsWindow.h"

#include "core/Preferences.h"
#include "foundation/notices/Alerts.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/ServerGroup.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "ui/hosts/GroupNameDialog.h"
#include "ui/hosts/HostDetailsDialog.h"
#include "ui/hosts/RemoteHostsModel.h"
#include "ui/widgets/WidgetIds.h"

#include <QAction>
#include <QDialogButtonBox>
#include <QEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QShortcut>
#include <QSortFilterProxyModel>
#include <QStackedLayout>
#include <QTreeView>

#include <algorithm>

namespace korvane {
namespace {

constexpr QSize firstSize(760, 480);
constexpr int labelWidth = 380;
constexpr int connectionWidth = 240;

/// A button for an action; enabled while that is.
QPushButton* makeButton(QAction* action, QWidget* parent) {
    auto* button = new QPushButton(action->text(), parent);
    button->setAutoDefault(false);
    button->setToolTip(action->toolTip());
    const auto follow = [button, action] { button->setEnabled(action->isEnabled()); };
    QObject::connect(action, &QAction::changed, button, follow);
    QObject::connect(button, &QPushButton::clicked, action, &QAction::trigger);
    follow();
    return button;
}

} // namespace

RemoteHostsWindow::RemoteHostsWindow(RemoteHostsHooks hooks, AlertPresenter& alerts, QWidget* parent)
    : QDialog(parent), hooks_(std::move(hooks)), alerts_(alerts),
      model_(new RemoteHostsModel(hooks_.isConnected, this)), shown_(new QSortFilterProxyModel(this)),
      filter_(new QLineEdit(this)), tree_(new QTreeView(this)), empty_(new QLabel(this)),
      treeOrEmpty_(new QStackedLayout), fault_(new QLabel(this)) {
    setWindowTitle(tr("Remote Hosts"));
    resize(firstSize);
    filter_->setPlaceholderText(tr("Filter by name, address or group"));
    filter_->setAccessibleName(tr("Filter"));
    filter_->setToolTip(tr("Show only what holds this text (%1)")
                            .arg(QKeySequence(QKeySequence::Find).toString(QKeySequence::NativeText)));
    filter_->setClearButtonEnabled(true);
    filter_->installEventFilter(this);
    empty_->setAlignment(Qt::AlignCenter);
    empty_->setWordWrap(true);
    empty_->setTextFormat(Qt::PlainText);
    empty_->setForegroundRole(QPalette::PlaceholderText);
    fault_->setWordWrap(true);
    fault_->setTextFormat(Qt::PlainText);
    makeActions();
    makeTree();
    treeOrEmpty_->addWidget(tree_);
    treeOrEmpty_->addWidget(empty_);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(filter_);
    layout->addLayout(treeOrEmpty_, 1);
    layout->addWidget(fault_);
    layout->addLayout(makeButtons());

    connect(filter_, &QLineEdit::textChanged, this, [this] { filterChanged(); });
    auto* find = new QShortcut(QKeySequence::Find, this);
    connect(find, &QShortcut::activated, this, [this] {
        filter_->setFocus();
        filter_->selectAll();
    });
    hostsSubscription_ = RemoteHostsManager::shared().groupsChanged().subscribe([this] { refresh(); });
    expandGroups();
    if (const auto& hosts = RemoteHostsManager::shared().hosts(); !hosts.empty())
        select(model_->index(0, 0, model_->indexOf(*hosts.front()).parent()));
    updateState();
    if (treeOrEmpty_->currentWidget() == tree_)
        tree_->setFocus();
    else
        addButton_->setFocus();
}

// ---- Parts

void RemoteHostsWindow::makeActions() {
    add_ = makeAction(tr("&Add Host…"), QKeySequence(Qt::CTRL | Qt::Key_N), tr("Add a host"),
                      &RemoteHostsWindow::addHost);
    edit_ = makeAction(tr("&Edit…"), QKeySequence(Qt::CTRL | Qt::Key_E), tr("Change the selected host"),
                       &RemoteHostsWindow::editHost);
    duplicate_ = makeAction(tr("Du&plicate"), QKeySequence(Qt::CTRL | Qt::Key_D),
                            tr("Add a copy of the selected host"), &RemoteHostsWindow::duplicateHost);
    delete_ = makeAction(tr("&Delete…"), QKeySequence::Delete, tr("Delete the selected host or empty group"),
                         &RemoteHostsWindow::deleteSelected);
    newGroup_ = makeAction(tr("New &Group…"), QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_N),
                           tr("Add a group"), &RemoteHostsWindow::addGroup);
    renameGroup_ = makeAction(tr("&Rename Group…"), QKeySequence(Qt::Key_F2), tr("Rename the selected group"),
                              &RemoteHostsWindow::renameGroup);
    if (hooks_.browse)
        browse_ = makeAction(tr("&Browse…"), QKeySequence::Open, tr("Open a file of the selected host"),
                             &RemoteHostsWindow::browse);
    auto* open = new QAction(this);
    open->setShortcuts({QKeySequence(Qt::Key_Return), QKeySequence(Qt::Key_Enter)});
    connect(open, &QAction::triggered, this, &RemoteHostsWindow::openHost);
    // In a text field these keys have another meaning.
    for (QAction* action : {open, delete_}) {
        action->setShortcutContext(Qt::WidgetShortcut);
        tree_->addAction(action);
    }
}

QAction* RemoteHostsWindow::makeAction(const QString& text, const QKeySequence& shortcut,
                                       const QString& purpose, void (RemoteHostsWindow::*action)()) {
    auto* made = new QAction(text, this);
    made->setShortcut(shortcut);
    made->setToolTip(QStringLiteral("%1 (%2)").arg(purpose, shortcut.toString(QKeySequence::NativeText)));
    connect(made, &QAction::triggered, this, action);
    addAction(made);
    return made;
}

void RemoteHostsWindow::makeTree() {
    shown_->setSourceModel(model_);
    shown_->setFilterCaseSensitivity(Qt::CaseInsensitive);
    shown_->setFilterKeyColumn(-1);
    shown_->setRecursiveFilteringEnabled(true);
    // A group that matches by name shows all its hosts.
    shown_->setAutoAcceptChildRows(true);
    tree_->setModel(shown_);
    tree_->setAccessibleName(tr("Remote hosts"));
    tree_->setUniformRowHeights(true);
    tree_->setTextElideMode(Qt::ElideMiddle);
    tree_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    tree_->setAllColumnsShowFocus(true);
    tree_->setDragDropMode(QAbstractItemView::InternalMove);
    tree_->setContextMenuPolicy(Qt::CustomContextMenu);
    tree_->setColumnWidth(RemoteHostsModel::labelColumn, labelWidth);
    tree_->setColumnWidth(RemoteHostsModel::connectionColumn, connectionWidth);
    tree_->header()->setMinimumSectionSize(fontMetrics().horizontalAdvance(tr("Not connected")) + 16);
    connect(tree_, &QTreeView::doubleClicked, this, &RemoteHostsWindow::openHost);
    connect(tree_, &QTreeView::customContextMenuRequested, this, &RemoteHostsWindow::showMenu);
    connect(tree_, &QTreeView::expanded, this,
            [this](const QModelIndex& index) { setGroupExpanded(index, true); });
    connect(tree_, &QTreeView::collapsed, this,
            [this](const QModelIndex& index) { setGroupExpanded(index, false); });
    connect(tree_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] { updateState(); });
}

QLayout* RemoteHostsWindow::makeButtons() {
    auto* row = new QHBoxLayout;
    addButton_ = makeButton(add_, this);
    row->addWidget(addButton_);
    for (QAction* action : {edit_, duplicate_, delete_, newGroup_})
        row->addWidget(makeButton(action, this));
    row->addStretch();
    if (browse_)
        row->addWidget(makeButton(browse_, this));
    auto* close = new QDialogButtonBox(QDialogButtonBox::Close, this);
    // Return acts on the list.
    close->button(QDialogButtonBox::Close)->setAutoDefault(false);
    connect(close, &QDialogButtonBox::rejected, this, &QDialog::close);
    row->addWidget(close);
    return row;
}

void RemoteHostsWindow::showMenu(const QPoint& place) {
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (selectedHost()) {
        if (browse_)
            menu->addAction(browse_);
        menu->addActions({edit_, duplicate_});
    }
    if (selectedIndex().isValid()) {
        if (selectedGroup())
            menu->addAction(renameGroup_);
        menu->addAction(delete_);
        menu->addSeparator();
    }
    menu->addActions({add_, newGroup_});
    menu->popup(tree_->viewport()->mapToGlobal(place));
}

// ---- Changing

void RemoteHostsWindow::addHost() {
    showDetails(nullptr);
}

void RemoteHostsWindow::editHost() {
    if (const auto host = selectedHost())
        showDetails(host);
}

void RemoteHostsWindow::showDetails(const std::shared_ptr<RemoteHost>& edited) {
    auto* details = new HostDetailsDialog(edited, alerts_, this);
    details->setAttribute(Qt::WA_DeleteOnClose);
    const QModelIndex selected = selectedIndex();
    const auto group = model_->group(selectedHost() ? selected.parent() : selected);
    if (!edited && group)
        details->setGroup(group->name());
    connect(details, &HostDetailsDialog::hostSaved, this, [this](const std::shared_ptr<RemoteHost>& host) {
        tellOthers();
        reveal(model_->indexOf(*host));
    });
    details->open();
}

void RemoteHostsWindow::duplicateHost() {
    const auto host = selectedHost();
    if (!host)
        return;
    auto& store = RemoteHostsManager::shared();
    const auto copy = host->copy();
    copy->setClone(true);
    store.copyKeyBookmarks(*host, *copy);
    if (const Status added = store.add(copy); !added) {
        alerts_.present(
            {Alert::Kind::Error, tr("The host cannot be duplicated."), added.error().userText, {}},
            idOf(this), {});
        return;
    }
    tellOthers();
    reveal(model_->indexOf(*copy));
}

void RemoteHostsWindow::deleteSelected() {
    if (const auto host = selectedHost())
        askToDelete(host);
    else if (const auto group = selectedGroup())
        deleteGroup(group);
}

void RemoteHostsWindow::askToDelete(const std::shared_ptr<RemoteHost>& host) {
    if (!Preferences::shared().confirmDeleteRemoteHost()) {
        deleteHost(host);
        return;
    }
    const QPointer<RemoteHostsWindow> self(this);
    alerts_.present({Alert::Kind::Question,
                     tr("Delete the remote host “%1”?").arg(host->labelForHost()),
                     tr("Its login is forgotten. Nothing on the host itself is changed."),
                     {tr("Delete"), tr("Cancel")},
                     [] { Preferences::shared().setConfirmDeleteRemoteHost(false); }},
                    idOf(this), [self, host](int button) {
                        if (self && button == 0)
                            self->deleteHost(host);
                    });
}

void RemoteHostsWindow::deleteHost(const std::shared_ptr<RemoteHost>& host) {
    RemoteHostsManager::shared().remove(host);
    tellOthers();
}

void RemoteHostsWindow::deleteGroup(const std::shared_ptr<ServerGroup>& group) {
    if (const auto refusal =
            ServerGroupsManager::refusalToRemove(*group, RemoteHostsManager::shared().hosts())) {
        alerts_.present(*refusal, idOf(this), {});
        return;
    }
    ServerGroupsManager::shared().remove(group);
    tellOthers();
}

void RemoteHostsWindow::addGroup() {
    auto* dialog = new GroupNameDialog({}, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog] {
        const auto group = std::make_shared<ServerGroup>(dialog->name());
        ServerGroupsManager::shared().add(group);
        tellOthers();
        reveal(model_->indexOf(*group));
    });
    dialog->open();
}

void RemoteHostsWindow::renameGroup() {
    const auto group = selectedGroup();
    if (!group || !group->editable())
        return;
    auto* dialog = new GroupNameDialog(group->name(), this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QDialog::accepted, this, [this, dialog, group] {
        // A group that the user has closed stays closed.
        if (collapsed_.remove(group->name()))
            collapsed_.insert(dialog->name());
        ServerGroupsManager::shared().rename(*group, dialog->name(), RemoteHostsManager::shared());
        tellOthers();
        reveal(model_->indexOf(*group));
    });
    dialog->open();
}

void RemoteHostsWindow::browse() {
    if (const auto host = selectedHost())
        hooks_.browse(host);
}

void RemoteHostsWindow::openHost() {
    if (browse_)
        browse();
    else
        editHost();
}

void RemoteHostsWindow::tellOthers() {
    RemoteHostsManager::shared().groupsChanged().post();
}

// ---- Showing

QModelIndex RemoteHostsWindow::selectedIndex() const {
    const QModelIndexList selected = tree_->selectionModel()->selectedRows();
    return selected.isEmpty() ? QModelIndex() : shown_->mapToSource(selected.front());
}

std::shared_ptr<RemoteHost> RemoteHostsWindow::selectedHost() const {
    return model_->host(selectedIndex());
}

std::shared_ptr<ServerGroup> RemoteHostsWindow::selectedGroup() const {
    return model_->group(selectedIndex());
}

void RemoteHostsWindow::select(const QModelIndex& index) {
    const QModelIndex shownIndex = shown_->mapFromSource(index);
    if (!shownIndex.isValid())
        return;
    tree_->setCurrentIndex(shownIndex);
    tree_->scrollTo(shownIndex);
}

void RemoteHostsWindow::reveal(const QModelIndex& index) {
    if (index.isValid() && !shown_->mapFromSource(index).isValid())
        filter_->clear();
    select(index);
    tree_->setFocus();
}

void RemoteHostsWindow::selectHost(const RemoteHost& host) {
    reveal(model_->indexOf(host));
}

void RemoteHostsWindow::refresh() {
    const QModelIndex before = selectedIndex();
    const int row = before.row();
    const auto host = model_->host(before);
    const auto group = model_->group(host ? before.parent() : before);
    model_->rebuild();
    expandGroups();
    QModelIndex after = group ? model_->indexOf(*group) : QModelIndex();
    if (host) {
        const QModelIndex kept = model_->indexOf(*host);
        // The neighbour of a deleted host is selected.
        const QModelIndex neighbour =
            model_->index(std::min(row, model_->rowCount(after) - 1), RemoteHostsModel::labelColumn, after);
        if (kept.isValid() || neighbour.isValid())
            after = kept.isValid() ? kept : neighbour;
    } else if (group && !after.isValid()) {
        after = model_->index(std::min(row, model_->rowCount() - 1), RemoteHostsModel::labelColumn);
    }
    select(after);
    updateState();
}

void RemoteHostsWindow::refreshStates() {
    model_->refreshStates();
}

void RemoteHostsWindow::expandGroups() {
    const bool isFiltered = !filter_->text().isEmpty();
    for (int row = 0; row < shown_->rowCount(); ++row) {
        const QModelIndex index = shown_->index(row, RemoteHostsModel::labelColumn);
        tree_->setFirstColumnSpanned(row, {}, true);
        tree_->setExpanded(index, isFiltered || !collapsed_.contains(index.data().toString()));
    }
}

void RemoteHostsWindow::setGroupExpanded(const QModelIndex& shownIndex, bool isExpanded) {
    // A filter opens the groups with matches while it is set.
    if (!filter_->text().isEmpty())
        return;
    if (isExpanded)
        collapsed_.remove(shownIndex.data().toString());
    else
        collapsed_.insert(shownIndex.data().toString());
}

void RemoteHostsWindow::filterChanged() {
    shown_->setFilterFixedString(filter_->text().trimmed());
    expandGroups();
    updateState();
}

void RemoteHostsWindow::updateState() {
    const bool isHost = selectedHost() != nullptr;
    edit_->setEnabled(isHost);
    duplicate_->setEnabled(isHost);
    delete_->setEnabled(isHost || selectedGroup());
    renameGroup_->setEnabled(selectedGroup() && selectedGroup()->editable());
    if (browse_)
        browse_->setEnabled(isHost);

    const bool hasNothing =
        RemoteHostsManager::shared().count() == 0 && ServerGroupsManager::shared().count() <= 1;
    if (hasNothing)
        empty_->setText(tr("No remote hosts yet.\nAdd one to open the log files that lie there."));
    else
        empty_->setText(tr("Nothing here holds “%1”.").arg(filter_->text().trimmed()));
    treeOrEmpty_->setCurrentWidget(hasNothing || shown_->rowCount() == 0 ? static_cast<QWidget*>(empty_)
                                                                         : tree_);
    filter_->setEnabled(!hasNothing);

    const QString& hostsFault = RemoteHostsManager::shared().fault();
    fault_->setText(hostsFault.isEmpty() ? ServerGroupsManager::shared().fault() : hostsFault);
    fault_->setVisible(!fault_->text().isEmpty());
}

// ---- Events

bool RemoteHostsWindow::eventFilter(QObject* watched, QEvent* event) {
    if (watched == filter_ && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Down || key == Qt::Key_Return || key == Qt::Key_Enter) {
            if (!tree_->currentIndex().isValid())
                tree_->setCurrentIndex(shown_->index(0, RemoteHostsModel::labelColumn));
            tree_->setFocus();
            return true;
        }
        if (key == Qt::Key_Escape && !filter_->text().isEmpty()) {
            filter_->clear();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void RemoteHostsWindow::changeEvent(QEvent* event) {
    // Documents may have been opened and closed meanwhile.
    if (event->type() == QEvent::ActivationChange && isActiveWindow())
        refreshStates();
    QDialog::changeEvent(event);
}

void RemoteHostsWindow::hideEvent(QHideEvent* event) {
    // Close child dialogs with the window, but not when it is minimised (spontaneous).
    if (!event->spontaneous()) {
        for (auto* dialog : findChildren<QDialog*>(Qt::FindDirectChildrenOnly))
            dialog->reject();
    }
    QDialog::hideEvent(event);
}

} // namespace korvane
