#include "ui/hosts/ServerBrowserViewController.h"

#include "core/Preferences.h"
#include "foundation/FilePath.h"
#include "foundation/work/MainThread.h"
#include "remote/ConnectionAlerts.h"
#include "remote/RemoteFileModel.h"
#include "remote/RemoteFileOrder.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "ui/hosts/RemoteColumnView.h"
#include "ui/hosts/RemotePathBar.h"
#include "ui/widgets/BusyIndicator.h"
#include "ui/widgets/ElidedLabel.h"
#include "ui/widgets/SizeText.h"
#include "ui/widgets/WidgetIds.h"

#include <QActionGroup>
#include <QDateTime>
#include <QHBoxLayout>
#include <QMenu>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>

#include <chrono>
#include <utility>

namespace korvane {
namespace {

constexpr QSize browserSize(820, 480);
/// Delay before a directory is listed; one that is left sooner is skipped while others are listed.
constexpr std::chrono::milliseconds visitDelay(150);

/// The directory that holds the file.
QString directoryOf(const QString& path) {
    const qsizetype end = path.lastIndexOf(u'/');
    return end <= 0 ? QStringLiteral("/") : path.first(end);
}

QString pathOf(const QModelIndex& index) {
    return index.data(RemoteFileModel::PathRole).toString();
}

/// Path, size and date of an entry, as far as known.
QString descriptionOf(const QModelIndex& entry) {
    QStringList details;
    if (const QVariant size = entry.data(RemoteFileModel::FileSizeRole); size.isValid())
        details.append(sizeText(size.toULongLong()));
    if (const QDateTime date = entry.data(RemoteFileModel::DateRole).toDateTime(); date.isValid())
        details.append(QLocale::system().toString(date.toLocalTime(), QLocale::ShortFormat));
    const QString path = displayText(pathOf(entry));
    return details.isEmpty() ? path : path + QStringLiteral(" — ") + details.join(QStringLiteral(", "));
}

} // namespace

ServerBrowserViewController::ServerBrowserViewController(std::shared_ptr<Client> client,
                                                         std::shared_ptr<SFTPClient> files,
                                                         ServerBrowserViewDelegate& delegate,
                                                         AlertPresenter& alerts, QWidget* parent)
    : QDialog(parent), client_(std::move(client)), delegate_(delegate), alerts_(alerts),
      model_(new RemoteFileModel(std::move(files))), order_(new RemoteFileOrder(*model_, model_)),
      browser_(
          new RemoteColumnView([this](const QModelIndex& directory) { return emptyText(directory); }, this)),
      pathControl_(new RemotePathBar(this)), queue_("Remote browser connection queue", 1) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(tr("Files on %1").arg(client_->host()->labelForHost()));
    resize(browserSize);
    model_->setParent(this);
    order_->setSorting(RemoteFileOrder::Sorting(Preferences::shared().remoteFileSorting()));
    order_->setShowsHidden(Preferences::shared().showsHiddenRemoteFiles());
    client_->setWindow(idOf(this));
    client_->setOnChange([this, weak = std::weak_ptr(life_)] {
        MainThread::shared().post([this, weak] {
            if (!weak.expired())
                connectionChanged();
        });
    });
    browser_->setAccessibleName(tr("Remote files"));

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(makeTop());
    layout->addWidget(browser_, 1);
    layout->addWidget(makeBottom());

    connect(model_, &RemoteFileModel::pendingCountChanged, this, &ServerBrowserViewController::updateState);
    connect(model_, &RemoteFileModel::listed, this, &ServerBrowserViewController::directoryListed);
    connect(browser_, &RemoteColumnView::currentChanged, this,
            &ServerBrowserViewController::selectionChanged);
    visits_.setSingleShot(true);
    visits_.setInterval(visitDelay);
    connect(&visits_, &QTimer::timeout, this, &ServerBrowserViewController::visitShownDirectories);
    connect(browser_, &RemoteColumnView::directoryShown, this, [this] {
        // While a key is held down, directories are selected faster than a server lists them.
        if (model_->pendingCount() < RemoteFileModel::listingsAtOnce)
            visitShownDirectories();
        else
            visits_.start();
    });
    connect(browser_, &RemoteColumnView::fileEntered, this, &ServerBrowserViewController::accept);
    connect(pathControl_, &RemotePathBar::pathChosen, this, &ServerBrowserViewController::showDirectory);
    connectToServer();
}

