#pragma once

#include "foundation/Shared.h"
#include "foundation/archive/ArchivedStore.h"
#include "foundation/notices/Alerts.h"

#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class RemoteHost;
class RemoteHostsManager;
class ServerGroup;

/// All server groups, in one ordered list.
class ServerGroupsManager : public ArchivedStore, public Shared<ServerGroupsManager> {
public:
    inline static const QString DATA_FILE = QStringLiteral("groups.data");

    using Groups = std::vector<std::shared_ptr<ServerGroup>>;

    /// Reads the groups from the directory. If the file lacks the default group, the list begins with one,
    /// not yet saved. Fails as `ArchivedStore::loaded`.
    static Result<std::unique_ptr<ServerGroupsManager>> load(const QString& directory);

    const Groups& groups() const { return groups_; }
    qsizetype count() const { return static_cast<qsizetype>(groups_.size()); }
    /// Null if there is no group at the index.
    std::shared_ptr<ServerGroup> group(qsizetype index) const;
    /// The first group with this name; null if there is none.
    std::shared_ptr<ServerGroup> groupNamed(const QString& name) const;

    /// All of these save. Call the first two only if `refusalToAdd` and `refusalToRemove` refuse nothing.
    void add(std::shared_ptr<ServerGroup> group);
    void remove(const std::shared_ptr<ServerGroup>& group);
    /// Renames the group, also in its hosts, and saves both lists.
    void rename(ServerGroup& group, const QString& name, RemoteHostsManager& hosts);

    /// Why no group of that name can be added; nullopt if it can.
    std::optional<QString> refusalToAdd(const QString& name) const;
    /// Why the group cannot be removed while these hosts exist; nullopt if it can.
    static std::optional<Alert> refusalToRemove(const ServerGroup& group,
                                                const std::vector<std::shared_ptr<RemoteHost>>& hosts);

private:
    explicit ServerGroupsManager(const QString& directory);
    QByteArray archived() const override;
    Result<int> restore(const QByteArray& archive) override;

    Groups groups_;
};

} // namespace korvane
