#pragma once

#include "foundation/archive/UserDefaults.h"
#include "foundation/notices/Notice.h"
#include "ui/window/FileExistence.h"

#include <QWidget>

#include <memory>
#include <vector>

class QCheckBox;
class QLabel;
class QListWidget;

namespace korvane {

class AppDocumentController;
class RemoteHost;

/// The window shown without a document: ways to open one, recent files, and the remote hosts. Main thread.
class WelcomeWindow : public QWidget {
    Q_OBJECT

public:
    /// `documents` must outlive the window.
    explicit WelcomeWindow(AppDocumentController& documents);

    /// The recent remote files in the order of the store: oldest first.
    void setRemoteFiles(const QStringList& urls);

Q_SIGNALS:
    void preferencesRequested();
    void remoteHostsRequested();
    /// The user chose the host.
    void hostActivated(const std::shared_ptr<RemoteHost>& host);
    void quitRequested();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QWidget* makeActions();
    QListWidget* makeList(const QString& name);
    QListWidget* makeFileList(const QString& name);
    void showRecentFiles();
    void showHosts();
    void fill(QListWidget& list, const QStringList& urls);

    AppDocumentController& documents_;
    QListWidget* recent_;
    QLabel* remoteTitle_;
    QListWidget* remote_;
    QLabel* hostsTitle_;
    QListWidget* hosts_;
    QLabel* noFiles_;
    QCheckBox* showAtStart_ = nullptr;
    FileExistence existence_;
    UserDefaults::Token token_;
    /// The hosts in the list, by row.
    std::vector<std::shared_ptr<RemoteHost>> listedHosts_;
    Subscription hostsSubscription_;
};

} // namespace korvane
