#pragma once

#include "bookmarks/BookmarkTreeNode.h"
#include "foundation/notices/Alerts.h"

#include <QAbstractItemModel>
#include <QUrl>

#include <map>
#include <memory>
#include <optional>

namespace korvane {

class FileBasedBookmarksManager;
class RemoteHostsManager;

/// The bookmarks as a tree: local files, and remote ones by server group and server. Main thread.
class BookmarkOutlineViewDataSource : public QAbstractItemModel {
public:
    enum Role {
        /// QString: the name of the node's image, empty for none.
        ImageNameRole = Qt::UserRole,
        /// bool, each.
        IsGroupRole,
        IsFileEntryRole,
    };

    /// Shows the present bookmarks; both stores must outlive the tree.
    BookmarkOutlineViewDataSource(FileBasedBookmarksManager& bookmarks, const RemoteHostsManager& hosts);
    ~BookmarkOutlineViewDataSource() override;

    /// Each changes the store and then rebuilds the tree.
    void addBookmark(const QUrl& url);
    void removeBookmark(const std::shared_ptr<BookmarkEntry>& entry);
    void removeLineMarks(const BookmarkEntry& entry);
    /// Rebuilds the tree from the present bookmarks and hosts.
    void rebuild();

    /// The question before a bookmark is removed; nullopt when none is needed, because of the setting or
    /// because its address is invalid. Only the first button removes.
    static std::optional<Alert> removalQuestion(const BookmarkEntry& entry);

    /// "Local" and "Remote".
    const BookmarkTreeNode::Nodes& nodes() const { return root_->children(); }
    /// Null for an invalid index.
    const BookmarkTreeNode* node(const QModelIndex& index) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

private:
    /// Where a remote bookmark belongs.
    struct Server {
        QString group;
        /// Identifies the server: user, host and port.
        QString key;
        QString name;
    };
    Server serverOf(const BookmarkEntry& entry) const;
    BookmarkTreeNode& serverNode(const Server& server, BookmarkTreeNode& remote);
    const BookmarkTreeNode::Nodes& childrenOf(const QModelIndex& parent) const;

    FileBasedBookmarksManager& bookmarks_;
    const RemoteHostsManager& hosts_;
    /// Never shown.
    std::unique_ptr<BookmarkTreeNode> root_;
    std::map<QString, BookmarkTreeNode*> groupNodesMap_;
    std::map<QString, BookmarkTreeNode*> serverNodesMap_;
};

} // namespace korvane
