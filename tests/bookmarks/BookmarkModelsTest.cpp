#include "bookmarks/BookmarkOutlineViewDataSource.h"
#include "bookmarks/LineMarksModel.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "support/PreferencesTest.h"

#include <QAbstractItemModelTester>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using Outline = BookmarkOutlineViewDataSource;

class BookmarkModelsTest : public test::PreferencesTest {
protected:
    BookmarkModelsTest() {
        UserDefaults& defaults = Preferences::shared().userDefaults();
        store_ = std::move(FileBasedBookmarksManager::load(directory_.path(), defaults)).value();
        hosts_ = std::move(RemoteHostsManager::load(directory_.path(), defaults)).value();
    }
    void addHost(const QString& host, const QString& group, const QString& name) {
        auto added = std::make_shared<RemoteHost>(host, std::uint16_t(22), u"u"_s);
        added->setAuthnType(std::make_shared<PasswordAuthnType>(u"x"_s));
        added->setGroup(group);
        added->setName(name);
        ASSERT_TRUE(hosts_->add(added));
    }
    /// The text of each row, indented by one space per level.
    static QStringList rows(const Outline& outline, const QModelIndex& parent = {},
                            const QString& indent = {}) {
        QStringList all;
        for (int row = 0; row < outline.rowCount(parent); ++row) {
            const QModelIndex index = outline.index(row, 0, parent);
            const QString image = index.data(Outline::ImageNameRole).toString();
            all.append(indent + index.data().toString() + (image.isEmpty() ? u""_s : u" <%1>"_s.arg(image)));
            EXPECT_EQ(index.data(Outline::IsGroupRole).toBool(), indent.isEmpty());
            EXPECT_EQ(index.data(Outline::IsFileEntryRole).toBool(), image == u"file");
            all += rows(outline, index, indent + u' ');
        }
        return all;
    }

    QTemporaryDir directory_;
    std::unique_ptr<FileBasedBookmarksManager> store_;
    std::unique_ptr<RemoteHostsManager> hosts_;
};

TEST_F(BookmarkModelsTest, BookmarksAreGroupedByServerGroupAndServer) {
    addHost(u"Web01"_s, u"Shop"_s, u"the shop"_s);
    addHost(u"web02"_s, u"Shop"_s, {});
    Outline outline(*store_, *hosts_);
    const QAbstractItemModelTester tester(&outline, QAbstractItemModelTester::FailureReportingMode::Fatal);
    EXPECT_EQ(rows(outline), QStringList({u"Local"_s, u"Remote"_s}));

    for (const QString& url :
         {u"ssh://u@Web01:22//var/log/a.log"_s, u"file:///var/log/b%20c.log"_s, u"ssh://x@web01:22//n.log"_s,
          u"ssh://u@web01:22//var/log/d.log"_s, u"ssh://u@web02//e.log"_s, u"ssh://y@web01:22//o.log"_s,
          u"ssh://x@web01//p.log"_s, u"file:///a.log"_s})
        outline.addBookmark(QUrl(url));
    store_->addBookmark(std::make_shared<BookmarkEntry>(u"lost"_s, u"/lost"_s, QString()));
    store_->addBookmark(std::make_shared<BookmarkEntry>(u"lost here"_s, u"file:///x"_s, QString()));
    outline.rebuild();
    const QStringList expected{u"Local"_s,
                               u" b c.log <file>"_s,
                               u" a.log <file>"_s,
                               u" lost here <file>"_s,
                               u"Remote"_s,
                               u" Shop <server_group>"_s,
                               u"  the shop <server>"_s,
                               u"   a.log <file>"_s,
                               u"   d.log <file>"_s,
                               u"  u@web02:22 (Password) <server>"_s,
                               u"   e.log <file>"_s,
                               u" Default <server_group>"_s,
                               u"  web01:22 <server>"_s, // of the user x
                               u"   n.log <file>"_s,
                               u"   p.log <file>"_s,
                               u"  web01:22 <server>"_s, // of the user y
                               u"   o.log <file>"_s,
                               u"  Unknown server <server>"_s,
                               u"   lost <file>"_s};
    EXPECT_EQ(rows(outline), expected);

    // The tree follows the hosts at `rebuild`, and the store at once.
    hosts_->host(1)->setGroup(u"Other"_s);
    outline.rebuild();
    EXPECT_TRUE(rows(outline).contains(u" Other <server_group>"_s));
    const auto first = outline.nodes()[1]->children()[0]->children()[0]->children()[0]->representedObject();
    outline.removeBookmark(first);
    EXPECT_FALSE(rows(outline).contains(u"   a.log <file>"_s));
    EXPECT_EQ(store_->bookmarkCount(), 9);
}

