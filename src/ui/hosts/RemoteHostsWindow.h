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

/// What the rest of the program does for hosts. Each may be empty; what depends on it is then not there.
struct RemoteHostsHooks {
    /// Lets the user choose a file of the host.
    std::function<void(std::shared_ptr<RemoteHost>)> browse;
    /// Whether an open document is connected with the host.
    std::function<bool(const RemoteHost&)> isConnected;
};

/// The window in which hosts and their groups are kept. Every change is saved at once and told by
/// `RemoteHostsManager::groupsChanged`. Main thread; needs the shared stores.
class RemoteHostsWindow : public QDialog {
    Q_OBJECT

public:
    /// `alerts` must outlive the window.
    RemoteHostsWindow(RemoteHostsHooks hooks, AlertPresenter& alerts, QWidget* parent = nullptr);

    void selectHost(const RemoteHost& host);
    /// Asks anew which hosts are connected.
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
    /// What a double click or Return means for the selected host.
    void openHost();
    void showDetails(const std::shared_ptr<RemoteHost>& edited);
    void tellOthers();

    /// Null when something else is selected, or nothing.
    std::shared_ptr<RemoteHost> selectedHost() const;
    std::shared_ptr<ServerGroup> selectedGroup() const;
    /// In the model; invalid for none.
    QModelIndex selectedIndex() const;
    void select(const QModelIndex& index);
    /// Selects it for what the user does next, even if that takes the filter away.
    void reveal(const QModelIndex& index);

    /// Shows what the stores hold now; groups stay as open and what is selected stays selected.
    void refresh();
    void expandGroups();
    void setGroupExpanded(const QModelIndex& shownIndex, bool isExpanded);
    void filterChanged();
    /// What can be done, and what is said in place of an empty list.
    void updateState();

    const RemoteHostsHooks hooks_;
    AlertPresenter& alerts_;
    RemoteHostsModel* model_;
    QSortFilterProxyModel* shown_;
    QLineEdit* filter_;
    QTreeView* tree_;
    /// Stands in place of the tree when that has nothing to show.
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
