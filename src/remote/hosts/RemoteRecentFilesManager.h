#pragma once

#include "foundation/Shared.h"

#include <QString>
#include <QStringList>
#include <QUrl>

namespace korvane {

class UserDefaults;

/// The recently opened remote files, stored in the settings. Main thread.
class RemoteRecentFilesManager : public Shared<RemoteRecentFilesManager> {
public:
    inline static const QString RECENT_FILES_KEY = QStringLiteral("RemoteRecentFilesKey");
    static constexpr qsizetype mostRecentFiles = 10;

    /// `defaults` must outlive the manager.
    explicit RemoteRecentFilesManager(UserDefaults& defaults);

    /// Oldest first.
    const QStringList& recentUrls() const { return recentUrls_; }
    /// A file that is already in the list keeps its place.
    void add(const QUrl& url);
    void clear();

private:
    UserDefaults& defaults_;
    QStringList recentUrls_;
};

} // namespace korvane