ServerBrowserViewController::~ServerBrowserViewController() {
    // Requests that fail with the connection must not make another one.
    model_->cancel();
    client_->disconnect();
}

void ServerBrowserViewController::comeBack() {
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
    if (!isConnecting_ && !client_->isConnected())
        reconnect();
}

// ---- Parts

QWidget* ServerBrowserViewController::makeTop() {
    auto* top = new QWidget(this);
    const auto makeButton = [top](const QString& text, const QString& purpose) {
        auto* button = new QPushButton(text, top);
        button->setToolTip(purpose);
        button->setAutoDefault(false);
        return button;
    };
    btnRoot_ = makeButton(tr("&Root"), tr("Begin with the root directory"));
    connect(btnRoot_, &QPushButton::clicked, this, [this] { showDirectory(QStringLiteral("/")); });
    btnRefresh_ = makeButton(tr("Re&fresh"), tr("List the directories again (F5)"));
    connect(btnRefresh_, &QPushButton::clicked, this, &ServerBrowserViewController::refresh);
    auto* view = makeButton(tr("&View"), tr("Order, and hidden files"));
    view->setMenu(makeViewMenu());
    btnPin_ = makeButton(tr("&Pin"), tr("Begin with the selected directory from now on"));
    connect(btnPin_, &QPushButton::clicked, this, &ServerBrowserViewController::pinHomePath);
    auto* up = new QAction(this);
    up->setShortcuts({QKeySequence(Qt::ALT | Qt::Key_Up), QKeySequence(Qt::Key_Backspace)});
    connect(up, &QAction::triggered, this, &ServerBrowserViewController::goUp);
    auto* again = new QAction(this);
    again->setShortcut(QKeySequence(Qt::Key_F5));
    connect(again, &QAction::triggered, this, &ServerBrowserViewController::refresh);
    addActions({up, again});
    auto* layout = new QHBoxLayout(top);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(btnRoot_);
    layout->addWidget(pathControl_, 1);
    for (QPushButton* button : {btnRefresh_, view, btnPin_})
        layout->addWidget(button);
    return top;
}

QMenu* ServerBrowserViewController::makeViewMenu() {
    using Sorting = RemoteFileOrder::Sorting;
    auto* menu = new QMenu(this);
    auto* sortings = new QActionGroup(menu);
    for (const auto& [sorting, text] : {std::pair(Sorting::Name, tr("Sort by &Name")),
                                        std::pair(Sorting::Size, tr("Sort by &Size, Largest First")),
                                        std::pair(Sorting::Date, tr("Sort by &Date, Newest First"))}) {
        QAction* action = sortings->addAction(menu->addAction(text));
        action->setCheckable(true);
        action->setChecked(order_->sorting() == sorting);
        connect(action, &QAction::triggered, this, [this, sorting = sorting] {
            order_->setSorting(sorting);
            Preferences::shared().setRemoteFileSorting(static_cast<int>(sorting));
            browser_->showSelection();
        });
    }
    menu->addSeparator();
    QAction* hidden = menu->addAction(tr("Show &Hidden Files"));
    hidden->setCheckable(true);
    hidden->setChecked(order_->showsHidden());
    hidden->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_H));
    hidden->setShortcutVisibleInContextMenu(true);
    connect(hidden, &QAction::toggled, this, [this](bool isOn) {
        order_->setShowsHidden(isOn);
        Preferences::shared().setShowsHiddenRemoteFiles(isOn);
        browser_->updateEmptyTexts();
        browser_->showSelection();
    });
    // The shortcut works in the whole window, not only in the open menu.
    addAction(hidden);
    return menu;
}

