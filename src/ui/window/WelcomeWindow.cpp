#include "ui/window/WelcomeWindow.h"

#include "core/Preferences.h"
#include "documents/AppDocumentController.h"
#include "documents/RecentFiles.h"
#include "foundation/FilePath.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "ui/widgets/FileListDelegate.h"
#include "ui/widgets/Icons.h"
#include "ui/window/DroppedFiles.h"
#include "ui/window/OpenFiles.h"

#include <QApplication>
#include <QCheckBox>
#include <QDragEnterEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QShortcut>

#include <algorithm>

namespace korvane {
namespace {

constexpr QSize welcomeSize(760, 460);
constexpr int leftWidth = 280;
constexpr int markSize = 96;
constexpr int urlRole = Qt::UserRole;

QLabel* title(const QString& text, QWidget* parent) {
    auto* label = new QLabel(text, parent);
    QFont bold = label->font();
    bold.setBold(true);
    label->setFont(bold);
    return label;
}

} // namespace

WelcomeWindow::WelcomeWindow(AppDocumentController& documents)
    : documents_(documents), recent_(makeFileList(tr("Recent files"))),
      remoteTitle_(title(tr("Recent remote files"), this)), remote_(makeFileList(tr("Recent remote files"))),
      hostsTitle_(title(tr("Remote hosts"), this)), hosts_(makeList(tr("Remote hosts"))),
      noFiles_(new QLabel(tr("The files you open are listed here"), this)) {
    setWindowTitle(tr("Welcome to %1").arg(QApplication::applicationDisplayName()));
    setAcceptDrops(true);
    resize(welcomeSize);
    noFiles_->setForegroundRole(QPalette::PlaceholderText);
    noFiles_->setAlignment(Qt::AlignCenter);

    auto* files = new QVBoxLayout;
    files->setContentsMargins(0, 16, 16, 16);
    files->addWidget(title(tr("Recent files"), this));
    files->addWidget(noFiles_, 1);
    files->addWidget(recent_, 2);
    files->addWidget(remoteTitle_);
    files->addWidget(remote_, 1);
    files->addWidget(hostsTitle_);
    files->addWidget(hosts_, 1);

    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(16);
    layout->addWidget(makeActions());
    layout->addLayout(files, 1);

    token_ = Preferences::shared().observe([this](const QString& key) {
        if (key == RecentFiles::key)
            showRecentFiles();
        else if (key == Preferences::keyShowWelcomeWinOnStart)
            showAtStart_->setChecked(Preferences::shared().showWelcomeWinOnStart());
    });
    hostsSubscription_ = RemoteHostsManager::shared().groupsChanged().subscribe([this] { showHosts(); });
    connect(hosts_, &QListWidget::itemActivated, this, [this](const QListWidgetItem* item) {
        Q_EMIT hostActivated(std::shared_ptr(listedHosts_[static_cast<std::size_t>(hosts_->row(item))]));
    });
    showRecentFiles();
    setRemoteFiles({});
    showHosts();
}

QWidget* WelcomeWindow::makeActions() {
    auto* left = new QWidget(this);
    left->setMinimumWidth(leftWidth);
    left->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Preferred);
    auto* image = new QLabel(left);
    image->setPixmap(icon(QStringLiteral("korvane")).pixmap({markSize, markSize}, devicePixelRatioF()));
    auto* name = new QLabel(QApplication::applicationDisplayName(), left);
    QFont large = name->font();
    large.setPointSizeF(large.pointSizeF() * 2);
    name->setFont(large);
    auto* version = new QLabel(tr("Version %1").arg(QApplication::applicationVersion()), left);
    version->setForegroundRole(QPalette::PlaceholderText);
    auto* open = new QPushButton(tr("&Open Log File…"), left);
    open->setDefault(true);
    connect(open, &QPushButton::clicked, this, [this] { askForFiles(documents_, this, {}); });
    auto* hosts = new QPushButton(tr("&Remote Hosts…"), left);
    connect(hosts, &QPushButton::clicked, this, &WelcomeWindow::remoteHostsRequested);
    auto* preferences = new QPushButton(tr("&Preferences…"), left);
    preferences->setFlat(true);
    connect(preferences, &QPushButton::clicked, this, &WelcomeWindow::preferencesRequested);
    // Setting a button's own shortcut would replace its mnemonic.
    for (const auto& [keys, button] : {std::pair(QKeySequence(QKeySequence::Open), open),
                                       std::pair(QKeySequence(Qt::CTRL | Qt::SHIFT | Qt::Key_O), hosts),
                                       std::pair(QKeySequence(Qt::CTRL | Qt::Key_Comma), preferences)})
        connect(new QShortcut(keys, this), &QShortcut::activated, button, &QPushButton::click);
    auto* quit = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q), this);
    connect(quit, &QShortcut::activated, this, &WelcomeWindow::quitRequested);
    auto* drop = new QLabel(tr("or drop files here"), left);
    drop->setForegroundRole(QPalette::PlaceholderText);
    showAtStart_ = new QCheckBox(tr("&Show this window at the start"), left);
    showAtStart_->setChecked(Preferences::shared().showWelcomeWinOnStart());
    connect(showAtStart_, &QCheckBox::clicked, this,
            [](bool on) { Preferences::shared().setShowWelcomeWinOnStart(on); });

    auto* layout = new QVBoxLayout(left);
    layout->setContentsMargins(24, 24, 8, 16);
    layout->addStretch();
    for (QWidget* widget : std::initializer_list<QWidget*>{image, name, version})
        layout->addWidget(widget, 0, Qt::AlignHCenter);
    layout->addSpacing(20);
    layout->addWidget(open);
    layout->addWidget(drop, 0, Qt::AlignHCenter);
    layout->addSpacing(8);
    layout->addWidget(hosts);
    layout->addStretch();
    layout->addWidget(preferences, 0, Qt::AlignLeft);
    layout->addWidget(showAtStart_);
    return left;
}

