#include "ui/window/TabTitles.h"

namespace korvane {
namespace {

/// The last `depth` folders of a path, as far as it has them.
QString folders(const QString& path, int depth) {
    QStringList parts = path.split(u'/', Qt::SkipEmptyParts);
    parts.removeLast();
    const auto kept = parts.mid(std::max<qsizetype>(0, parts.size() - depth));
    return kept.isEmpty() ? QStringLiteral("/") : kept.join(u'/');
}

bool isUnique(const QString& path, const QStringList& rivals, int depth) {
    return std::none_of(rivals.begin(), rivals.end(), [&](const QString& rival) {
        return rival != path && folders(rival, depth) == folders(path, depth);
    });
}

} // namespace

QStringList tabTitles(const QStringList& names, const QStringList& paths) {
    QStringList titles;
    for (qsizetype i = 0; i < names.size(); ++i) {
        QStringList rivals;
        for (qsizetype other = 0; other < names.size(); ++other) {
            if (other != i && names[other] == names[i])
                rivals.append(paths[other]);
        }
        if (rivals.isEmpty()) {
            titles.append(names[i]);
            continue;
        }
        const auto deepest = static_cast<int>(paths[i].count(u'/'));
        int depth = 1;
        while (depth < deepest && !isUnique(paths[i], rivals, depth))
            ++depth;
        titles.append(QStringLiteral("%1 — %2").arg(names[i], folders(paths[i], depth)));
    }
    return titles;
}

} // namespace korvane
