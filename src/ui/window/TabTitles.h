#pragma once

#include <QStringList>

namespace korvane {

/// Titles for tabs of files: the name, and for files of one name as many of their folders as tell them apart.
/// `names` and `paths` belong together, item by item.
QStringList tabTitles(const QStringList& names, const QStringList& paths);

} // namespace korvane
