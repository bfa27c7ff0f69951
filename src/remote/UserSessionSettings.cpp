#include "remote/UserSessionSettings.h"

#include "core/Preferences.h"
#include "remote/hosts/RemoteHostsManager.h"

#include <QDir>

namespace korvane {

SessionSettings userSessionSettings(const RemoteHost& host) {
    const QString directory = QDir::homePath() + QStringLiteral("/.ssh/");
    SessionSettings settings;
    settings.knownHostsPath = directory + QStringLiteral("known_hosts");
    settings.configPath = directory + QStringLiteral("config");
    if (Preferences::hasShared() && Preferences::shared().checksHostKeys())
        settings.hostKeyPolicy = HostKeyPolicy::AskForNew;
    if (RemoteHostsManager::hasShared())
        settings.usesSshConfig = RemoteHostsManager::shared().usesSshConfig(host);
    return settings;
}

} // namespace korvane
