#pragma once

#include <QStringList>
#include <QUrl>

#include <optional>

namespace korvane {

class UserDefaults;

/// The bookmarks that earlier versions kept in the settings. Only read, to migrate them.
class BookmarksManager {
public:
    inline static const QString URLS_KEY = QStringLiteral("BookmarkUrlsKey");

    /// `defaults` must outlive it.
    explicit BookmarksManager(const UserDefaults& defaults);

    const QStringList& urlPaths() const { return urlPaths_; }
    /// The present address of the file of one of `urlPaths`; nullopt if unknown.
    std::optional<QUrl> url(const QString& urlPath) const;

private:
    const UserDefaults& defaults_;
    const QStringList urlPaths_;
};

} // namespace korvane
