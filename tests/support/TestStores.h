#pragma once

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/Preferences.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "ui/widgets/MachineFontCatalog.h"

#include <memory>

namespace korvane::test {

/// Creates settings and stores as the program does, in the directory.
inline void makeStores(const QString& directory) {
    auto preferences = std::make_unique<Preferences>(
        std::make_unique<UserDefaults>(directory + QStringLiteral("/korvane.ini")));
    preferences->registerDefaults(MachineFontCatalog());
    Preferences::setShared(std::move(preferences));
    UserDefaults& defaults = Preferences::shared().userDefaults();
    FiltersManager::setShared(std::move(FiltersManager::load(directory)).value());
    FilterRulesMemento::setShared(std::move(FilterRulesMemento::load(directory)).value());
    ServerGroupsManager::setShared(std::move(ServerGroupsManager::load(directory)).value());
    RemoteHostsManager::setShared(std::move(RemoteHostsManager::load(directory, defaults)).value());
    RemoteRecentFilesManager::setShared(std::make_unique<RemoteRecentFilesManager>(defaults));
    FileBasedBookmarksManager::setShared(
        std::move(FileBasedBookmarksManager::load(directory, defaults)).value());
}

} // namespace korvane::test
