#pragma once

#include "foundation/Result.h"
#include "foundation/archive/StoreFileSaver.h"
#include "foundation/notices/Alerts.h"

#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class RemoteHost;
class RemoteHostsManager;
class ServerGroup;

/// All server groups, in one ordered list that is saved whole at every change. Main thread.
class ServerGroupsManager {
public:
    inline static const QString DATA_FILE = QStringLiteral("groups.data");

    using Groups = std::vector<std::shared_ptr<ServerGroup>>;

    /// Reads the groups from the directory. The default group is there in any case, first and unsaved if the
    /// file does not hold it. Fails as FiltersManager::load does.
    static Result<std::unique_ptr<ServerGroupsManager>> load(const QString& directory);

    /// The program's own; set once at start.
    static ServerGroupsManager& shared();
    /// Whether one has been set.
    static bool hasShared();
    static void setShared(std::unique_ptr<ServerGroupsManager> manager);

    const Groups& groups() const { return groups_; }
    qsizetype count() const { return static_cast<qsizetype>(groups_.size()); }
    /// Null when there is none.
    std::shared_ptr<ServerGroup> group(qsizetype index) const;
    /// The first of that name, null if there is none.
    std::shared_ptr<ServerGroup> groupNamed(const QString& name) const;

    /// All save. Whoever calls them asks first whether something speaks against it.
    void add(std::shared_ptr<ServerGroup> group);
    void remove(const std::shared_ptr<ServerGroup>& group);
    /// Gives the group another name, which its hosts take over, and saves both lists.
    void rename(ServerGroup& group, const QString& name, RemoteHostsManager& hosts);
    /// Writes the list; a failed write is told by `fault`.
    void save();

    /// Why no group of that name can be added; nothing if it can.
    std::optional<QString> refusalToAdd(const QString& name) const;
    /// Why the group cannot be removed, with the hosts there are; nothing if it can.
    static std::optional<Alert> refusalToRemove(const ServerGroup& group,
                                                const std::vector<std::shared_ptr<RemoteHost>>& hosts);

    /// As FiltersManager::fault.
    const QString& fault() const { return file_.fault(); }

private:
    explicit ServerGroupsManager(QString path) : file_(std::move(path)) {}

    StoreFileSaver file_;
    Groups groups_;
};

} // namespace korvane
