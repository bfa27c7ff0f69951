#pragma once

#include "foundation/work/OperationQueue.h"
#include "remote/RemoteFileNode.h"

#include <QAbstractItemModel>

#include <memory>

namespace korvane {

/// The file tree of a server below one directory. A directory is listed in the background when its content is
/// first asked for, once; until the answer is there it shows no entries. Main thread.
class RemoteFileModel : public QAbstractItemModel {
    Q_OBJECT

public:
    enum Role {
        /// QString: absolute path on the server.
        PathRole = Qt::UserRole,
        /// bool
        IsDirectoryRole,
        /// QString: the name of the entry's image.
        ImageNameRole,
    };

    explicit RemoteFileModel(std::shared_ptr<SFTPClient> client);
    ~RemoteFileModel() override;

    /// Forgets everything and shows what is in this directory.
    void setRootPath(const QString& path);
    const QString& rootPath() const { return root_->path; }
    /// How many directories are being listed.
    int pendingCount() const { return pendingCount_; }

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    bool hasChildren(const QModelIndex& parent = {}) const override;
    bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;

Q_SIGNALS:
    /// A listing has begun or ended.
    void pendingCountChanged();
    /// A directory's entries are there.
    void listed(const QString& path);
    /// The directory cannot be listed; it shows no entries.
    void listingFailed(const QString& path, const QString& reason);

private:
    struct Listing;

    /// Waits for the server: on a worker.
    static Listing list(SFTPClient& client, const QString& path);

    RemoteFileNode& nodeOf(const QModelIndex& index) const;
    QModelIndex indexOf(const RemoteFileNode& node) const;
    void takeListing(RemoteFileNode& node, const Listing& listing);
    std::unique_ptr<RemoteFileNode> makeRoot(const QString& path) const;

    const std::shared_ptr<SFTPClient> client_;
    std::unique_ptr<RemoteFileNode> root_;
    /// Replaced with the root: what belongs to an earlier one is dropped.
    std::shared_ptr<const bool> generation_;
    int pendingCount_ = 0;
    std::unique_ptr<OperationQueue> queue_;
};

} // namespace korvane
