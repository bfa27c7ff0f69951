#pragma once

#include <QHash>
#include <QStringList>

class QFontMetrics;

namespace korvane {

/// Titles for tabs of files: the name, and for files of one name as many of their folders as tell them apart.
/// `names` and `paths` correspond item by item.
QStringList tabTitles(const QStringList& names, const QStringList& paths);

/// For each title the index of the first character by which it differs from the title most like it; absent
/// where there is only one.
QHash<QString, qsizetype> tellingCharacters(const QStringList& titles);

/// The title in at most `width` pixels. What is left out comes from the middle, but never the character at
/// `telling`; negative for none.
QString shortTitle(const QString& title, qsizetype telling, const QFontMetrics& metrics, int width);

} // namespace korvane