QListWidget* WelcomeWindow::makeList(const QString& name) {
    auto* list = new QListWidget(this);
    list->setAccessibleName(name);
    list->setItemDelegate(new FileListDelegate(list));
    list->setUniformItemSizes(true);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    return list;
}

QListWidget* WelcomeWindow::makeFileList(const QString& name) {
    QListWidget* list = makeList(name);
    connect(list, &QListWidget::itemActivated, this, [this](const QListWidgetItem* item) {
        documents_.openDocument(QUrl::fromEncoded(item->data(urlRole).toString().toUtf8(), QUrl::StrictMode));
    });
    return list;
}

void WelcomeWindow::fill(QListWidget& list, const QStringList& urls) {
    list.clear();
    for (const QString& address : urls) {
        const QUrl url = QUrl::fromEncoded(address.toUtf8(), QUrl::StrictMode);
        auto* item = new QListWidgetItem(displayName(url), &list);
        item->setData(urlRole, address);
        item->setData(FileListDelegate::placeRole, url.isLocalFile() ? displayPath(url) : address);
        item->setToolTip(item->data(FileListDelegate::placeRole).toString());
    }
}

void WelcomeWindow::showRecentFiles() {
    const QStringList urls = RecentFiles::urls();
    fill(*recent_, urls);
    recent_->setVisible(!urls.isEmpty());
    noFiles_->setVisible(urls.isEmpty());
    existence_.findMissing(urls, [this](const QStringList& missing) {
        for (int row = 0; row < recent_->count(); ++row) {
            QListWidgetItem* item = recent_->item(row);
            item->setData(FileListDelegate::isMissingRole, missing.contains(item->data(urlRole).toString()));
        }
    });
}

void WelcomeWindow::setRemoteFiles(const QStringList& urls) {
    QStringList newestFirst = urls;
    std::reverse(newestFirst.begin(), newestFirst.end());
    fill(*remote_, newestFirst);
    remoteTitle_->setVisible(!urls.isEmpty());
    remote_->setVisible(!urls.isEmpty());
}

void WelcomeWindow::showHosts() {
    listedHosts_ = RemoteHostsManager::shared().hosts();
    hosts_->clear();
    for (const auto& host : listedHosts_) {
        auto* item = new QListWidgetItem(host->labelForHost(), hosts_);
        item->setData(FileListDelegate::placeRole, host->connectionString());
        item->setToolTip(host->connectionString());
    }
    hostsTitle_->setVisible(!listedHosts_.empty());
    hosts_->setVisible(!listedHosts_.empty());
}

void WelcomeWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (holdsFiles(*event->mimeData()))
        event->acceptProposedAction();
}

void WelcomeWindow::dropEvent(QDropEvent* event) {
    event->acceptProposedAction();
    openDroppedFiles(*event->mimeData(), documents_);
}

} // namespace korvane
