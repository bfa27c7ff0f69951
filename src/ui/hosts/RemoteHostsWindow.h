#pragma once

#include "foundation/notices/Notice.h"

#include <QDialog>
#include <QSet>

#include <functional>
#include <memory>
#include <vector>

class QAction;
class QLabel;
class QLineEdit;
class QPushButton;
class QSortFilterProxyModel;
class QStackedLayout;
class QTreeView;

namespace korvane {

class AlertPresenter;
class RemoteHost;
class RemoteHostsModel;
class ServerGroup;

/// Functions of the rest of the program for hosts. Each may be empty; its controls are then absent.
struct RemoteHostsHooks {
    /// Lets the user choose a file of the host.
    std::function<void(std::shared_ptr<RemoteHost>)> browse;
    /// Whether an open document is connected with the host.
    std::function<bool(const RemoteHost&)> isConnected;
};

/// The window for managing hosts and groups. Every change is saved at once and reported by
/// `RemoteHostsManager::groupsChanged`. Main thread; needs the shared stores.
class RemoteHostsWindow : public QDialog {
    Q_OBJECT

public:
    /// `alerts` must outlive the window.
    RemoteHostsWindow(RemoteHostsHooks hooks, AlertPresenter& alerts, QWidget* parent = nullptr);

    void selectHost(const RemoteHost& host);
    /// Queries again which hosts are connected.
    void refreshStates();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void changeEvent(QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void makeActions();
    QAction* makeAction(const QString& text, const QKeySequence& shortcut, const QString& purpose,
                        void (RemoteHostsWindow::*action)());
    void makeTree();
    QLayout* makeButtons();
    void showMenu(const QPoint& place);

    void addHost();
    void editHost();
    void duplicateHost();
    void deleteSelected();
    void askToDelete(const std::shared_ptr<RemoteHost>& host);
    void deleteHost(const std::shared_ptr<RemoteHost>& host);
    void deleteGroup(const std::shared_ptr<ServerGroup>& group);
    void addGroup();
    void renameGroup();
    void browse();
    /// The action of a double click or Return on the selected host.
    void openHost();
    void showDetails(const std::shared_ptr<RemoteHost>& edited);
    void tellOthers();

    /// Null unless a host, or a group, is selected.
    std::shared_ptr<RemoteHost> selectedHost() const;
    std::shared_ptr<ServerGroup> selectedGroup() const;
    /// An index of the model; invalid without a selection.
    QModelIndex selectedIndex() const;
    void select(const QModelIndex& index);
    /// Selects it for the next action of the user; clears the filter if that hides it.
    void reveal(const QModelIndex& index);

    /// Shows the stores again, and keeps which groups are open and the selection.
    void refresh();
    void expandGroups();
    void setGroupExpanded(const QModelIndex& shownIndex, bool isExpanded);
    void filterChanged();
    /// Enables the actions, and sets the placeholder of an empty list.
    void updateState();

    const RemoteHostsHooks hooks_;
    AlertPresenter& alerts_;
    RemoteHostsModel* model_;
    QSortFilterProxyModel* shown_;
    QLineEdit* filter_;
    QTreeView* tree_;
    /// Shown in place of an empty tree.
    QLabel* empty_;
    QStackedLayout* treeOrEmpty_;
    QLabel* fault_;
    QPushButton* addButton_ = nullptr;
    QAction* add_ = nullptr;
    QAction* edit_ = nullptr;
    QAction* duplicate_ = nullptr;
    QAction* delete_ = nullptr;
    QAction* newGroup_ = nullptr;
    QAction* renameGroup_ = nullptr;
    /// Null without the hook.
    QAction* browse_ = nullptr;
    /// The names of the groups that the user has closed.
    QSet<QString> collapsed_;
    Subscription hostsSubscription_;
};

} // namespace korvane
