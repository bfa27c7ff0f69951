#include "documents/RecentFiles.h"

#include "core/Preferences.h"
#include "foundation/FilePath.h"

#include <algorithm>

namespace korvane {

QStringList RecentFiles::urls() {
    return Preferences::shared().userDefaults().value(key).toStringList();
}

void RecentFiles::add(const QUrl& url) {
    const QString address = absoluteString(url);
    QStringList known = urls();
    if (known.value(0) == address)
        return;
    known.removeAll(address);
    known.prepend(address);
    Preferences::shared().userDefaults().set(key, QStringList(known.first(std::min(known.size(), maximum))));
}

void RecentFiles::clear() {
    Preferences::shared().userDefaults().remove(key);
}

} // namespace korvane
