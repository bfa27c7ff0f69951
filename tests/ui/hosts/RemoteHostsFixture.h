#pragma once

#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/ServerGroup.h"
#include "ui/AppFixture.h"

namespace korvane::test {

/// Stores without hosts; counts the notices of changed groups.
class RemoteHostsFixture : public AppFixture {
protected:
    static std::shared_ptr<RemoteHost> addHost(const QString& name,
                                               const QString& group = ServerGroup::defaultName) {
        auto host = std::make_shared<RemoteHost>(name + QStringLiteral(".example.org"), std::uint16_t{22},
                                                 QStringLiteral("admin"));
        host->setName(name);
        host->setGroup(group);
        host->setAuthnType(std::make_shared<KeyboardAuthnType>());
        EXPECT_TRUE(RemoteHostsManager::shared().add(host));
        return host;
    }
    static std::shared_ptr<ServerGroup> addGroup(const QString& name) {
        auto group = std::make_shared<ServerGroup>(name);
        ServerGroupsManager::shared().add(group);
        return group;
    }
    static const RemoteHostsManager::Hosts& hosts() { return RemoteHostsManager::shared().hosts(); }
    /// The hosts as the next start would load them.
    std::unique_ptr<RemoteHostsManager> savedHosts() const {
        return std::move(RemoteHostsManager::load(settings_.path(), Preferences::shared().userDefaults()))
            .value();
    }

    int notices_ = 0;
    const Subscription subscription_ =
        RemoteHostsManager::shared().groupsChanged().subscribe([this] { ++notices_; });
};

} // namespace korvane::test
