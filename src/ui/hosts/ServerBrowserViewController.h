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

/// Hears which file was chosen in the browser. Main thread.
class ServerBrowserViewDelegate {
public:
    virtual ~ServerBrowserViewDelegate() = default;
    /// `path` is absolute.
    virtual void remoteFileChosen(const std::shared_ptr<RemoteHost>& host, const QString& path) = 0;
};

/// Walks the directories of a server in columns, so that the user picks a file to open or a directory to
/// begin with. Logs in when it is made, again with the next listing after the connection was lost, and out
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
    /// Shows the window in front of the others, and connects it where the connection has been lost.
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
    /// The connection has come or gone, by whomever.
    void connectionChanged();
    void visitShownDirectories();
    /// In the model; the root, which is invalid, first.
    QList<QModelIndex> shownDirectories() const;
    void directoryListed(const QModelIndex& directory);
    QString emptyText(const QModelIndex& shownDirectory) const;
    void selectionChanged();
    void updateState();
    /// What the status line says.
    QString statusText() const;
    /// Why something cannot be shown or opened; empty for no fault.
    QString faultText() const;
    /// Pins the directory selected, or that of the file selected, or the one in the first column.
    void pinHomePath();

    const std::shared_ptr<Client> client_;
    const std::shared_ptr<const bool> life_ = std::make_shared<const bool>(true); // ends with this
    ServerBrowserViewDelegate& delegate_;
    AlertPresenter& alerts_;
    RemoteFileModel* model_;
    /// What the columns show of the model.
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
    /// Selected as soon as it is listed; empty for nothing.
    QString awaitedPath_;
    /// What pinning has come to; until something else is selected.
    QString message_;
    bool isConnecting_ = true;
    QTimer visits_;
    OperationQueue queue_;
};

} // namespace korvane
