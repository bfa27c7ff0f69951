#pragma once

#include "foundation/Shared.h"
#include "foundation/archive/ArchivedStore.h"
#include "foundation/notices/Notice.h"

#include <QString>
#include <QUrl>

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class RemoteHost;
class UserDefaults;

/// All configured hosts in one ordered list, and the settings of each: its key files, and whether its login
/// uses the SSH configuration. The file contains the hosts' secrets and is readable only by the user.
class RemoteHostsManager : public ArchivedStore, public Shared<RemoteHostsManager> {
public:
    inline static const QString DATA_FILE = QStringLiteral("hosts.data");
    /// Suffixes of the keys in the settings for the key files, after the host's identifier and another "_".
    inline static const QString PUB_KEY = QStringLiteral("_pub_key");
    inline static const QString PVT_KEY = QStringLiteral("_pvt_key");
    /// The same for `usesSshConfig`.
    inline static const QString SSH_CONFIG = QStringLiteral("_ssh_config");

    using Hosts = std::vector<std::shared_ptr<RemoteHost>>;

    /// Reads the hosts from the directory; empty if there is no file. Fails as `ArchivedStore::loaded`.
    /// `defaults` stores the bookmarks of the key files and must outlive the manager.
    static Result<std::unique_ptr<RemoteHostsManager>> load(const QString& directory, UserDefaults& defaults);

    const Hosts& hosts() const { return hosts_; }
    qsizetype count() const { return static_cast<qsizetype>(hosts_.size()); }
    /// Null if there is no host at the index.
    std::shared_ptr<RemoteHost> host(qsizetype index) const;
    /// The first host with this port, user name and server, or null. Server names are compared
    /// case-insensitively, but an exact match has priority.
    std::shared_ptr<RemoteHost> findHost(const QString& hostName, int port, const QString& username) const;

    /// The entry of the list for a host that may have been edited since: the host itself, or the one with its
    /// UUID. Null if it has been removed.
    std::shared_ptr<RemoteHost> current(const RemoteHost& host) const;

    /// Both store bookmarks of the host's key files and save. They fail, without any change, if a key file
    /// cannot be opened for reading.
    Status add(std::shared_ptr<RemoteHost> host);
    /// An index out of range changes nothing.
    Status update(qsizetype index, std::shared_ptr<RemoteHost> host);
    /// Also removes the host's settings, and saves.
    void remove(const std::shared_ptr<RemoteHost>& host);
    /// Hosts or groups have changed, and with them where remote bookmarks are listed. Posted, after saving,
    /// by the windows that change them. Main thread.
    Notice<>& groupsChanged() { return groupsChanged_; }

    /// Whether a login also uses the user's agent and ~/.ssh/config. Stored in the settings, effective at
    /// once, also for a host that is not in the list.
    bool usesSshConfig(const RemoteHost& host) const;
    void setUsesSshConfig(const RemoteHost& host, bool value);

    /// Copies the settings of a host to its duplicate.
    void copyKeyBookmarks(const RemoteHost& from, const RemoteHost& to);
    /// The key files stored in the settings; nullopt for a deleted one.
    std::optional<QUrl> publicKeyUrl(const RemoteHost& host) const;
    std::optional<QUrl> privateKeyUrl(const RemoteHost& host) const;

private:
    RemoteHostsManager(const QString& directory, UserDefaults& defaults)
        : ArchivedStore(directory, DATA_FILE), defaults_(defaults) {}
    QByteArray archived() const override;
    Result<int> restore(const QByteArray& archive) override;
    bool isIndex(qsizetype index) const { return index >= 0 && index < count(); }
    void removeKeyBookmarks(const RemoteHost& host);

    Notice<> groupsChanged_{"RemoteHostGroupChangedNotification"};
    UserDefaults& defaults_;
    Hosts hosts_;
};

} // namespace korvane
