#pragma once

#include "foundation/Result.h"
#include "foundation/archive/StoreFileSaver.h"
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

/// All configured hosts, in one ordered list that is saved whole at every change, and what the settings know
/// of their key files. The file holds the secrets of the hosts; only the user may read it. Main thread.
class RemoteHostsManager {
public:
    inline static const QString DATA_FILE = QStringLiteral("hosts.data");
    /// What the settings' keys of the key files end with, behind the host's identifier and a "_" more.
    inline static const QString PUB_KEY = QStringLiteral("_pub_key");
    inline static const QString PVT_KEY = QStringLiteral("_pvt_key");

    /// And that of the host's choice to use what the user's agent and configuration know of it.
    inline static const QString SSH_CONFIG = QStringLiteral("_ssh_config");

    using Hosts = std::vector<std::shared_ptr<RemoteHost>>;

    /// Reads the hosts from the directory; without a file there, none. Fails as FiltersManager::load does.
    /// `defaults` keeps the data of the key files and must outlive the manager.
    static Result<std::unique_ptr<RemoteHostsManager>> load(const QString& directory, UserDefaults& defaults);

    /// The program's own; set once at start.
    static RemoteHostsManager& shared();
    /// Whether one has been set.
    static bool hasShared();
    static void setShared(std::unique_ptr<RemoteHostsManager> manager);

    const Hosts& hosts() const { return hosts_; }
    qsizetype count() const { return static_cast<qsizetype>(hosts_.size()); }
    /// Null when there is no host at the index.
    std::shared_ptr<RemoteHost> host(qsizetype index) const;
    /// The first host with this port, user name and server, null if there is none. A server's name means the
    /// same in small and capital letters; one that is written exactly so goes first.
    std::shared_ptr<RemoteHost> findHost(const QString& hostName, int port, const QString& username) const;

    /// What stands in the list for a host that may have been changed since: itself, or the one with its UUID.
    /// Null when it has been removed.
    std::shared_ptr<RemoteHost> current(const RemoteHost& host) const;

    /// Each takes note of the host's key files and saves. When a key file cannot be opened for reading the
    /// error says so, and nothing has changed. A failed write is told by `fault`.
    Status add(std::shared_ptr<RemoteHost> host);
    /// An index outside the list changes nothing.
    Status update(qsizetype index, std::shared_ptr<RemoteHost> host);
    /// Forgets all that the settings hold for it, and saves.
    void remove(const std::shared_ptr<RemoteHost>& host);
    /// Writes the list, after a change of the hosts themselves.
    void save();
    /// Hosts or groups have changed, and with them where remote bookmarks are listed. Posted by the windows
    /// that change them, when all is saved. Main thread.
    Notice<>& groupsChanged() { return groupsChanged_; }

    /// Whether a login uses the user's agent and what stands in ~/.ssh/config, besides the host's own. Kept
    /// in the settings, so it holds at once, and for a host that is not in the list too.
    bool usesSshConfig(const RemoteHost& host) const;
    void setUsesSshConfig(const RemoteHost& host, bool value);

    /// Lets a duplicate use the key files of its original, which cannot be asked for again. It connects in
    /// the same way, too.
    void copyKeyBookmarks(const RemoteHost& from, const RemoteHost& to);
    /// The key files that the settings remember; nothing for one that is gone.
    std::optional<QUrl> publicKeyUrl(const RemoteHost& host) const;
    std::optional<QUrl> privateKeyUrl(const RemoteHost& host) const;

    /// As FiltersManager::fault.
    const QString& fault() const { return file_.fault(); }

private:
    RemoteHostsManager(QString path, UserDefaults& defaults) : file_(std::move(path)), defaults_(defaults) {}
    bool isIndex(qsizetype index) const { return index >= 0 && index < count(); }
    void removeKeyBookmarks(const RemoteHost& host);

    Notice<> groupsChanged_{"RemoteHostGroupChangedNotification"};
    StoreFileSaver file_;
    UserDefaults& defaults_;
    Hosts hosts_;
};

} // namespace korvane
