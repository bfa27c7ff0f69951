#include "ui/hosts/RemoteHostsModel.h"

#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostDnDItem.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/ServerGroup.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "ui/widgets/Icons.h"

#include <QFont>
#include <QMimeData>

#include <algorithm>

namespace korvane {
namespace {

/// The internal id of a group; a host has that of its group's row, plus one.
constexpr quintptr groupId = 0;

} // namespace

RemoteHostsModel::RemoteHostsModel(IsConnected isConnected, QObject* parent)
    : QAbstractItemModel(parent), isConnected_(std::move(isConnected)) {
    rebuild();
}

void RemoteHostsModel::rebuild() {
    beginResetModel();
    groups_.clear();
    for (const auto& group : ServerGroupsManager::shared().groups())
        groups_.push_back({group, {}});
    for (const auto& host : RemoteHostsManager::shared().hosts()) {
        ShownGroup* shown = shownGroup(host->group());
        // The store of groups may have been lost; its hosts are still listed.
        if (!shown)
            shown = shownGroup(ServerGroup::defaultName);
        shown->hosts.push_back(host);
    }
    endResetModel();
}

void RemoteHostsModel::refreshStates() {
    if (!isConnected_)
        return;
    for (int row = 0; row < rowCount(); ++row) {
        const QModelIndex group = index(row, labelColumn);
        if (rowCount(group) > 0)
            Q_EMIT dataChanged(index(0, stateColumn, group), index(rowCount(group) - 1, stateColumn, group));
    }
}

RemoteHostsModel::ShownGroup* RemoteHostsModel::shownGroup(const QString& name) {
    const auto found = std::find_if(groups_.begin(), groups_.end(),
                                    [&name](const ShownGroup& shown) { return shown.group->name() == name; });
    return found == groups_.end() ? nullptr : &*found;
}

// ---- Where things are

std::shared_ptr<RemoteHost> RemoteHostsModel::host(const QModelIndex& index) const {
    if (!index.isValid() || index.internalId() == groupId)
        return nullptr;
    return groups_[index.internalId() - 1].hosts[static_cast<std::size_t>(index.row())];
}

std::shared_ptr<ServerGroup> RemoteHostsModel::group(const QModelIndex& index) const {
    if (!index.isValid() || index.internalId() != groupId)
        return nullptr;
    return groups_[static_cast<std::size_t>(index.row())].group;
}

QModelIndex RemoteHostsModel::indexOf(const RemoteHost& host) const {
    for (std::size_t row = 0; row < groups_.size(); ++row) {
        const auto& hosts = groups_[row].hosts;
        const auto found = std::find_if(hosts.begin(), hosts.end(),
                                        [&host](const auto& candidate) { return candidate.get() == &host; });
        if (found != hosts.end())
            return createIndex(static_cast<int>(found - hosts.begin()), labelColumn, row + 1);
    }
    return {};
}

QModelIndex RemoteHostsModel::indexOf(const ServerGroup& group) const {
    for (std::size_t row = 0; row < groups_.size(); ++row) {
        if (groups_[row].group.get() == &group)
            return createIndex(static_cast<int>(row), labelColumn, groupId);
    }
    return {};
}

QModelIndex RemoteHostsModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column, parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : groupId);
}

QModelIndex RemoteHostsModel::parent(const QModelIndex& child) const {
    if (!child.isValid() || child.internalId() == groupId)
        return {};
    return createIndex(static_cast<int>(child.internalId()) - 1, labelColumn, groupId);
}

int RemoteHostsModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return static_cast<int>(groups_.size());
    if (parent.internalId() != groupId || parent.column() != labelColumn)
        return 0;
    return static_cast<int>(groups_[static_cast<std::size_t>(parent.row())].hosts.size());
}

int RemoteHostsModel::columnCount(const QModelIndex& /*parent*/) const {
    return isConnected_ ? stateColumn + 1 : stateColumn;
}

