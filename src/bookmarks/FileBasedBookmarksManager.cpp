#include "bookmarks/FileBasedBookmarksManager.h"

#include "bookmarks/BookmarkArchive.h"
#include "bookmarks/BookmarksManager.h"
#include "foundation/FilePath.h"

#include <QCoreApplication>

#include <algorithm>

namespace korvane {

Result<std::unique_ptr<FileBasedBookmarksManager>>
FileBasedBookmarksManager::load(const QString& directory, const UserDefaults& defaults) {
    auto manager =
        loaded(std::unique_ptr<FileBasedBookmarksManager>(new FileBasedBookmarksManager(directory)));
    if (manager && !manager.value()->hasFile())
        manager.value()->migrateFromUserDefaults(defaults);
    return manager;
}

QByteArray FileBasedBookmarksManager::archived() const {
    return archiveBookmarks(bookmarks_);
}

Result<int> FileBasedBookmarksManager::restore(const QByteArray& archive) {
    Result<int> leftOut = takeList(unarchiveBookmarks(archive), bookmarks_);
    for (const std::shared_ptr<BookmarkEntry>& entry : bookmarks_) {
        if (const std::optional<QUrl> url = entry->url())
            lineMarks_[absoluteString(*url)] = entry->lines();
    }
    return leftOut;
}

void FileBasedBookmarksManager::migrateFromUserDefaults(const UserDefaults& defaults) {
    const BookmarksManager earlier(defaults);
    int leftOut = 0;
    for (const QString& urlPath : earlier.urlPaths()) {
        const std::optional<QUrl> url = earlier.url(urlPath);
        if (!url) {
            ++leftOut;
            continue;
        }
        bookmarks_.push_back(std::make_shared<BookmarkEntry>(displayName(*url), *url));
        save();
    }
    if (leftOut > 0 && fault().isEmpty())
        setFault(QCoreApplication::translate("FileBasedBookmarksManager",
                                             "Bookmarks of earlier versions whose file is not known: %1")
                     .arg(leftOut));
}

std::shared_ptr<BookmarkEntry> FileBasedBookmarksManager::bookmarkForUrl(const QUrl& url) const {
    const auto found = std::find_if(bookmarks_.begin(), bookmarks_.end(),
                                    [&url](const auto& entry) { return entry->matches(url); });
    return found == bookmarks_.end() ? nullptr : *found;
}

void FileBasedBookmarksManager::addBookmark(std::shared_ptr<BookmarkEntry> entry) {
    const std::optional<QUrl> url = entry->url();
    const auto marks = url ? lineMarks_.find(absoluteString(*url)) : lineMarks_.end();
    if (marks != lineMarks_.end())
        entry->setLines(marks->second);
    bookmarks_.push_back(std::move(entry));
    save();
}

void FileBasedBookmarksManager::removeBookmark(const std::shared_ptr<BookmarkEntry>& entry) {
    std::erase(bookmarks_, entry);
    save();
}

void FileBasedBookmarksManager::removeLineMarksOfBookmark(const BookmarkEntry& entry) {
    if (const std::optional<QUrl> url = entry.url())
        lineMarks_.erase(absoluteString(*url));
    save();
}

std::shared_ptr<const LineMarkList> FileBasedBookmarksManager::lineMarksFor(const QString& urlString) const {
    const auto marks = lineMarks_.find(urlString);
    return marks == lineMarks_.end() ? nullptr : marks->second;
}

bool FileBasedBookmarksManager::hasLineMark(const QString& urlString, qint64 lineNum) const {
    const auto marks = lineMarks_.find(urlString);
    return marks != lineMarks_.end() && marks->second->contains(lineNum);
}

void FileBasedBookmarksManager::addLineMark(const QString& urlString, qint64 lineNum, const QString& line) {
    addLineMarks(urlString, {std::make_shared<const LineMarkEntry>(lineNum, line)});
}

void FileBasedBookmarksManager::addLineMarks(const QString& urlString, const LineMarkEntries& added) {
    std::shared_ptr<LineMarkList>& marks = lineMarks_[urlString];
    if (!marks)
        marks = std::make_shared<LineMarkList>();
    for (const auto& mark : added)
        marks->add(mark);
    shareLines(urlString, marks);
}

void FileBasedBookmarksManager::shareLines(const QString& urlString,
                                           const std::shared_ptr<LineMarkList>& lines) {
    const std::optional<QUrl> url = parsedUrl(urlString);
    const std::shared_ptr<BookmarkEntry> bookmark = url ? bookmarkForUrl(*url) : nullptr;
    if (!bookmark)
        return;
    bookmark->setLines(lines);
    // Otherwise another bookmark of the same file would restore its own list at the next start.
    for (const std::shared_ptr<BookmarkEntry>& entry : bookmarks_) {
        if (entry->urlStr() == urlString)
            entry->setLines(lines);
    }
    save();
}

void FileBasedBookmarksManager::removeLineMark(const QString& urlString, qint64 lineNum) {
    removeLineMarks(urlString, {lineNum});
}

void FileBasedBookmarksManager::removeLineMarks(const QString& urlString,
                                                const std::vector<qint64>& lineNums) {
    const auto marks = lineMarks_.find(urlString);
    if (marks != lineMarks_.end())
        marks->second->removeFirstOf(lineNums);
    save();
}

} // namespace korvane
