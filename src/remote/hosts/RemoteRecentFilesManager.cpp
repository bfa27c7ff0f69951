#include "remote/hosts/RemoteRecentFilesManager.h"

#include "foundation/FatalError.h"
#include "foundation/FilePath.h"
#include "foundation/archive/UserDefaults.h"

namespace korvane {
namespace {

std::unique_ptr<RemoteRecentFilesManager>& sharedRecents() {
    static std::unique_ptr<RemoteRecentFilesManager> manager;
    return manager;
}

} // namespace

RemoteRecentFilesManager::RemoteRecentFilesManager(UserDefaults& defaults)
    : defaults_(defaults), recentUrls_(defaults.textsForKey(RECENT_FILES_KEY)) {}

RemoteRecentFilesManager& RemoteRecentFilesManager::shared() {
    if (!sharedRecents())
        fatalError("The recent remote files are asked for before they are loaded");
    return *sharedRecents();
}

bool RemoteRecentFilesManager::hasShared() {
    return sharedRecents() != nullptr;
}

void RemoteRecentFilesManager::setShared(std::unique_ptr<RemoteRecentFilesManager> manager) {
    sharedRecents() = std::move(manager);
}

void RemoteRecentFilesManager::add(const QUrl& url) {
    const QString text = absoluteString(url);
    if (recentUrls_.contains(text))
        return;
    recentUrls_.append(text);
    while (recentUrls_.size() > mostRecentFiles)
        recentUrls_.removeFirst();
    defaults_.set(RECENT_FILES_KEY, recentUrls_);
}

void RemoteRecentFilesManager::clear() {
    recentUrls_.clear();
    defaults_.set(RECENT_FILES_KEY, recentUrls_);
}

} // namespace korvane
