#pragma once

#include "foundation/work/OperationQueue.h"
#include "remote/RemoteFileNode.h"

#include <QAbstractItemModel>

#include <cstdint>
#include <functional>
#include <memory>
#include <stop_token>
#include <unordered_map>
#include <vector>

namespace korvane {

/// The file tree of a server below one directory. A directory is listed in the background when it is first
/// visited, and again when it is refreshed; until the answer it has no entries. Links are followed
/// afterwards, and their rows change in place. The next listing reconnects after a lost connection. Entries
/// are not sorted. Main thread.
class RemoteFileModel : public QAbstractItemModel {
    Q_OBJECT

public:
    enum Role {
        /// QString: absolute path on the server.
        PathRole = Qt::UserRole,
        /// bool; false for a link until it has been followed.
        IsDirectoryRole,
        /// bool: whether it can be opened as a file, as far as the server says.
        IsFileRole,
        /// QString: name of the entry's image.
        ImageNameRole,
        /// quint64: in bytes; invalid for a directory, and where the server does not say.
        FileSizeRole,
        /// QDateTime: of the last modification; invalid where the server does not say.
        DateRole,
        /// QString: why it cannot be listed or opened; empty without a fault.
        FaultRole,
    };

    /// Maximum number of listings at once; others wait.
    static constexpr int listingsAtOnce = 2;

    explicit RemoteFileModel(std::shared_ptr<SFTPClient> client);
    ~RemoteFileModel() override;

    /// Drops all entries and shows this directory.
    void setRootPath(const QString& path);
    const QString& rootPath() const { return root_->path; }
    /// Number of directories being listed and of logins under way.
    int pendingCount() const { return static_cast<int>(listings_.size()) + (isReconnecting_ ? 1 : 0); }
    /// Why there is no connection, for the user; empty if the last listing or login had one.
    const QString& connectionFault() const { return connectionFault_; }
    /// The root for an invalid index.
    const RemoteFileNode& node(const QModelIndex& index) const { return nodeOf(index); }

    /// Lists the directory, unless that has succeeded or is under way.
    void visit(const QModelIndex& directory);
    /// Lists the root and these directories again, and all others when they are visited. Existing entries
    /// keep their indexes.
    void refresh(const QModelIndexList& directories);
    /// Logs in, even after a refused login, and refreshes. Without a connection nothing is listed.
    void reconnect(const QModelIndexList& directories);
    /// Drops the results of everything under way, and starts no login.
    void cancel();

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

Q_SIGNALS:
    /// A listing has begun or ended.
    void pendingCountChanged();
    /// A listing of the directory has ended; it may have failed (see FaultRole).
    void listed(const QModelIndex& directory);

private:
    struct Listing;
    using Pending = std::unordered_map<std::uint64_t, RemoteFileNode*>;

    /// Waits for the server: on a worker.
    static Listing list(SFTPClient& client, const QString& path, const std::stop_token& stop);

    RemoteFileNode& nodeOf(const QModelIndex& index) const;
    QModelIndex indexOf(const RemoteFileNode& node) const;
    std::unique_ptr<RemoteFileNode> makeRoot(const QString& path) const;
    /// The node registered under the number, which is removed; null if the node no longer exists.
    static RemoteFileNode* take(Pending& pending, std::uint64_t number);

    void startListing(RemoteFileNode& node);
    void takeListing(RemoteFileNode& node, const Listing& listing);
    void markOutdated(RemoteFileNode& node);
    /// Updates the children from the listing, which is sorted by name. Unchanged children are kept.
    void merge(RemoteFileNode& node, const std::vector<RemoteEntry>& entries);
    void removeChildren(RemoteFileNode& node, const std::function<bool(const RemoteFileNode&)>& isGone);
    void appendChildren(RemoteFileNode& node, RemoteFileNode::Nodes children);
    /// Drops pending answers for the node and everything below it.
    void forget(const RemoteFileNode& node);
    void nodesChanged(const std::vector<const RemoteFileNode*>& siblings);
    /// Follows a batch of the pending links, and then the rest.
    void followLinks(RemoteFileNode& node);
    void takeTarget(RemoteFileNode& link, const RemoteLinkTarget& target);

    const std::shared_ptr<SFTPClient> client_;
    std::unique_ptr<RemoteFileNode> root_;
    /// Replaced with the root: answers for an earlier root are dropped.
    std::shared_ptr<const bool> generation_;
    std::uint64_t lastNumber_ = 0;
    Pending listings_;
    Pending linkSearches_;
    bool isReconnecting_ = false;
    QString connectionFault_;
    std::unique_ptr<OperationQueue> queue_;
};

} // namespace korvane
