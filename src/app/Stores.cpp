#include "app/Stores.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/Preferences.h"
#include "foundation/archive/StoreFile.h"
#include "foundation/archive/UserDefaults.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "remote/hosts/ServerGroup.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"

#include <QCoreApplication>

#include <utility>

namespace korvane {
namespace {

template <typename Store>
bool loadStore(const QString& directory, const QString& fileName, const StoreFaultQuestion& ask,
               auto&... settings) {
    for (;;) {
        auto loaded = Store::load(directory, settings...);
        if (loaded) {
            Store::setShared(std::move(loaded).value());
            return true;
        }
        if (!ask(loaded.error()))
            return false;
        const auto moved = setAside(directory + QLatin1Char('/') + fileName);
        // If it cannot be moved, the question comes again, now with that reason.
        if (!moved && !ask(moved.error()))
            return false;
    }
}

} // namespace

bool loadStores(const QString& directory, UserDefaults& defaults, const StoreFaultQuestion& ask) {
    RemoteRecentFilesManager::setShared(std::make_unique<RemoteRecentFilesManager>(defaults));
    return loadStore<FiltersManager>(directory, FiltersManager::RULES_FILE, ask) &&
           loadStore<FilterRulesMemento>(directory, FilterRulesMemento::DATA_FILE, ask) &&
           loadStore<RemoteHostsManager>(directory, RemoteHostsManager::DATA_FILE, ask, defaults) &&
           loadStore<ServerGroupsManager>(directory, ServerGroupsManager::DATA_FILE, ask) &&
           loadStore<FileBasedBookmarksManager>(directory, FileBasedBookmarksManager::BOOKMARKS_FILE, ask,
                                                defaults);
}

bool checkSettings(Preferences& preferences, const StoreFaultQuestion& ask) {
    UserDefaults& defaults = preferences.userDefaults();
    const QString path = defaults.filePath();
    while (!defaults.isReadable()) {
        if (!ask({0,
                  {},
                  QCoreApplication::translate("Stores", "The settings in “%1” cannot be read.").arg(path)}))
            return false;
        const auto moved = setAside(path);
        if (moved)
            defaults.reload();
        else if (!ask(moved.error()))
            return false;
    }
    while (!preferences.hasLogViewFont()) {
        const QString text = QCoreApplication::translate(
            "Stores", "“%1” in the settings file “%2” is not the name of a font.");
        if (!ask({0, {}, text.arg(Preferences::keyLogViewFont, path)}))
            return false;
        const Status kept = keepCopy(path);
        if (kept)
            preferences.forgetLogViewFont();
        else if (!ask(kept.error()))
            return false;
    }
    return true;
}

} // namespace korvane
