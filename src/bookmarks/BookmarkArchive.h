#pragma once

#include "foundation/archive/ArchivedList.h"

#include <QByteArray>
#include <QStringList>

#include <memory>
#include <vector>

namespace korvane {

class BookmarkEntry;
class LineMarkEntry;

/// The archived form of bookmarks and line marks.

/// Called by KeyedArchiver.
QStringList archivedClassChain(const BookmarkEntry& entry);
QStringList archivedClassChain(const LineMarkEntry& mark);
void encode(const BookmarkEntry& entry, KeyedEncoder& encoder);
void encode(const LineMarkEntry& mark, KeyedEncoder& encoder);

/// An archive whose root is the list.
QByteArray archiveBookmarks(const std::vector<std::shared_ptr<BookmarkEntry>>& bookmarks);

/// Fails as `unarchiveList`. A bookmark without name, path or URL is left out. Bookmarks that share their
/// marks in the archive share them after decoding.
Result<UnarchivedList<BookmarkEntry>> unarchiveBookmarks(const QByteArray& archive);

} // namespace korvane
