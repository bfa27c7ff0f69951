#include "bookmarks/FileBasedBookmarksManager.h"

#include "bookmarks/BookmarkArchive.h"
#include "bookmarks/BookmarksManager.h"
#include "foundation/FilePath.h"
#include "support/StoreConformance.h"
#include "support/TemporaryFile.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace test;

const QString bookmarksFile = FileBasedBookmarksManager::BOOKMARKS_FILE;
const QString fileUrl = u"file:///var/log/a.log"_s;

std::shared_ptr<BookmarkEntry> entryOf(const QString& url) {
    return std::make_shared<BookmarkEntry>(u"name"_s, QUrl(url, QUrl::StrictMode));
}

QStringList urlsOf(const FileBasedBookmarksManager& manager) {
    QStringList all;
    for (const auto& entry : manager.bookmarks())
        all.append(entry->urlStr());
    return all;
}

struct BookmarksCase {
    using Store = FileBasedBookmarksManager;
    static QString file() { return bookmarksFile; }
    static auto load(const QString& directory, UserDefaults& defaults) {
        return Store::load(directory, defaults);
    }
    static void add(Store& store, const QString& name) {
        store.addBookmark(std::make_shared<BookmarkEntry>(name, u"/"_s + name, name));
    }
    static QStringList contents(const Store& store) { return urlsOf(store); }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Bookmarks, StoreConformance, BookmarksCase);

class BookmarkStoreTest : public StoreDefaultsTest {
protected:
    std::unique_ptr<FileBasedBookmarksManager> load() {
        auto manager = FileBasedBookmarksManager::load(directory(), defaults());
        EXPECT_TRUE(manager) << manager.error().userText.toStdString();
        return std::move(manager).value();
    }
    /// The marked lines in the order of adding.
    static QList<qint64> marks(const FileBasedBookmarksManager& manager, const QString& url = fileUrl) {
        QList<qint64> all;
        if (const auto list = manager.lineMarksFor(url)) {
            for (const auto& mark : *list)
                all.append(mark->lineNum());
        }
        return all;
    }
};

TEST_F(BookmarkStoreTest, EarlierBookmarksAreTakenOverOnce) {
    const TemporaryFile moved("", "moved here.log");
    const QStringList earlier{u"file:///var/log/gr%C3%B6%C3%9Fe.log"_s, u"file:///old/place.log"_s,
                              u"file:///gone.log"_s, u"no url %"_s, u"ssh://u@h:22//var/log/app.log"_s};
    defaults().set(earlier[1], moved.url().toEncoded());
    defaults().set(earlier[2], QByteArray("file:///no/such/file"));
    QVariantList stored{QByteArray("no text")};
    for (const QString& url : earlier)
        stored.append(url);
    defaults().set(BookmarksManager::URLS_KEY, stored);

    const auto manager = load();
    const QStringList expected{earlier[0], absoluteString(moved.url()), earlier[4]};
    EXPECT_EQ(urlsOf(*manager), expected);
    EXPECT_TRUE(manager->fault().contains(u'2')) << manager->fault().toStdString();
    EXPECT_EQ(manager->bookmarks()[0]->name(), u"größe.log"_s);
    EXPECT_EQ(manager->bookmarks()[1]->name(), u"moved here.log"_s);
    EXPECT_EQ(manager->bookmarks()[2]->name(), u"app.log"_s);
    defaults().set(BookmarksManager::URLS_KEY, QStringList({u"file:///later.log"_s, u"file:///x"_s}));
    EXPECT_EQ(urlsOf(*load()), expected) << "they stand in the file now";
}

TEST_F(BookmarkStoreTest, AFileFindsItsBookmarkAndNoOther) {
    const std::tuple<QString, QString, bool> table[] = {
        {u"file:///a/b.log"_s, u"file:///a/b.log"_s, true},
        {u"file:///a/b.log"_s, u"file:///a/B.log"_s, false},
        {u"file:///a/b.log"_s, u"file:///a/c.log"_s, false},
        {u"file:///a/b%20c.log"_s, u"file:///a/b%20c.log"_s, true},
        {u"ssh://u@h:22//a/b.log"_s, u"ssh://u@h:22//a/b.log"_s, true},
        {u"ssh://u@h:22//a/b.log"_s, u"ssh://v@h:2222//a/b.log"_s, true},
        {u"ssh://u@h:22//a/b.log"_s, u"ssh://u@i:22//a/b.log"_s, false},
        {u"ssh://u@h:22/a/b.log"_s, u"ssh://u@h:22//a/b.log"_s, false},
        {u"ssh:/a/b.log"_s, u"ssh:/a/b.log"_s, true},
        {u"ssh:/a/b.log"_s, u"ssh://h/a/b.log"_s, false},
        // The same path, local and on a server.
        {u"ssh://u@h:22/a/b.log"_s, u"file:///a/b.log"_s, false},
        {u"file:///a/b.log"_s, u"ssh://u@h:22/a/b.log"_s, false},
        // Names that are not valid text.
        {u"file:///a/%FF.log"_s, u"file:///a/%FF.log"_s, true},
        {u"file:///a/%FF.log"_s, u"file:///a/%FE.log"_s, false}};
    for (const auto& [bookmark, url, matches] : table) {
        SCOPED_TRACE(bookmark.toStdString() + " for " + url.toStdString());
        const auto entry = entryOf(bookmark);
        EXPECT_EQ(entry->matches(QUrl(url, QUrl::StrictMode)), matches);
        ASSERT_TRUE(entry->url());
        EXPECT_EQ(absoluteString(*entry->url()), bookmark) << "the file's own key";
    }

    const auto manager = load();
    const auto first = entryOf(fileUrl);
    for (const auto& entry : {entryOf(u"ssh://u@h:22/var/log/a.log"_s), first, entryOf(fileUrl)})
        manager->addBookmark(entry);
    EXPECT_EQ(manager->bookmarkForUrl(QUrl(fileUrl)), first);
    EXPECT_EQ(manager->bookmarkForUrl(QUrl(u"file:///b.log"_s)), nullptr);
    manager->removeBookmark(first);
    EXPECT_EQ(load()->bookmarkCount(), 2);
    EXPECT_EQ(manager->bookmarkForUrl(QUrl(fileUrl)), manager->bookmarks()[1]);
}