QWidget* ServerBrowserViewController::makeBottom() {
    auto* bottom = new QWidget(this);
    busy_ = new BusyIndicator(bottom);
    busy_->setAccessibleName(tr("Busy"));
    busy_->setFocusPolicy(Qt::NoFocus);
    auto* status = new ElidedLabel(bottom);
    status->setElideMode(Qt::ElideMiddle);
    status_ = status;
    fault_ = new QLabel(bottom);
    fault_->setWordWrap(true);
    // A long path does not widen the window.
    fault_->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    for (QLabel* label : {status_, fault_})
        label->setTextFormat(Qt::PlainText);
    btnReconnect_ = new QPushButton(tr("Re&connect"), bottom);
    btnReconnect_->setAutoDefault(false);
    connect(btnReconnect_, &QPushButton::clicked, this, &ServerBrowserViewController::reconnect);
    btnOk_ = new QPushButton(tr("&OK"), bottom);
    btnOk_->setDefault(true);
    connect(btnOk_, &QPushButton::clicked, this, &ServerBrowserViewController::accept);
    auto* cancel = new QPushButton(tr("&Cancel"), bottom);
    cancel->setAutoDefault(false);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* row = new QHBoxLayout;
    row->addWidget(busy_);
    row->addWidget(status_, 1);
    for (QPushButton* button : {btnReconnect_, btnOk_, cancel})
        row->addWidget(button);
    auto* layout = new QVBoxLayout(bottom);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(fault_);
    layout->addLayout(row);
    return bottom;
}

// ---- Connection

void ServerBrowserViewController::connectToServer() {
    updateState();
    queue_.run([client = client_] { return client->connect(); })
        .then(QPointer(this), [this](const Result<Client::Connection>& result) { connected(result); });
}

