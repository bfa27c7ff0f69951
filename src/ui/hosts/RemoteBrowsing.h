#pragma once

#include "ui/hosts/RemoteHostsWindow.h"
#include "ui/hosts/ServerBrowserViewController.h"

#include <QPointer>

#include <map>
#include <memory>

namespace korvane {

class AlertPresenter;
class AppDocumentController;

/// Opens the browsers of hosts, one each, and the files chosen in them. Main thread.
class RemoteBrowsing : public ServerBrowserViewDelegate {
public:
    /// Both must outlive the object.
    RemoteBrowsing(AppDocumentController& documents, AlertPresenter& alerts)
        : documents_(documents), alerts_(alerts) {}

    /// The hooks of the hosts window; must not outlive the object.
    RemoteHostsHooks hooks();
    /// Shows the host's browser.
    void browse(const std::shared_ptr<RemoteHost>& host);
    /// Whether an open document is connected with the host.
    bool isConnected(const RemoteHost& host) const;
    void closeAll();

    void remoteFileChosen(const std::shared_ptr<RemoteHost>& host, const QString& path) override;

private:
    AppDocumentController& documents_;
    AlertPresenter& alerts_;
    std::map<std::shared_ptr<RemoteHost>, QPointer<ServerBrowserViewController>> browsers_;
};

} // namespace korvane