TEST_F(BookmarkStoreTest, BookmarkWithoutAUrlIsToldByItsPath) {
    const BookmarkEntry local(u"n"_s, u"file:///a"_s, u"no url %"_s);
    const BookmarkEntry remote(u"n"_s, u"/a"_s, u"no url %"_s);
    EXPECT_TRUE(local.isLocal());
    EXPECT_FALSE(local.matches(QUrl(u"file:///a"_s)));
    EXPECT_FALSE(remote.isLocal());
    EXPECT_FALSE(remote.matches(QUrl(u"file:///a"_s)));
    EXPECT_FALSE(remote.matches(QUrl(u"ssh://h/a"_s)));
    EXPECT_TRUE(remote.matches(QUrl(u"ssh:/a"_s))) << "no server on either side";

    // Such a bookmark does not prevent the others from being loaded.
    write(bookmarksFile,
          archiveBookmarks({std::make_shared<BookmarkEntry>(u"n"_s, u"/a"_s, QString()), entryOf(fileUrl)}));
    const auto manager = load();
    EXPECT_EQ(manager->bookmarkCount(), 2);
    EXPECT_EQ(manager->lineMarks().size(), 1u);
}

TEST_F(BookmarkStoreTest, MarksLastOnlyWithABookmark) {
    const auto manager = load();
    EXPECT_EQ(manager->lineMarksFor(fileUrl), nullptr);
    manager->addLineMark(fileUrl, 4, u"five"_s);
    manager->addLineMark(fileUrl, 0, u"one"_s);
    EXPECT_EQ(names(), QStringList());
    EXPECT_EQ(marks(*manager), QList<qint64>({4, 0}));

    const auto entry = entryOf(fileUrl);
    manager->addBookmark(entry);
    EXPECT_EQ(manager->lineMarksFor(fileUrl), entry->lines());
    EXPECT_EQ(marks(*load()), QList<qint64>({4, 0}));
    manager->addLineMark(fileUrl, 9, u"ten"_s);
    manager->addLineMark(u"file:///other.log"_s, 9, u"ten"_s);
    const auto again = load();
    EXPECT_EQ(marks(*again), QList<qint64>({4, 0, 9}));
    EXPECT_EQ(again->lineMarksFor(fileUrl)->entries().at(2)->line(), u"ten"_s);
    EXPECT_EQ(again->lineMarksFor(u"file:///other.log"_s), nullptr);
    EXPECT_EQ(again->lineMarksFor(fileUrl), again->bookmarks()[0]->lines());
    EXPECT_TRUE(again->hasLineMark(fileUrl, 0));
    EXPECT_FALSE(again->hasLineMark(fileUrl, 1));
    EXPECT_FALSE(again->hasLineMark(u"file:///other.log"_s, 9));
}

TEST_F(BookmarkStoreTest, RemovingAMarkSavesInAnyCase) {
    const auto manager = load();
    manager->removeLineMark(fileUrl, 0);
    EXPECT_EQ(names(), QStringList(bookmarksFile));
    manager->addBookmark(entryOf(fileUrl));
    for (const qint64 line : {1, 2, 3, 2})
        manager->addLineMark(fileUrl, line, {});
    manager->removeLineMark(fileUrl, 2);
    EXPECT_EQ(marks(*load()), QList<qint64>({1, 3, 2}));
    manager->removeLineMarks(fileUrl, {2, 7, 1, 3});
    EXPECT_EQ(marks(*load()), QList<qint64>());
    ASSERT_NE(manager->lineMarksFor(fileUrl), nullptr) << "the list stays, though empty";
}

TEST_F(BookmarkStoreTest, OnlyTheBeginningOfALongLineIsKept) {
    const auto kept = [](const QString& line) { return LineMarkEntry(0, line).line(); };
    const QString most = u"x"_s.repeated(LineMarkEntry::longestText);
    EXPECT_EQ(kept(most), most);
    EXPECT_EQ(kept(most + u'y'), most);
    EXPECT_EQ(kept(most.chopped(1) + u"\U0001F600"_s), most.chopped(1)) << "no half of a character";
    EXPECT_EQ(kept(most.chopped(2) + u"\U0001F600z"_s), most.chopped(2) + u"\U0001F600"_s);
}

TEST_F(BookmarkStoreTest, MarksOfAFileBookmarkedTwiceComeBackAndStayWithTheirBookmark) {
    const auto manager = load();
    const auto first = entryOf(fileUrl);
    manager->addBookmark(first);
    manager->addBookmark(entryOf(fileUrl));
    manager->addLineMark(fileUrl, 5, u"six"_s);
    manager->removeLineMarksOfBookmark(*first);
    EXPECT_EQ(manager->lineMarksFor(fileUrl), nullptr);
    EXPECT_EQ(first->lines()->size(), 1u);
    const auto again = load();
    EXPECT_EQ(marks(*again), QList<qint64>({5}));
    again->removeLineMark(fileUrl, 5);
    again->removeBookmark(again->bookmarks()[1]);
    EXPECT_EQ(marks(*load()), QList<qint64>());
}

} // namespace
} // namespace korvane
