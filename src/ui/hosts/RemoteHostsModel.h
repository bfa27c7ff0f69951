#pragma once

#include <QAbstractItemModel>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class RemoteHost;
class ServerGroup;

/// The groups with their hosts, as the stores hold them. A host dropped on another group, or on a host there,
/// moves into that group. Main thread; needs the shared stores.
class RemoteHostsModel : public QAbstractItemModel {
    Q_OBJECT

public:
    enum Column { labelColumn, connectionColumn, stateColumn };
    using IsConnected = std::function<bool(const RemoteHost&)>;

    /// Without `isConnected` there is no column for the state.
    explicit RemoteHostsModel(IsConnected isConnected, QObject* parent = nullptr);

    /// Reads the stores again.
    void rebuild();
    /// Queries again which hosts are connected.
    void refreshStates();

    /// Null for anything but a host.
    std::shared_ptr<RemoteHost> host(const QModelIndex& index) const;
    /// Null for anything but a group.
    std::shared_ptr<ServerGroup> group(const QModelIndex& index) const;
    QModelIndex indexOf(const RemoteHost& host) const;
    QModelIndex indexOf(const ServerGroup& group) const;

    QModelIndex index(int row, int column, const QModelIndex& parent = {}) const override;
    QModelIndex parent(const QModelIndex& child) const override;
    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override { return Qt::MoveAction; }
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

private:
    struct ShownGroup {
        std::shared_ptr<ServerGroup> group;
        std::vector<std::shared_ptr<RemoteHost>> hosts;
    };
    /// A host to move to a group.
    struct Move {
        std::shared_ptr<RemoteHost> host;
        std::shared_ptr<ServerGroup> group;
    };
    ShownGroup* shownGroup(const QString& name);
    QVariant groupData(const ShownGroup& shown, int column, int role) const;
    QVariant hostData(const RemoteHost& host, int column, int role) const;
    /// The move that a drop of the data would make; absent for foreign data and when nothing would change.
    std::optional<Move> moveOf(const QMimeData* data, const QModelIndex& target) const;

    const IsConnected isConnected_;
    std::vector<ShownGroup> groups_;
};

} // namespace korvane