void ServerBrowserViewController::connected(const Result<Client::Connection>& result) {
    isConnecting_ = false;
    if (result && result.value().isAuthorised) {
        showDirectory(result.value().homePathExists ? client_->host()->homePath() : QStringLiteral("/"));
        // The columns list at once, which needs the login.
        browser_->setModel(*order_);
        browser_->focusColumn();
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
    alerts_.present(alert, idOf(parentWidget()), {});
    reject();
}

void ServerBrowserViewController::reconnect() {
    model_->reconnect(shownDirectories());
}

void ServerBrowserViewController::connectionChanged() {
    if (client_->isConnected() && !model_->connectionFault().isEmpty())
        refresh();
}

void ServerBrowserViewController::refresh() {
    if (isConnecting_)
        return;
    model_->refresh(shownDirectories());
}

// ---- Directories

void ServerBrowserViewController::showDirectory(const QString& path) {
    if (isConnecting_)
        return;
    message_.clear();
    awaitedPath_.clear();
    currentPath_ = path;
    model_->setRootPath(path);
    pathControl_->setPath(path);
    selectionChanged();
}

void ServerBrowserViewController::goUp() {
    if (isConnecting_ || browser_->goOutwards() || currentPath_ == QStringLiteral("/"))
        return;
    QString left = currentPath_;
    while (left.size() > 1 && left.endsWith(u'/'))
        left.chop(1);
    showDirectory(directoryOf(left));
    awaitedPath_ = left;
}

void ServerBrowserViewController::visitShownDirectories() {
    for (const QModelIndex& directory : shownDirectories())
        model_->visit(directory);
}

QList<QModelIndex> ServerBrowserViewController::shownDirectories() const {
    QModelIndexList directories;
    for (const QModelIndex& shown : browser_->directories())
        directories.append(order_->mapToSource(shown));
    return directories;
}

void ServerBrowserViewController::directoryListed(const QModelIndex& directory) {
    if (!directory.isValid() && !awaitedPath_.isEmpty()) {
        const QString path = std::exchange(awaitedPath_, {});
        for (int row = 0; row < order_->rowCount(); ++row) {
            if (const QModelIndex entry = order_->index(row, 0); pathOf(entry) == path)
                browser_->setCurrentIndex(entry);
        }
    }
    updateState();
}

QString ServerBrowserViewController::emptyText(const QModelIndex& shownDirectory) const {
    const RemoteFileNode& node = model_->node(order_->mapToSource(shownDirectory));
    if (node.listing == RemoteFileNode::Listing::None || node.listing == RemoteFileNode::Listing::Pending)
        return tr("Listing…");
    if (!node.fault.isEmpty())
        return displayText(node.fault);
    return node.cachedChildren && !node.cachedChildren->empty() ? tr("Only hidden files; Ctrl+H shows them")
                                                                : tr("Empty");
}

// ---- State

void ServerBrowserViewController::selectionChanged() {
    const QModelIndex selected = browser_->currentIndex();
    if (selected != selected_) {
        selected_ = selected;
        message_.clear();
        // Try a link again that could not be followed.
        if (selected.isValid() && !selected.data(RemoteFileModel::IsDirectoryRole).toBool())
            model_->visit(order_->mapToSource(selected));
    }
    updateState();
}

void ServerBrowserViewController::updateState() {
    const bool isBusy = isConnecting_ || model_->pendingCount() > 0;
    busy_->setVisible(isBusy);
    status_->setText(statusText());
    status_->setToolTip(status_->text());
    const QString fault = faultText();
    fault_->setText(fault);
    fault_->setToolTip(fault);
    fault_->setVisible(!fault.isEmpty());
    btnReconnect_->setVisible(!isBusy && !model_->connectionFault().isEmpty());
    btnOk_->setEnabled(browser_->currentIndex().data(RemoteFileModel::IsFileRole).toBool());
    for (QPushButton* button : {btnPin_, btnRoot_, btnRefresh_})
        button->setEnabled(!isConnecting_);
    browser_->updateEmptyTexts();
}

QString ServerBrowserViewController::statusText() const {
    if (isConnecting_ || (model_->pendingCount() > 0 && !client_->isConnected()))
        return tr("Connecting to %1…").arg(client_->host()->connectionString());
    if (!message_.isEmpty())
        return message_;
    const QModelIndex selected = browser_->currentIndex();
    return selected.isValid() ? descriptionOf(selected) : displayText(currentPath_);
}

QString ServerBrowserViewController::faultText() const {
    if (!model_->connectionFault().isEmpty())
        return displayText(model_->connectionFault());
    const QModelIndex selected = order_->mapToSource(browser_->currentIndex());
    if (selected.isValid())
        return selected.data(RemoteFileModel::FaultRole).toString();
    return displayText(model_->node({}).fault);
}

void ServerBrowserViewController::pinHomePath() {
    const QModelIndex selected = browser_->currentIndex();
    QString path = currentPath_;
    if (selected.isValid()) {
        path = pathOf(selected);
        if (!selected.data(RemoteFileModel::IsDirectoryRole).toBool())
            path = directoryOf(path);
    }
    const QString shownPath = displayText(path);
    auto& store = RemoteHostsManager::shared();
    // The host may have been edited since the browser was opened.
    if (const auto host = store.current(*client_->host())) {
        host->setHomePath(path);
        store.save();
        message_ = store.fault().isEmpty()
                       ? tr("%1 begins with %2 from now on").arg(host->labelForHost(), shownPath)
                       : tr("%1 has not been saved: %2").arg(shownPath, store.fault());
    } else {
        message_ = tr("%1 is no longer one of the remote hosts: nothing has been pinned")
                       .arg(client_->host()->labelForHost());
    }
    updateState();
}

void ServerBrowserViewController::accept() {
    if (!btnOk_->isEnabled())
        return;
    delegate_.remoteFileChosen(client_->host(), pathOf(browser_->currentIndex()));
    QDialog::accept();
}

} // namespace korvane
