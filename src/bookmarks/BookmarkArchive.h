#pragma once

#include "foundation/Result.h"

#include <QByteArray>
#include <QStringList>

#include <memory>
#include <vector>

namespace korvane {

class BookmarkEntry;
class KeyedEncoder;
class LineMarkEntry;

/// How bookmarks and line marks stand in an archive.

/// What a KeyedArchiver asks for.
QStringList archivedClassChain(const BookmarkEntry& entry);
QStringList archivedClassChain(const LineMarkEntry& mark);
void encode(const BookmarkEntry& entry, KeyedEncoder& encoder);
void encode(const LineMarkEntry& mark, KeyedEncoder& encoder);

/// An archive whose root is the list.
QByteArray archiveBookmarks(const std::vector<std::shared_ptr<BookmarkEntry>>& bookmarks);

struct UnarchivedBookmarks {
    std::vector<std::shared_ptr<BookmarkEntry>> bookmarks;
    /// Elements of the list that are no bookmarks, and parts of a bookmark that are not what they should be.
    int leftOut = 0;
};

/// Bookmarks that share their marks in the archive share them afterwards. Fails when the data is no archive
/// of a list.
Result<UnarchivedBookmarks> unarchiveBookmarks(const QByteArray& archive);

} // namespace korvane
