#pragma once

#include "bookmarks/BookmarkEntry.h"
#include "bookmarks/BookmarkNotices.h"
#include "core/LineMarkLookup.h"
#include "foundation/Shared.h"
#include "foundation/archive/ArchivedStore.h"

#include <QString>
#include <QUrl>

#include <memory>
#include <unordered_map>
#include <vector>

namespace korvane {

class UserDefaults;

/// All bookmarks, in one ordered list, and the line marks of every file that was marked since the start. Only
/// the marks of bookmarked files are saved. A file is identified by its URL's absolute string, a line by its
/// zero-based index.
class FileBasedBookmarksManager : public LineMarkLookup,
                                  public ArchivedStore,
                                  public Shared<FileBasedBookmarksManager> {
public:
    inline static const QString BOOKMARKS_FILE = QStringLiteral("bookmarks.data");

    using Bookmarks = std::vector<std::shared_ptr<BookmarkEntry>>;
    using LineMarks = std::unordered_map<QString, std::shared_ptr<LineMarkList>>;

    /// Reads the bookmarks from the directory. Without a file there, those of earlier versions are migrated
    /// from the settings and saved. Fails as `ArchivedStore::loaded`.
    static Result<std::unique_ptr<FileBasedBookmarksManager>> load(const QString& directory,
                                                                   const UserDefaults& defaults);

    /// The program's own, for data sources; null before it is set.
    static std::shared_ptr<const LineMarkLookup> sharedLookup() { return sharedPointer(); }

    const QString& bookmarksFilePath() const { return path(); }
    const Bookmarks& bookmarks() const { return bookmarks_; }
    qsizetype bookmarkCount() const { return static_cast<qsizetype>(bookmarks_.size()); }
    /// The first bookmark of the file, null if there is none.
    std::shared_ptr<BookmarkEntry> bookmarkForUrl(const QUrl& url) const;

    /// Both save. A new bookmark gets the marks that its file already has.
    void addBookmark(std::shared_ptr<BookmarkEntry> entry);
    void removeBookmark(const std::shared_ptr<BookmarkEntry>& entry);
    /// Drops the marks of the bookmark's file; the entry keeps its own list. Saves.
    void removeLineMarksOfBookmark(const BookmarkEntry& entry);

    const LineMarks& lineMarks() const { return lineMarks_; }
    /// In the order of adding; null for a file that was never marked.
    std::shared_ptr<const LineMarkList> lineMarksFor(const QString& urlString) const;
    bool hasLineMark(const QString& urlString, qint64 lineNum) const override;
    /// A line may be marked more than once. Saves when the file is bookmarked.
    void addLineMark(const QString& urlString, qint64 lineNum, const QString& line);
    void addLineMarks(const QString& urlString, const LineMarkEntries& added);
    /// Remove the first mark of each line, and save in any case.
    void removeLineMark(const QString& urlString, qint64 lineNum);
    void removeLineMarks(const QString& urlString, const std::vector<qint64>& lineNums);

    BookmarkNotices& notices() { return notices_; }

private:
    explicit FileBasedBookmarksManager(const QString& directory) : ArchivedStore(directory, BOOKMARKS_FILE) {}
    QByteArray archived() const override;
    Result<int> restore(const QByteArray& archive) override;
    void migrateFromUserDefaults(const UserDefaults& defaults);
    void shareLines(const QString& urlString, const std::shared_ptr<LineMarkList>& lines);

    BookmarkNotices notices_;
    Bookmarks bookmarks_;
    LineMarks lineMarks_;
};

} // namespace korvane
