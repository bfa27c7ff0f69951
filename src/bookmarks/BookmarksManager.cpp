#include "bookmarks/BookmarksManager.h"

#include "bookmarks/BookmarkEntry.h"
#include "foundation/archive/FileBookmark.h"
#include "foundation/archive/UserDefaults.h"

namespace korvane {

BookmarksManager::BookmarksManager(const UserDefaults& defaults)
    : defaults_(defaults), urlPaths_(defaults.textsForKey(URLS_KEY)) {}

std::optional<QUrl> BookmarksManager::url(const QString& urlPath) const {
    const std::optional<QByteArray> bookmark = defaults_.dataForKey(urlPath);
    return bookmark ? resolvedFileBookmark(*bookmark) : parsedUrl(urlPath);
}

} // namespace korvane
