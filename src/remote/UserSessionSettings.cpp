#include "remote/UserSessionSettings.h"

#include "core/Preferences.h"
#include "remote/hosts/RemoteHostsManager.h"

#include <QDir>

namespace korvane {
namespace {

HostKeyPolicy policyFor(HostKeyChoice choice) {
    switch (choice) {
    case HostKeyChoice::AcceptAll:
        return HostKeyPolicy::AcceptAll;
    case HostKeyChoice::AskForNew:
        return HostKeyPolicy::AskForNew;
    case HostKeyChoice::AcceptNew:
        break;
    }
    return HostKeyPolicy::AcceptNew;
}

} // namespace

SessionSettings userSessionSettings(const RemoteHost& host) {
    const QString directory = QDir::homePath() + QStringLiteral("/.ssh/");
    SessionSettings settings;
    settings.knownHostsPath = directory + QStringLiteral("known_hosts");
    settings.configPath = directory + QStringLiteral("config");
    settings.hostKeyPolicy = policyFor(Preferences::hasShared() ? Preferences::shared().hostKeyChoice()
                                                                : HostKeyChoice::AcceptNew);
    if (RemoteHostsManager::hasShared())
        settings.usesSshConfig = RemoteHostsManager::shared().usesSshConfig(host);
    return settings;
}

} // namespace korvane