TEST_F(BookmarkModelsTest, RemovalIsAskedForUnlessTheUserWantsOtherwise) {
    const BookmarkEntry local(u"a"_s, QUrl(u"file:///var/a.log"_s));
    const BookmarkEntry remote(u"b"_s, QUrl(u"ssh://u@h:22//var/b.log"_s));
    const BookmarkEntry lost(u"c"_s, u"/c"_s, QString());
    EXPECT_FALSE(Outline::removalQuestion(lost));
    const auto ofLocal = Outline::removalQuestion(local);
    const auto ofRemote = Outline::removalQuestion(remote);
    ASSERT_TRUE(ofLocal && ofRemote);
    EXPECT_EQ(ofLocal->message, u"Delete local file bookmark?"_s);
    EXPECT_EQ(ofLocal->informativeText, u"Path: /var/a.log"_s);
    EXPECT_EQ(ofRemote->message, u"Delete remote file bookmark?"_s);
    EXPECT_EQ(ofRemote->informativeText, u"Path: //var/b.log on host: h"_s);
    EXPECT_EQ(ofRemote->buttons, QStringList({u"Yes"_s, u"Cancel"_s}));
    ofLocal->suppress();
    EXPECT_FALSE(Outline::removalQuestion(remote));
}

TEST_F(BookmarkModelsTest, MarksAreShownByLineAsFarAsTheyMatch) {
    const QString file = u"file:///a.log"_s;
    LineMarksModel model(*store_);
    const QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::Fatal);
    const auto shown = [&model] {
        QStringList all;
        for (int row = 0; row < model.rowCount(); ++row)
            all.append(model.index(row, LineMarksModel::LineNumberColumn).data().toString() + u' ' +
                       model.index(row, LineMarksModel::LineColumn).data().toString());
        return all;
    };
    model.setFilePath(file);
    EXPECT_FALSE(model.hasMarks());
    store_->addLineMark(file, 11, u"GET /größe"_s);
    store_->addLineMark(file, 2, u"POST /x"_s);
    store_->addLineMark(file, 100, u"get /y"_s);
    store_->addLineMark(u"file:///b.log"_s, 1, u"other"_s);
    model.reload();
    EXPECT_EQ(shown(), QStringList({u"3 POST /x"_s, u"12 GET /größe"_s, u"101 get /y"_s}));
    model.setSearchText(u"Get"_s);
    EXPECT_EQ(shown(), QStringList({u"12 GET /größe"_s, u"101 get /y"_s}));
    model.setSearchText(u"line#: 3 "_s);
    EXPECT_EQ(shown(), QStringList(u"3 POST /x"_s));
    model.setSearchText(u"nothing"_s);
    EXPECT_TRUE(shown().isEmpty() && model.hasMarks());

    // The remaining marks keep their persistent indexes while others are added and removed.
    model.setSearchText({});
    const QPersistentModelIndex kept = model.index(1, LineMarksModel::LineColumn);
    store_->addLineMarks(file, {std::make_shared<LineMarkEntry>(0, u"a"_s),
                                std::make_shared<LineMarkEntry>(50, u"b\u202Ec"_s),
                                std::make_shared<LineMarkEntry>(500, u"x"_s.repeated(1'000'000))});
    store_->removeLineMark(file, 100);
    model.reload();
    EXPECT_EQ(kept.data().toString(), u"GET /größe"_s);
    EXPECT_EQ(kept.row(), 2);
    EXPECT_EQ(shown()[3], u"51 b\u25AFc"_s) << "as in the lines of the log";
    EXPECT_LT(shown()[4].size(), 400);
    store_->removeLineMarks(file, {0, 50, 500});
    store_->addLineMark(file, 100, u"get /y"_s);
    model.setSearchText(u"get"_s);
    EXPECT_EQ(model.remove({1, 0, 2, -1}), std::vector<qint64>({100, 11}));
    model.setSearchText({});
    EXPECT_EQ(shown(), QStringList(u"3 POST /x"_s));
    EXPECT_EQ(store_->lineMarksFor(file)->size(), 1u);
    model.setFilePath(std::nullopt);
    EXPECT_TRUE(shown().isEmpty());
    EXPECT_FALSE(model.hasMarks());
}

} // namespace
} // namespace korvane
