#pragma once

#include "foundation/work/OperationQueue.h"
#include "remote/Client.h"

#include <QDialog>

#include <memory>

class QLabel;
class QModelIndex;
class QPushButton;

namespace korvane {

class BusyIndicator;
class RemoteColumnView;
class RemoteFileModel;
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
/// begin with. Logs in when it is shown, and out when it is closed. Main thread; deletes itself when closed.
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

    void accept() override;

private:
    QWidget* makeTop();
    QWidget* makeBottom();
    void connectToServer();
    void connected(const Result<Client::Connection>& result);
    void showDirectory(const QString& path);
    void selectionChanged();
    void updateBusy();
    /// Pins the directory selected, or that of the file selected, or the one in the first column.
    void pinHomePath();

    const std::shared_ptr<Client> client_;
    ServerBrowserViewDelegate& delegate_;
    AlertPresenter& alerts_;
    RemoteFileModel* model_;
    RemoteColumnView* browser_;
    RemotePathBar* pathControl_;
    QPushButton* btnRoot_ = nullptr;
    QPushButton* btnPin_ = nullptr;
    QPushButton* btnOk_ = nullptr;
    BusyIndicator* busy_ = nullptr;
    QLabel* status_ = nullptr;
    QString currentPath_;
    /// What the status line says while nothing is under way.
    QString message_;
    bool isConnecting_ = true;
    OperationQueue queue_;
};

} // namespace korvane
