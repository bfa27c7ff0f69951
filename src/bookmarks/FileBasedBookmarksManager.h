#pragma once

#include "bookmarks/BookmarkEntry.h"
#include "bookmarks/BookmarkNotices.h"
#include "core/LineMarkLookup.h"
#include "foundation/Result.h"
#include "foundation/archive/StoreFileSaver.h"

#include <QString>
#include <QUrl>

#include <memory>
#include <unordered_map>
#include <vector>

namespace korvane {

class UserDefaults;

/// All bookmarks, in one ordered list that is saved whole at every change, and the line marks of every file
/// that was marked since the start. The marks of a file last longer than the program only when the file is
/// bookmarked. A file is known by its URL's absolute string, lines by their zero-based index. Main thread.
class FileBasedBookmarksManager : public LineMarkLookup {
public:
    inline static const QString BOOKMARKS_FILE = QStringLiteral("bookmarks.data");

    using Bookmarks = std::vector<std::shared_ptr<BookmarkEntry>>;
    using LineMarks = std::unordered_map<QString, std::shared_ptr<LineMarkList>>;

    /// Reads the bookmarks from the directory. Without a file there, those of earlier versions are taken over
    /// from the settings and saved. Fails as FiltersManager::load does.
    static Result<std::unique_ptr<FileBasedBookmarksManager>> load(const QString& directory,
                                                                   const UserDefaults& defaults);

    /// The program's own; set once at start.
    static FileBasedBookmarksManager& shared();
    /// Whether one has been set.
    static bool hasShared();
    static void setShared(std::shared_ptr<FileBasedBookmarksManager> manager);
    /// The program's own, for data sources; null before it is set.
    static std::shared_ptr<const LineMarkLookup> sharedLookup();

    const QString& bookmarksFilePath() const { return file_.path(); }
    const Bookmarks& bookmarks() const { return bookmarks_; }
    qsizetype bookmarkCount() const { return static_cast<qsizetype>(bookmarks_.size()); }
    /// The first that stands for the file, null if there is none.
    std::shared_ptr<BookmarkEntry> bookmarkForUrl(const QUrl& url) const;

    /// Both save. A new bookmark gets the marks that the file has already.
    void addBookmark(std::shared_ptr<BookmarkEntry> entry);
    void removeBookmark(const std::shared_ptr<BookmarkEntry>& entry);
    /// Forgets the marks of the bookmark's file; the entry keeps its own list. Saves.
    void removeLineMarksOfBookmark(const BookmarkEntry& entry);

    const LineMarks& lineMarks() const { return lineMarks_; }
    /// In the order of adding; null for a file that was never marked.
    std::shared_ptr<const LineMarkList> lineMarksFor(const QString& urlString) const;
    bool hasLineMark(const QString& urlString, qint64 lineNum) const override;
    /// Does not look whether the line is marked already. Saves when the file is bookmarked.
    void addLineMark(const QString& urlString, qint64 lineNum, const QString& line);
    void addLineMarks(const QString& urlString, const LineMarkEntries& added);
    /// Take away the first mark of each line, and save in any case.
    void removeLineMark(const QString& urlString, qint64 lineNum);
    void removeLineMarks(const QString& urlString, const std::vector<qint64>& lineNums);

    /// Writes the bookmarks; a failed write keeps the old file and is told by `fault`.
    void save();
    /// As FiltersManager::fault.
    const QString& fault() const { return file_.fault(); }

    BookmarkNotices& notices() { return notices_; }

private:
    explicit FileBasedBookmarksManager(QString path) : file_(std::move(path)) {}
    void migrateFromUserDefaults(const UserDefaults& defaults);
    void shareLines(const QString& urlString, const std::shared_ptr<LineMarkList>& lines);

    BookmarkNotices notices_;
    StoreFileSaver file_;
    Bookmarks bookmarks_;
    LineMarks lineMarks_;
};

} // namespace korvane
