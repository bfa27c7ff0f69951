#include "remote/hosts/ServerGroupsManager.h"

#include "foundation/FatalError.h"
#include "remote/hosts/RemoteArchive.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/ServerGroup.h"

#include <QCoreApplication>

#include <algorithm>

namespace korvane {
namespace {

std::unique_ptr<ServerGroupsManager>& sharedGroups() {
    static std::unique_ptr<ServerGroupsManager> manager;
    return manager;
}

} // namespace

Result<std::unique_ptr<ServerGroupsManager>> ServerGroupsManager::load(const QString& directory) {
    std::unique_ptr<ServerGroupsManager> manager(new ServerGroupsManager(directory + u'/' + DATA_FILE));
    Result<std::optional<UnarchivedList<ServerGroup>>> stored = manager->file_.read(&unarchiveGroups);
    if (!stored)
        return stored.error();
    if (stored.value())
        manager->groups_ = std::move(stored.value()->objects);
    if (!manager->groupNamed(ServerGroup::defaultName))
        manager->groups_.insert(manager->groups_.begin(),
                                std::make_shared<ServerGroup>(ServerGroup::defaultName));
    return manager;
}

ServerGroupsManager& ServerGroupsManager::shared() {
    if (!sharedGroups())
        fatalError("The server groups are asked for before they are loaded");
    return *sharedGroups();
}

bool ServerGroupsManager::hasShared() {
    return sharedGroups() != nullptr;
}

void ServerGroupsManager::setShared(std::unique_ptr<ServerGroupsManager> manager) {
    sharedGroups() = std::move(manager);
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

void ServerGroupsManager::save() {
    file_.save(archiveGroups(groups_));
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
