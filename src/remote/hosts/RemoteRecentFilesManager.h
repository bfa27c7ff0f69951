#pragma once

#include <QString>
#include <QStringList>
#include <QUrl>

#include <memory>

namespace korvane {

class UserDefaults;

/// The remote files opened last, kept in the settings. Main thread.
class RemoteRecentFilesManager {
public:
    inline static const QString RECENT_FILES_KEY = QStringLiteral("RemoteRecentFilesKey");
    static constexpr qsizetype mostRecentFiles = 10;

    /// `defaults` must outlive the manager.
    explicit RemoteRecentFilesManager(UserDefaults& defaults);

    /// The program's own; set once at start.
    static RemoteRecentFilesManager& shared();
    /// Whether one has been set.
    static bool hasShared();
    static void setShared(std::unique_ptr<RemoteRecentFilesManager> manager);

    /// Oldest first.
    const QStringList& recentUrls() const { return recentUrls_; }
    /// One that is known already keeps its place.
    void add(const QUrl& url);
    void clear();

private:
    UserDefaults& defaults_;
    QStringList recentUrls_;
};

} // namespace korvane
