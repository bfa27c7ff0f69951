#pragma once

#include "foundation/work/OperationQueue.h"
#include "remote/Client.h"

#include <QDialog>
#include <QPersistentModelIndex>
#include <QTimer>

#include <memory>

class QAction;
class QLabel;
class QMenu;
class QPushButton;

namespace korvane {

class BusyIndicator;
class RemoteColumnView;
class RemoteFileModel;
class RemoteFileOrder;
class RemoteHost;
class RemotePathBar;
class SFTPClient;

/// Receives the file chosen in the browser. Main thread.
class ServerBrowserViewDelegate {
public:
    virtual ~ServerBrowserViewDelegate() = default;
    /// `path` is absolute.
    virtual void remoteFileChosen(const std::shared_ptr<RemoteHost>& host, const QString& path) = 0;
};

/// Browses the directories of a server in columns: the user picks a file to open, or a directory to
/// start in. Logs in when it is made, again for the next listing after the connection was lost, and out
/// when it is closed. Main thread; deletes itself when closed.
class ServerBrowserViewController : public QDialog {
    Q_OBJECT

public:
    /// `client` is the browser's own. `files` lists by it. `delegate` and `alerts` must outlive the browser.
    ServerBrowserViewController(std::shared_ptr<Client> client, std::shared_ptr<SFTPClient> files,
                                ServerBrowserViewDelegate& delegate, AlertPresenter& alerts,
                                QWidget* parent = nullptr);
    ~ServerBrowserViewController() override;

    /// The directory in the first column; empty until the login has succeeded.
    const QString& currentPath() const { return currentPath_; }
    /// Raises the window, and reconnects it if the connection was lost.
    void comeBack();

    void accept() override;

private:
    QWidget* makeTop();
    QMenu* makeViewMenu();
    QWidget* makeBottom();
    void connectToServer();
    void connected(const Result<Client::Connection>& result);
    void showDirectory(const QString& path);
    void goUp();
    void refresh();
    void reconnect();
    /// The connection was made or lost, by any of its users.
    void connectionChanged();
    void visitShownDirectories();
    /// Indexes of the model; the root, which is invalid, first.
    QList<QModelIndex> shownDirectories() const;
    void directoryListed(const QModelIndex& directory);
    QString emptyText(const QModelIndex& shownDirectory) const;
    void selectionChanged();
    void updateState();
    /// The text of the status line.
    QString statusText() const;
    /// Why an entry cannot be shown or opened; empty without a fault.
    QString faultText() const;
    /// Pins the selected directory, or that of the selected file, or the one in the first column.
    void pinHomePath();

    const std::shared_ptr<Client> client_;
    const std::shared_ptr<const bool> life_ = std::make_shared<const bool>(true); // ends with this
    ServerBrowserViewDelegate& delegate_;
    AlertPresenter& alerts_;
    RemoteFileModel* model_;
    /// Filters and sorts the model for the columns.
    RemoteFileOrder* order_;
    RemoteColumnView* browser_;
    RemotePathBar* pathControl_;
    QPushButton* btnRoot_ = nullptr;
    QPushButton* btnRefresh_ = nullptr;
    QPushButton* btnPin_ = nullptr;
    QPushButton* btnReconnect_ = nullptr;
    QPushButton* btnOk_ = nullptr;
    BusyIndicator* busy_ = nullptr;
    QLabel* status_ = nullptr;
    QLabel* fault_ = nullptr;
    QString currentPath_;
    QPersistentModelIndex selected_;
    /// Path to select as soon as it is listed; may be empty.
    QString awaitedPath_;
    /// The outcome of pinning, shown until the selection changes.
    QString message_;
    bool isConnecting_ = true;
    QTimer visits_;
    OperationQueue queue_;
};

} // namespace korvane
