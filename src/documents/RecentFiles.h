#pragma once

#include <QStringList>
#include <QUrl>

namespace korvane {

/// The addresses of the most recently opened local files, the newest first; at most `maximum`. Stored in the
/// settings, whose change notice for `key` reports every change. Main thread.
class RecentFiles {
public:
    static constexpr qsizetype maximum = 10;
    inline static const QString key = QStringLiteral("recentFiles");

    /// Absolute addresses.
    static QStringList urls();
    /// An address that is already listed moves to the front.
    static void add(const QUrl& url) { add(QList<QUrl>{url}); }
    /// The last one becomes the newest.
    static void add(const QList<QUrl>& added);
    static void remove(const QStringList& addresses);
    static void clear();
};

} // namespace korvane
