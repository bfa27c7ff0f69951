#include "ui/window/BookmarksOutlineViewController.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/NotificationNames.h"
#include "documents/AppDocumentController.h"
#include "foundation/FilePath.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "ui/widgets/Icons.h"

#include <QHBoxLayout>
#include <QIdentityProxyModel>
#include <QKeyEvent>
#include <QMenu>
#include <QPointer>
#include <QToolButton>
#include <QTreeView>

namespace korvane {
namespace {

constexpr int imageSize = 16;

/// Adds to the tree what is drawn: images, headings, where a file lies.
class DecoratedOutline : public QIdentityProxyModel {
public:
    using QIdentityProxyModel::QIdentityProxyModel;

    QVariant data(const QModelIndex& index, int role) const override {
        using Role = BookmarkOutlineViewDataSource::Role;
        if (role == Qt::DecorationRole) {
            const QString name = QIdentityProxyModel::data(index, Role::ImageNameRole).toString();
            return name.isEmpty() ? QVariant() : QVariant(icon(name));
        }
        if (role == Qt::FontRole && QIdentityProxyModel::data(index, Role::IsGroupRole).toBool()) {
            QFont bold;
            bold.setBold(true);
            return bold;
        }
        return QIdentityProxyModel::data(index, role);
    }
};

QToolButton* makeButton(const QString& iconName, const QString& text, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setIcon(icon(iconName));
    button->setAutoRaise(true);
    button->setToolTip(text);
    button->setAccessibleName(text);
    return button;
}

} // namespace

BookmarksOutlineViewController::BookmarksOutlineViewController(AppDocumentController& documents,
                                                               AlertPresenter& alerts, QWidget* parent)
    : QWidget(parent), documents_(documents), alerts_(alerts),
      dataSource_(FileBasedBookmarksManager::shared(), RemoteHostsManager::shared()),
      shown_(new DecoratedOutline(this)), outline_(new QTreeView(this)),
      add_(makeButton(QStringLiteral("add"), tr("Bookmark the file in front"), this)),
      remove_(makeButton(QStringLiteral("remove"), tr("Remove the selected bookmark"), this)) {
    static_cast<DecoratedOutline*>(shown_)->setSourceModel(&dataSource_);
    outline_->setModel(shown_);
    outline_->setAccessibleName(tr("Bookmarks"));
    outline_->setHeaderHidden(true);
    outline_->setUniformRowHeights(true);
    outline_->setIconSize({imageSize, imageSize});
    outline_->setTextElideMode(Qt::ElideMiddle);
    outline_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    outline_->setExpandsOnDoubleClick(true);
    outline_->setContextMenuPolicy(Qt::CustomContextMenu);
    outline_->expandAll();
    outline_->installEventFilter(this);

    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(4, 2, 4, 2);
    buttons->addWidget(add_);
    buttons->addWidget(remove_);
    buttons->addStretch();
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(outline_, 1);
    layout->addLayout(buttons);

    connect(outline_, &QTreeView::activated, this, [this] { openBookmark(); });
    connect(add_, &QToolButton::clicked, this, [this] { addBookmark(file_); });
    connect(remove_, &QToolButton::clicked, this, [this] { removeBookmark(); });
    connect(outline_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { updateButtons(); });
    connect(outline_, &QTreeView::customContextMenuRequested, this, [this](QPoint place) {
        if (!selectedBookmark())
            return;
        QMenu menu(this);
        menu.addAction(tr("&Open"), this, [this] { openBookmark(); });
        menu.addAction(tr("&Remove…"), this, [this] { removeBookmark(); });
        menu.exec(outline_->viewport()->mapToGlobal(place));
    });
    auto& center = NotificationCenter::shared();
    for (const QString& name : {notification::bookmarksUpdated, notification::remoteHostGroupChanged})
        tokens_.push_back(center.observe(name, [this](const Notification&) { handleBookmarksUpdated(); }));
    updateButtons();
}

void BookmarksOutlineViewController::setFile(const QUrl& url) {
    file_ = url;
    updateButtons();
}

void BookmarksOutlineViewController::addBookmark(const QUrl& url) {
    if (url.isEmpty())
        return;
    dataSource_.addBookmark(url);
    postBookmarksUpdated();
}

std::shared_ptr<BookmarkEntry> BookmarksOutlineViewController::selectedBookmark() const {
    const QModelIndexList selected = outline_->selectionModel()->selectedIndexes();
    if (selected.isEmpty())
        return nullptr;
    const BookmarkTreeNode* node =
        dataSource_.node(static_cast<DecoratedOutline*>(shown_)->mapToSource(selected.front()));
    return node ? node->representedObject() : nullptr;
}

void BookmarksOutlineViewController::openBookmark() {
    const auto entry = selectedBookmark();
    const auto url = entry ? entry->url() : std::nullopt;
    if (url)
        documents_.openDocument(*url);
}

void BookmarksOutlineViewController::removeBookmark() {
    const auto entry = selectedBookmark();
    if (!entry)
        return;
    const auto question = BookmarkOutlineViewDataSource::removalQuestion(*entry);
    if (!question) {
        remove(entry);
        return;
    }
    QPointer<BookmarksOutlineViewController> self(this);
    alerts_.present(*question, this, [self, entry](int button) {
        if (self && button == 0)
            self->remove(entry);
    });
}

void BookmarksOutlineViewController::remove(const std::shared_ptr<BookmarkEntry>& entry) {
    dataSource_.removeBookmark(entry);
    postBookmarksUpdated();
}

void BookmarksOutlineViewController::postBookmarksUpdated() {
    const void* const sender = this;
    NotificationCenter::shared().post(notification::bookmarksUpdated, {}, sender);
}

void BookmarksOutlineViewController::handleBookmarksUpdated() {
    dataSource_.rebuild();
    outline_->expandAll();
    updateButtons();
}

void BookmarksOutlineViewController::updateButtons() {
    add_->setEnabled(!file_.isEmpty());
    remove_->setEnabled(selectedBookmark() != nullptr);
}

bool BookmarksOutlineViewController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == outline_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete) {
        removeBookmark();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace korvane
