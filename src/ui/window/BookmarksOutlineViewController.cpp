#include "ui/window/BookmarksOutlineViewController.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "documents/AppDocumentController.h"
#include "foundation/FilePath.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "ui/tabs/TabTitles.h"
#include "ui/widgets/Icons.h"
#include "ui/widgets/WidgetIds.h"
#include "ui/window/ListKeys.h"

#include <QApplication>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QIdentityProxyModel>
#include <QMenu>
#include <QPointer>
#include <QToolButton>
#include <QTreeView>

#include <algorithm>
#include <unordered_map>

namespace korvane {
namespace {

constexpr int imageSize = 16;
constexpr int outlineRowPadding = 4;

/// Adds decoration to the tree: images, headings, folders of files with equal names.
class DecoratedOutline : public QIdentityProxyModel {
public:
    using QIdentityProxyModel::QIdentityProxyModel;

    QVariant data(const QModelIndex& index, int role) const override {
        using Role = BookmarkOutlineViewDataSource::Role;
        switch (role) {
        case Qt::DisplayRole:
            return QIdentityProxyModel::data(index, Role::IsFileEntryRole).toBool()
                       ? titleOf(index)
                       : QIdentityProxyModel::data(index, role);
        case Qt::DecorationRole: {
            const QString name = QIdentityProxyModel::data(index, Role::ImageNameRole).toString();
            return name.isEmpty() ? QVariant() : QVariant(icon(name));
        }
        case Qt::FontRole:
            if (QIdentityProxyModel::data(index, Role::IsGroupRole).toBool()) {
                QFont bold;
                bold.setBold(true);
                return bold;
            }
            break;
        case Qt::SizeHintRole: // all rows have the height of the first one, which has no image
            return QSize(0, std::max(imageSize, QFontMetrics(QApplication::font("QTreeView")).height()) +
                                outlineRowPadding);
        default:
            break;
        }
        return QIdentityProxyModel::data(index, role);
    }

    /// Call when the names of files have changed.
    void forgetTitles() { titles_.clear(); }

private:
    QVariant titleOf(const QModelIndex& index) const {
        const QModelIndex parent = index.parent();
        const auto [place, isNew] = titles_.try_emplace(parent.internalPointer());
        if (isNew) {
            QStringList names;
            QStringList paths;
            for (int row = 0; row < rowCount(parent); ++row) {
                const QModelIndex sibling = this->index(row, 0, parent);
                names.append(QIdentityProxyModel::data(sibling, Qt::DisplayRole).toString());
                paths.append(QIdentityProxyModel::data(sibling, Qt::ToolTipRole).toString());
            }
            place->second = tabTitles(names, paths);
        }
        return place->second.value(index.row());
    }

