#include "ui/tabs/TabTitles.h"

#include <QFontMetrics>

#include <algorithm>

namespace korvane {
namespace {

constexpr QChar ellipsis = u'…';
/// Maximum number of characters kept at the beginning of a title whose telling character lies further on;
/// half as many are kept in front of that one, so that it can be read as part of its word.
constexpr qsizetype keptAround = 4;

/// The last `depth` folders of a path, or all if it has fewer.
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

qsizetype commonBeginning(const QString& one, const QString& other) {
    const auto differs = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return differs.first - one.begin();
}

/// The position, moved out of the middle of a surrogate pair.
qsizetype wholeCharacters(const QString& text, qsizetype position) {
    return position > 0 && position < text.size() && text.at(position).isLowSurrogate() ? position - 1
                                                                                        : position;
}

} // namespace

QStringList tabTitles(const QStringList& names, const QStringList& paths) {
    QHash<QString, QStringList> pathsByName;
    for (qsizetype i = 0; i < names.size(); ++i)
        pathsByName[names[i]].append(paths[i]);
    QStringList titles;
    for (qsizetype i = 0; i < names.size(); ++i) {
        const QStringList& rivals = pathsByName[names[i]];
        if (rivals.size() == 1) {
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

QHash<QString, qsizetype> tellingCharacters(const QStringList& titles) {
    QStringList sorted = titles;
    sorted.sort();
    sorted.removeDuplicates();
    QHash<QString, qsizetype> telling;
    // Sorted, the most similar title is a neighbour.
    for (qsizetype i = 1; i < sorted.size(); ++i) {
        const qsizetype common = commonBeginning(sorted[i - 1], sorted[i]);
        for (const QString& title : {sorted[i - 1], sorted[i]}) {
            qsizetype& known = telling[title];
            known = std::max(known, std::min(common, title.size() - 1));
        }
    }
    return telling;
}

QString shortTitle(const QString& title, qsizetype telling, const QFontMetrics& metrics, int width) {
    QString middleLeftOut = metrics.elidedText(title, Qt::ElideMiddle, width);
    const qsizetype head = commonBeginning(title, middleLeftOut);
    const qsizetype tail = middleLeftOut.size() - head - 1;
    if (telling < head || telling >= title.size() - tail)
        return middleLeftOut;
    QString text;
    // As much around the telling character as there is room for.
    for (qsizetype kept = keptAround; kept >= 0; --kept) {
        const QString beginning = title.first(wholeCharacters(title, kept)) + ellipsis;
        const qsizetype start = wholeCharacters(title, std::max(telling - kept / 2, std::min(kept, telling)));
        const int room = std::max(width - metrics.horizontalAdvance(beginning), 0);
        const QString rest = metrics.elidedText(title.sliced(start), Qt::ElideRight, room);
        text = beginning + rest;
        if (commonBeginning(title.sliced(start), rest) > telling - start)
            break;
    }
    return text;
}

} // namespace korvane
