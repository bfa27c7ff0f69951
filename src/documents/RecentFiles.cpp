#include "documents/RecentFiles.h"

#include "core/Preferences.h"
#include "foundation/FilePath.h"

#include <algorithm>

namespace korvane {

QStringList RecentFiles::urls() {
    return Preferences::shared().userDefaults().value(key).toStringList();
}

void RecentFiles::add(const QList<QUrl>& added) {
    const QStringList before = urls();
    QStringList known = before;
    // Only the last `maximum` would stay.
    for (const QUrl& url : added.last(std::min(added.size(), maximum))) {
        const QString address = absoluteString(url);
        known.removeAll(address);
        known.prepend(address);
    }
    known = known.first(std::min(known.size(), maximum));
    if (known != before)
        Preferences::shared().userDefaults().set(key, known);
}

void RecentFiles::remove(const QStringList& addresses) {
    QStringList known = urls();
    if (known.removeIf([&](const QString& address) { return addresses.contains(address); }) > 0)
        Preferences::shared().userDefaults().set(key, known);
}

void RecentFiles::clear() {
    Preferences::shared().userDefaults().remove(key);
}

} // namespace korvane
