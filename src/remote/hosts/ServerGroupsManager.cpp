#include "remote/hosts/ServerGroupsManager.h"

#include "remote/hosts/RemoteArchive.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/ServerGroup.h"

#include <QCoreApplication>

#include <algorithm>

namespace korvane {

ServerGroupsManager::ServerGroupsManager(const QString& directory)
    : ArchivedStore(directory, DATA_FILE), groups_{std::make_shared<ServerGroup>(ServerGroup::defaultName)} {}

Result<std::unique_ptr<ServerGroupsManager>> ServerGroupsManager::load(const QString& directory) {
    return loaded(std::unique_ptr<ServerGroupsManager>(new ServerGroupsManager(directory)));
}

QByteArray ServerGroupsManager::archived() const {
    return archiveGroups(groups_);
}

Result<int> ServerGroupsManager::restore(const QByteArray& archive) {
    Result<int> leftOut = takeList(unarchiveGroups(archive), groups_);
    if (leftOut && !groupNamed(ServerGroup::defaultName))
        groups_.insert(groups_.begin(), std::make_shared<ServerGroup>(ServerGroup::defaultName));
    return leftOut;
}

std::shared_ptr<ServerGroup> ServerGroupsManager::group(qsizetype index) const {
    return index >= 0 && index < count() ? groups_[static_cast<std::size_t>(index)] : nullptr;
}

std::shared_ptr<ServerGroup> ServerGroupsManager::groupNamed(const QString& name) const {
    const auto found = std::find_if(groups_.begin(), groups_.end(),
                                    [&name](const auto& candidate) { return candidate->name() == name; });
    return found == groups_.end() ? nullptr : *found;
}

void ServerGroupsManager::add(std::shared_ptr<ServerGroup> group) {
    groups_.push_back(std::move(group));
    save();
}

void ServerGroupsManager::remove(const std::shared_ptr<ServerGroup>& group) {
    if (std::erase(groups_, group) > 0)
        save();
}

void ServerGroupsManager::rename(ServerGroup& group, const QString& name, RemoteHostsManager& hosts) {
    const QString before = group.name();
    group.setName(name);
    save();
    for (const auto& host : hosts.hosts()) {
        if (host->group() == before)
            host->setGroup(name);
    }
    hosts.save();
}

std::optional<QString> ServerGroupsManager::refusalToAdd(const QString& name) const {
    if (!groupNamed(name))
        return std::nullopt;
    return QCoreApplication::translate("ServerGroupsManager", "Group already present!");
}

std::optional<Alert>
ServerGroupsManager::refusalToRemove(const ServerGroup& group,
                                     const std::vector<std::shared_ptr<RemoteHost>>& hosts) {
    if (!group.editable())
        return Alert{
            Alert::Kind::Warning,
            QCoreApplication::translate("ServerGroupsManager", "Cannot delete 'Default' group!"),
            QCoreApplication::translate("ServerGroupsManager", "The 'Default' group cannot be removed"),
            {}};
    const bool isUsed = std::any_of(hosts.begin(), hosts.end(),
                                    [&group](const auto& host) { return host->group() == group.name(); });
    if (!isUsed)
        return std::nullopt;
    return Alert{Alert::Kind::Warning,
                 QCoreApplication::translate("ServerGroupsManager", "Cannot delete non-empty group!"),
                 QCoreApplication::translate("ServerGroupsManager",
                                             "Please remove the servers from the group before deleting it"),
                 {}};
}

} // namespace korvane
