#include "bookmarks/BookmarkOutlineViewDataSource.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/Preferences.h"
#include "foundation/FilePath.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/ServerGroup.h"

#include <QCoreApplication>

namespace korvane {
namespace {

constexpr int sshPort = 22;

} // namespace

BookmarkOutlineViewDataSource::BookmarkOutlineViewDataSource(FileBasedBookmarksManager& bookmarks,
                                                             const RemoteHostsManager& hosts)
    : bookmarks_(bookmarks), hosts_(hosts) {
    rebuild();
}

BookmarkOutlineViewDataSource::~BookmarkOutlineViewDataSource() = default;

void BookmarkOutlineViewDataSource::addBookmark(const QUrl& url) {
    bookmarks_.addBookmark(std::make_shared<BookmarkEntry>(displayName(url), url));
    rebuild();
}

void BookmarkOutlineViewDataSource::removeBookmark(const std::shared_ptr<BookmarkEntry>& entry) {
    bookmarks_.removeBookmark(entry);
    rebuild();
}

void BookmarkOutlineViewDataSource::removeLineMarks(const BookmarkEntry& entry) {
    bookmarks_.removeLineMarksOfBookmark(entry);
    rebuild();
}

void BookmarkOutlineViewDataSource::rebuild() {
    beginResetModel();
    groupNodesMap_.clear();
    serverNodesMap_.clear();
    root_ = std::make_unique<BookmarkCategoryNode>(QString());
    // NOLINTNEXTLINE(misc-const-correctness): entries are added to it.
    BookmarkTreeNode& local = root_->addChild(std::make_unique<BookmarkCategoryNode>(
        QCoreApplication::translate("BookmarkOutlineViewDataSource", "Local")));
    BookmarkTreeNode& remote = root_->addChild(std::make_unique<BookmarkCategoryNode>(
        QCoreApplication::translate("BookmarkOutlineViewDataSource", "Remote")));
    for (const std::shared_ptr<BookmarkEntry>& entry : bookmarks_.bookmarks()) {
        BookmarkTreeNode& place = entry->isLocal() ? local : serverNode(serverOf(*entry), remote);
        place.addChild(std::make_unique<BookmarkFileNode>(entry->name(), entry));
    }
    endResetModel();
}

BookmarkOutlineViewDataSource::Server
BookmarkOutlineViewDataSource::serverOf(const BookmarkEntry& entry) const {
    const QUrl url = entry.url().value_or(QUrl());
    const int port = url.port(sshPort);
    if (const auto host = hosts_.findHost(url.host(), port, url.userName()))
        return {host->group(), host->connectionString(), host->labelForHost()};
    if (url.host().isEmpty())
        return {ServerGroup::defaultName,
                {},
                QCoreApplication::translate("BookmarkOutlineViewDataSource", "Unknown server")};
    const QString name = url.host() + u':' + QString::number(port);
    return {ServerGroup::defaultName, url.userName() + u'@' + name, name};
}

BookmarkTreeNode& BookmarkOutlineViewDataSource::serverNode(const Server& server, BookmarkTreeNode& remote) {
    BookmarkTreeNode*& group = groupNodesMap_[server.group];
    if (!group)
        group = &remote.addChild(std::make_unique<BookmarkServerGroupNode>(server.group));
    BookmarkTreeNode*& node = serverNodesMap_[server.key];
    if (!node)
        node = &group->addChild(std::make_unique<BookmarkServerNode>(server.name));
    return *node;
}

std::optional<Alert> BookmarkOutlineViewDataSource::removalQuestion(const BookmarkEntry& entry) {
    const std::optional<QUrl> url = entry.url();
    if (!url || !Preferences::shared().confirmDeleteBookmark())
        return std::nullopt;
    const bool isLocal = entry.isLocal();
    QString place = QCoreApplication::translate("BookmarkOutlineViewDataSource", "Path: ") + entry.path();
    if (!isLocal)
        place += QCoreApplication::translate("BookmarkOutlineViewDataSource", " on host: ") + url->host();
    return Alert{
        Alert::Kind::Question,
        isLocal
            ? QCoreApplication::translate("BookmarkOutlineViewDataSource", "Delete local file bookmark?")
            : QCoreApplication::translate("BookmarkOutlineViewDataSource", "Delete remote file bookmark?"),
        place,
        {QCoreApplication::translate("BookmarkOutlineViewDataSource", "Yes"),
         QCoreApplication::translate("BookmarkOutlineViewDataSource", "Cancel")},
        [] { Preferences::shared().setConfirmDeleteBookmark(false); }};
}

const BookmarkTreeNode* BookmarkOutlineViewDataSource::node(const QModelIndex& index) const {
    return index.isValid() ? static_cast<const BookmarkTreeNode*>(index.constInternalPointer()) : nullptr;
}

const BookmarkTreeNode::Nodes& BookmarkOutlineViewDataSource::childrenOf(const QModelIndex& parent) const {
    const BookmarkTreeNode* const parentNode = node(parent);
    return (parentNode ? parentNode : root_.get())->children();
}

QModelIndex BookmarkOutlineViewDataSource::index(int row, int column, const QModelIndex& parent) const {
    const BookmarkTreeNode::Nodes& children = childrenOf(parent);
    if (row < 0 || static_cast<std::size_t>(row) >= children.size() || column != 0)
        return {};
    return createIndex(row, column, children[static_cast<std::size_t>(row)].get());
}

QModelIndex BookmarkOutlineViewDataSource::parent(const QModelIndex& child) const {
    const BookmarkTreeNode* const childNode = node(child);
    const BookmarkTreeNode* const parentNode = childNode ? childNode->parent() : nullptr;
    if (!parentNode || parentNode == root_.get())
        return {};
    return createIndex(parentNode->row(), 0, parentNode);
}

int BookmarkOutlineViewDataSource::rowCount(const QModelIndex& parent) const {
    return static_cast<int>(childrenOf(parent).size());
}

int BookmarkOutlineViewDataSource::columnCount(const QModelIndex& /*parent*/) const {
    return 1;
}

QVariant BookmarkOutlineViewDataSource::data(const QModelIndex& index, int role) const {
    const BookmarkTreeNode* const shown = node(index);
    if (!shown)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return shown->name();
    case Qt::ToolTipRole: // distinguishes files of the same name by their paths
        return shown->isFileEntry() ? shown->representedObject()->path() : QVariant();
    case ImageNameRole:
        return shown->nodeImg();
    case IsGroupRole:
        return shown->isGroup();
    case IsFileEntryRole:
        return shown->isFileEntry();
    default:
        return {};
    }
}

} // namespace korvane