    /// Titles of the files below each node.
    mutable std::unordered_map<const void*, QStringList> titles_;
};

/// The names of a node and its ancestors in the outline.
QStringList pathOf(const QModelIndex& index) {
    QStringList path;
    for (QModelIndex each = index; each.isValid(); each = each.parent())
        path.prepend(each.data().toString());
    return path;
}

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
    // Connected before the tree, which forgets its state on this signal.
    connect(&dataSource_, &QAbstractItemModel::modelAboutToBeReset, this, [this] { keepView(); });
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
    connect(shown_, &QAbstractItemModel::modelReset, this, [this] { restoreView(); });
    new ListKeys(*outline_, {.copiedText =
                                 [this] {
                                     const auto entry = selectedBookmark();
                                     return entry ? entry->path() : QString();
                                 },
                             .deleteSelected = [this] { removeBookmark(); }});

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
    const auto handle = [this] { handleBookmarksUpdated(); };
    subscriptions_.push_back(
        FileBasedBookmarksManager::shared().notices().bookmarksUpdated.subscribe(handle));
    subscriptions_.push_back(RemoteHostsManager::shared().groupsChanged().subscribe(handle));
    updateButtons();
}

void BookmarksOutlineViewController::setFile(const QUrl& url) {
    file_ = url;
    const auto entry = url.isEmpty() ? nullptr : FileBasedBookmarksManager::shared().bookmarkForUrl(url);
    // A selected entry shows that the file in front is bookmarked.
    if (entry)
        select(entry);
    else
        outline_->clearSelection();
    updateButtons();
}

void BookmarksOutlineViewController::addBookmark(const QUrl& url) {
    if (url.isEmpty())
        return;
    dataSource_.addBookmark(url);
    postBookmarksUpdated();
    select(FileBasedBookmarksManager::shared().bookmarks().back());
}

QModelIndex BookmarksOutlineViewController::indexOf(const std::shared_ptr<BookmarkEntry>& entry,
                                                    const QModelIndex& parent) const {
    for (int row = 0; row < shown_->rowCount(parent); ++row) {
        const QModelIndex index = shown_->index(row, 0, parent);
        const auto* node = dataSource_.node(static_cast<DecoratedOutline*>(shown_)->mapToSource(index));
        if (node->representedObject() == entry && node->isFileEntry())
            return index;
        if (const QModelIndex below = indexOf(entry, index); below.isValid())
            return below;
    }
    return {};
}

void BookmarksOutlineViewController::select(const std::shared_ptr<BookmarkEntry>& entry) {
    if (const QModelIndex index = indexOf(entry, {}); index.isValid()) {
        outline_->setCurrentIndex(index);
        outline_->scrollTo(index);
    }
}

void BookmarksOutlineViewController::keepView() {
    static_cast<DecoratedOutline*>(shown_)->forgetTitles();
    keptEntry_ = selectedBookmark();
    keptRow_ = outline_->currentIndex().row();
    keptParent_ = pathOf(outline_->currentIndex().parent());
    collapsed_.clear();
    forEachNode({}, [this](const QModelIndex& index) {
        if (shown_->hasChildren(index) && !outline_->isExpanded(index))
            collapsed_.append(pathOf(index));
    });
}

void BookmarksOutlineViewController::restoreView() {
    outline_->expandAll();
    QModelIndex parent;
    forEachNode({}, [&](const QModelIndex& index) {
        const QStringList path = pathOf(index);
        if (collapsed_.contains(path))
            outline_->collapse(index);
        if (path == keptParent_)
            parent = index;
    });
    QModelIndex kept = keptEntry_ ? indexOf(keptEntry_, {}) : QModelIndex();
    // Select the neighbour of a removed entry.
    if (keptEntry_ && !kept.isValid() && parent.isValid())
        kept = shown_->index(std::min(keptRow_, shown_->rowCount(parent) - 1), 0, parent);
    if (kept.isValid())
        outline_->setCurrentIndex(kept);
    updateButtons();
}

void BookmarksOutlineViewController::forEachNode(
    const QModelIndex& parent, const std::function<void(const QModelIndex&)>& action) const {
    for (int row = 0; row < shown_->rowCount(parent); ++row) {
        const QModelIndex index = shown_->index(row, 0, parent);
        action(index);
        forEachNode(index, action);
    }
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
    const QPointer<BookmarksOutlineViewController> self(this);
    alerts_.present(*question, idOf(this), [self, entry](int button) {
        if (self && button == 0)
            self->remove(entry);
    });
}

void BookmarksOutlineViewController::remove(const std::shared_ptr<BookmarkEntry>& entry) {
    dataSource_.removeBookmark(entry);
    postBookmarksUpdated();
}

void BookmarksOutlineViewController::postBookmarksUpdated() {
    FileBasedBookmarksManager::shared().notices().bookmarksUpdated.post();
}

void BookmarksOutlineViewController::handleBookmarksUpdated() {
    dataSource_.rebuild();
}

void BookmarksOutlineViewController::updateButtons() {
    add_->setEnabled(!file_.isEmpty());
    remove_->setEnabled(selectedBookmark() != nullptr);
}

} // namespace korvane
