#include "ui/hosts/ServerBrowserViewController.h"

#include "remote/ConnectionAlerts.h"
#include "remote/RemoteFileModel.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "ui/hosts/RemoteColumnView.h"
#include "ui/hosts/RemotePathBar.h"
#include "ui/widgets/BusyIndicator.h"
#include "ui/widgets/ElidedLabel.h"

#include <QHBoxLayout>
#include <QItemSelectionModel>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

#include <utility>

namespace korvane {
namespace {

constexpr QSize browserSize(820, 480);

/// The directory that holds the file.
QString directoryOf(const QString& path) {
    const qsizetype end = path.lastIndexOf(u'/');
    return end <= 0 ? QStringLiteral("/") : path.first(end);
}

} // namespace

ServerBrowserViewController::ServerBrowserViewController(std::shared_ptr<Client> client,
                                                         std::shared_ptr<SFTPClient> files,
                                                         ServerBrowserViewDelegate& delegate,
                                                         AlertPresenter& alerts, QWidget* parent)
    : QDialog(parent), client_(std::move(client)), delegate_(delegate), alerts_(alerts),
      model_(new RemoteFileModel(std::move(files))), browser_(new RemoteColumnView(this)),
      pathControl_(new RemotePathBar(this)), queue_("Remote browser connection queue", 1) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Files on %1").arg(client_->host()->labelForHost()));
    resize(browserSize);
    model_->setParent(this);
    client_->setWindow(this);
    browser_->setAccessibleName(tr("Remote files"));

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(makeTop());
    layout->addWidget(browser_, 1);
    layout->addWidget(makeBottom());

    connect(model_, &RemoteFileModel::pendingCountChanged, this, &ServerBrowserViewController::updateBusy);
    connect(model_, &RemoteFileModel::listingFailed, this,
            [this](const QString& path, const QString& reason) {
                message_ = tr("%1 cannot be listed: %2").arg(path, reason);
                updateBusy();
            });
    connect(pathControl_, &RemotePathBar::pathChosen, this, &ServerBrowserViewController::showDirectory);
    connect(browser_, &QAbstractItemView::doubleClicked, this, &ServerBrowserViewController::accept);
    connectToServer();
}

ServerBrowserViewController::~ServerBrowserViewController() {
    client_->disconnect();
}

QWidget* ServerBrowserViewController::makeTop() {
    auto* top = new QWidget(this);
    btnRoot_ = new QPushButton(tr("&Root"), top);
    btnRoot_->setToolTip(tr("Begin with the root directory"));
    btnRoot_->setAutoDefault(false);
    connect(btnRoot_, &QPushButton::clicked, this, [this] { showDirectory(QStringLiteral("/")); });
    btnPin_ = new QPushButton(tr("&Pin"), top);
    btnPin_->setToolTip(tr("Begin with the selected directory from now on"));
    btnPin_->setAutoDefault(false);
    connect(btnPin_, &QPushButton::clicked, this, &ServerBrowserViewController::pinHomePath);
    auto* layout = new QHBoxLayout(top);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(btnRoot_);
    layout->addWidget(pathControl_, 1);
    layout->addWidget(btnPin_);
    return top;
}

QWidget* ServerBrowserViewController::makeBottom() {
    auto* bottom = new QWidget(this);
    busy_ = new BusyIndicator(bottom);
    busy_->setAccessibleName(tr("Busy"));
    busy_->setFocusPolicy(Qt::NoFocus);
    status_ = new ElidedLabel(bottom);
    status_->setTextFormat(Qt::PlainText);
    btnOk_ = new QPushButton(tr("&OK"), bottom);
    btnOk_->setDefault(true);
    connect(btnOk_, &QPushButton::clicked, this, &ServerBrowserViewController::accept);
    auto* cancel = new QPushButton(tr("&Cancel"), bottom);
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* layout = new QHBoxLayout(bottom);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(busy_);
    layout->addWidget(status_, 1);
    layout->addWidget(btnOk_);
    layout->addWidget(cancel);
    return bottom;
}

void ServerBrowserViewController::connectToServer() {
    updateBusy();
    selectionChanged();
    queue_.run([client = client_] { return client->connect(); })
        .then(QPointer(this), [this](const Result<Client::Connection>& result) { connected(result); });
}

void ServerBrowserViewController::connected(const Result<Client::Connection>& result) {
    isConnecting_ = false;
    if (result && result.value().isAuthorised) {
        // The model is shown only now: until here it had nobody to ask.
        browser_->setModel(model_);
        connect(browser_->selectionModel(), &QItemSelectionModel::currentChanged, this,
                &ServerBrowserViewController::selectionChanged);
        showDirectory(result.value().homePathExists ? client_->host()->homePath() : QStringLiteral("/"));
        browser_->setFocus();
        return;
    }
    if (client_->wasLeftUnanswered()) {
        reject();
        return;
    }
    Alert alert = connectionFailureAlert(client_->host()->host(), client_->host()->port(),
                                         result ? client_->fault() : QString());
    if (!result && !result.error().userText.isEmpty())
        alert.informativeText += QStringLiteral(" ") + tr("Reason: %1").arg(result.error().userText);
    alerts_.present(alert, parentWidget(), {});
    reject();
}

void ServerBrowserViewController::showDirectory(const QString& path) {
    if (isConnecting_ || !browser_->model())
        return;
    message_.clear();
    currentPath_ = path;
    model_->setRootPath(path);
    browser_->setRootIndex({});
    pathControl_->setPath(path);
    selectionChanged();
}

void ServerBrowserViewController::selectionChanged() {
    const QModelIndex selected = browser_->currentIndex();
    btnOk_->setEnabled(selected.isValid() && !selected.data(RemoteFileModel::IsDirectoryRole).toBool());
    btnPin_->setEnabled(!isConnecting_);
    btnRoot_->setEnabled(!isConnecting_);
    if (selected.isValid())
        message_ = selected.data(RemoteFileModel::PathRole).toString();
    updateBusy();
}

void ServerBrowserViewController::updateBusy() {
    const bool isBusy = isConnecting_ || model_->pendingCount() > 0;
    busy_->setVisible(isBusy);
    if (isConnecting_)
        status_->setText(tr("Connecting to %1…").arg(client_->host()->connectionString()));
    else
        status_->setText(isBusy && message_.isEmpty() ? tr("Listing…") : message_);
    status_->setToolTip(status_->text());
}

void ServerBrowserViewController::pinHomePath() {
    const QModelIndex selected = browser_->currentIndex();
    QString path = currentPath_;
    if (selected.isValid()) {
        path = selected.data(RemoteFileModel::PathRole).toString();
        if (!selected.data(RemoteFileModel::IsDirectoryRole).toBool())
            path = directoryOf(path);
    }
    auto& store = RemoteHostsManager::shared();
    // It may have been edited since the browser was opened.
    if (const auto host = store.current(*client_->host())) {
        host->setHomePath(path);
        store.save();
        message_ = store.fault().isEmpty()
                       ? tr("%1 begins with %2 from now on").arg(host->labelForHost(), path)
                       : tr("%1 has not been saved: %2").arg(path, store.fault());
    } else {
        message_ = tr("%1 is no longer one of the remote hosts: nothing has been pinned")
                       .arg(client_->host()->labelForHost());
    }
    updateBusy();
}

void ServerBrowserViewController::accept() {
    if (!btnOk_->isEnabled())
        return;
    delegate_.remoteFileChosen(client_->host(),
                               browser_->currentIndex().data(RemoteFileModel::PathRole).toString());
    QDialog::accept();
}

} // namespace korvane
