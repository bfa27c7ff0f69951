#include "remote/hosts/RemoteRecentFilesManager.h"

#include "foundation/FilePath.h"
#include "foundation/archive/UserDefaults.h"

namespace korvane {

RemoteRecentFilesManager::RemoteRecentFilesManager(UserDefaults& defaults)
    : defaults_(defaults), recentUrls_(defaults.textsForKey(RECENT_FILES_KEY)) {}

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