// ---- What they show

QVariant RemoteHostsModel::data(const QModelIndex& index, int role) const {
    if (const auto shownHost = host(index))
        return hostData(*shownHost, index.column(), role);
    if (!index.isValid())
        return {};
    return groupData(groups_[static_cast<std::size_t>(index.row())], index.column(), role);
}

QVariant RemoteHostsModel::groupData(const ShownGroup& shown, int column, int role) const {
    if (column != labelColumn)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return shown.group->name();
    case Qt::DecorationRole:
        return icon(QStringLiteral("server_group"));
    case Qt::FontRole: {
        QFont bold;
        bold.setBold(true);
        return bold;
    }
    default:
        return {};
    }
}

QVariant RemoteHostsModel::hostData(const RemoteHost& host, int column, int role) const {
    if (column == labelColumn && role == Qt::DecorationRole)
        return icon(QStringLiteral("server"));
    if (role == Qt::ToolTipRole)
        return tr("%1, starts in %2").arg(host.connectionString(), host.homePath());
    if (role != Qt::DisplayRole)
        return {};
    switch (column) {
    case labelColumn:
        return host.labelForHost();
    case connectionColumn:
        return host.connectionString();
    default:
        return isConnected_(host) ? tr("Connected") : tr("Not connected");
    }
}

QVariant RemoteHostsModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case labelColumn:
        return tr("Host");
    case connectionColumn:
        return tr("Login");
    case stateColumn:
        return tr("State");
    default:
        return {};
    }
}

// ---- Drag and drop

Qt::ItemFlags RemoteHostsModel::flags(const QModelIndex& index) const {
    if (!index.isValid())
        return Qt::NoItemFlags;
    const Qt::ItemFlags all = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemIsDropEnabled;
    return host(index) ? all | Qt::ItemIsDragEnabled | Qt::ItemNeverHasChildren : all;
}

QStringList RemoteHostsModel::mimeTypes() const {
    return {RemoteHostDnDItem::dataType};
}

QMimeData* RemoteHostsModel::mimeData(const QModelIndexList& indexes) const {
    const QModelIndex dragged = indexes.isEmpty() ? QModelIndex() : indexes.front();
    if (!host(dragged))
        return nullptr;
    auto* data = new QMimeData;
    const RemoteHostDnDItem item{group(dragged.parent())->name(), dragged.row()};
    data->setData(RemoteHostDnDItem::dataType, item.archived());
    return data;
}

std::optional<RemoteHostsModel::Move> RemoteHostsModel::moveOf(const QMimeData* data,
                                                               const QModelIndex& target) const {
    const auto to = group(host(target) ? target.parent() : target);
    if (!to || !data->hasFormat(RemoteHostDnDItem::dataType))
        return std::nullopt;
    const auto item = RemoteHostDnDItem::fromArchive(data->data(RemoteHostDnDItem::dataType));
    if (!item)
        return std::nullopt;
    const auto from = ServerGroupsManager::shared().groupNamed(item.value().groupName);
    if (!from || from == to)
        return std::nullopt;
    const auto dragged = host(index(item.value().hostIndex, labelColumn, indexOf(*from)));
    if (!dragged)
        return std::nullopt;
    return Move{dragged, to};
}

bool RemoteHostsModel::canDropMimeData(const QMimeData* data, Qt::DropAction /*action*/, int /*row*/,
                                       int /*column*/, const QModelIndex& parent) const {
    return moveOf(data, parent).has_value();
}

bool RemoteHostsModel::dropMimeData(const QMimeData* data, Qt::DropAction /*action*/, int /*row*/,
                                    int /*column*/, const QModelIndex& parent) {
    const auto move = moveOf(data, parent);
    if (!move)
        return false;
    move->host->setGroup(move->group->name());
    RemoteHostsManager::shared().save();
    RemoteHostsManager::shared().groupsChanged().post();
    return true;
}

} // namespace korvane
