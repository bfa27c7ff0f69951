#include "ui/AppFixture.h"

#include "documents/RecentFiles.h"
#include "ui/page/NoticeStrip.h"
#include "ui/tabs/DocumentTab.h"
#include "ui/tabs/DocumentTabs.h"
#include "ui/widgets/FileListDelegate.h"
#include "ui/window/Session.h"
#include "ui/window/WelcomeWindow.h"

namespace korvane::test {
namespace {

using korvane::Session; // the stored one; test::Session runs the program

class SessionTest : public AppFixture {
protected:
    SessionTest() { windows_.setKeepsState(); }

    MainWindowController* pageOf(const TemporaryFile& file) {
        const auto document = documents_.documentForUrl(file.url());
        return document ? windows_.pageOf(*document) : nullptr;
    }
    MainWindow* windowOf(const TemporaryFile& file) { return AppFixture::windowOf(pageOf(file)); }
    LogTableView& tableOf(const TemporaryFile& file) { return AppFixture::tableOf(pageOf(file)); }
    /// Waits until the row is the first one visible in the file's view.
    bool untilTop(const TemporaryFile& file, qint64 row) {
        return until([&] { return tableOf(file).scroller().firstVisibleRow() == row; });
    }
    static std::vector<Session::Entry> storedEntries() { return Session::load().windows.at(0).entries; }
};

TEST_F(SessionTest, OpenFilesComeBackWithTheirPlacesAndAMissingOneWaitsForItsFile) {
    const TemporaryFile files[] = {TemporaryFile(numberedLines(12000), "a.log"),
                                   TemporaryFile(numberedLines(900), "b.log"),
                                   TemporaryFile("gone\n", "c.log")};
    for (const TemporaryFile& file : files)
        open(file);
    tableOf(files[0]).scroller().setTopRow(7000);
    tableOf(files[1]).scroller().scrollToEnd();
    windowOf(files[0])->raisePage(pageOf(files[0]));
    windows_.quit();
    EXPECT_TRUE(documents_.documents().empty());
    RecentFiles::clear();
    files[2].remove();

    windows_.restoreSession(WindowManager::Reading::AtOnce);
    ASSERT_EQ(documents_.documents().size(), 1U) << "the one in front comes first";
    const auto& tabs = windowOf(files[0])->tabs();
    EXPECT_EQ(tabs.count(), 3);
    EXPECT_EQ(windowOf(files[0])->currentPage(), pageOf(files[0]));
    DocumentTab* missing = tabs.tabOf(files[2].url());
    ASSERT_TRUE(until([&] {
        return documents_.documents().size() == 2 && missing->state() == DocumentTab::State::Waiting;
    }));
    EXPECT_TRUE(alerts_.alerts.empty());
    EXPECT_FALSE(tabs.tabOf(files[1].url())->page()) << "nobody looks at it yet";
    EXPECT_TRUE(untilTop(files[0], 7000));
    windowOf(files[0])->tabs().setCurrent(tabs.tabOf(files[1].url()));
    EXPECT_TRUE(
        until([&] { return tableOf(files[1]).scroller().isAtEnd() && tableOf(files[1]).rowCount() == 900; }));

    windowOf(files[0])->raisePage(pageOf(files[0]));
    windows_.saveSessionNow();
    EXPECT_EQ(storedEntries().size(), 3U) << "a drive may be there again next time";
    files[2].append("back\n");
    EXPECT_TRUE(until([&] { return documents_.documents().size() == 3; }));
    EXPECT_EQ(missing->state(), DocumentTab::State::Open);
    EXPECT_EQ(windowOf(files[0])->currentPage(), pageOf(files[0])) << "nobody asked for it just now";
    EXPECT_EQ(RecentFiles::urls(), QStringList())
        << "what comes back by itself pushes out what the user opened";
}

TEST_F(SessionTest, AStartWithAFilePutsTheStoredTabsUnreadBehindIt) {
    const TemporaryFile files[] = {TemporaryFile(numberedLines(9000), "a.log"), TemporaryFile("b\n", "b.log"),
                                   TemporaryFile("c\n", "c.log")};
    open(files[0])->logView().tableView().scroller().setTopRow(4000);
    open(files[1]);
    windows_.quit();
    {
        const DocumentBatch batch(documents_, 1);
        windows_.restoreSession(WindowManager::Reading::WhenShown);
        documents_.openDocument(files[2].url());
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(documents_.documents().size(), 1U);
    auto& tabs = windowOf(files[2])->tabs();
    EXPECT_EQ(tabs.count(), 3);
    EXPECT_EQ(windowOf(files[2])->currentPage(), pageOf(files[2]));
    windows_.saveSessionNow();
    ASSERT_EQ(storedEntries().size(), 3U);
    EXPECT_EQ(storedEntries()[0].topLine, 4001) << "the place of a tab not looked at";

    tabs.setCurrent(tabs.tabOf(files[0].url()));
    EXPECT_TRUE(untilTop(files[0], 4000));
    windowOf(files[2])->closeTabs({tabs.tabOf(files[1].url())});
    windows_.saveSessionNow();
    EXPECT_EQ(storedEntries().size(), 2U) << "closed for good";
}

TEST_F(SessionTest, PlacesAndWindowsAreStoredWhileTheProgramRuns) {
    Preferences::shared().setUseTabs(false);
    const TemporaryFile files[] = {TemporaryFile(numberedLines(3000), "a.log"),
                                   TemporaryFile("b\n", "b.log")};
    open(files[0]);
    open(files[1]);
    EXPECT_TRUE(until([] { return Session::load().windows.size() == 2; }));
    windowOf(files[0])->setGeometry(40, 50, 700, 500);
    windowOf(files[1])->setGeometry(90, 70, 600, 400);
    const QRect stood[] = {windowOf(files[0])->geometry(), windowOf(files[1])->geometry()};
    tableOf(files[0]).scroller().setTopRow(2000);
    const auto storedTop = [] {
        qint64 top = 0;
        for (const auto& window : Session::load().windows)
            top = std::max(top, window.entries.at(0).topLine);
        return top;
    };
    ASSERT_TRUE(until([&] { return storedTop() == 2001; }));
    const Session stored = Session::load();
    windows_.quit();
    EXPECT_EQ(Session::load(), stored) << "nothing had been left for the end";

    windows_.restoreSession(WindowManager::Reading::AtOnce);
    ASSERT_TRUE(until([&] { return documents_.documents().size() == 2; }));
    for (const int i : {0, 1})
        EXPECT_EQ(windowOf(files[i])->geometry(), stood[i]);
}

TEST_F(SessionTest, TheSessionIsKeptWhenTheLastWindowIsClosedButNotFilesClosedBefore) {
    const TemporaryFile files[] = {TemporaryFile("a\n", "a.log"), TemporaryFile("b\n", "b.log")};
    open(files[0]);
    open(files[1]);
    documents_.closeDocument(documents_.documentForUrl(files[1].url()));
    pageOf(files[0])->window()->close();
    const Session session = Session::load();
    ASSERT_EQ(session.windows.size(), 1U);
    ASSERT_EQ(session.windows[0].entries.size(), 1U);
    EXPECT_EQ(session.windows[0].entries[0].url, absoluteString(files[0].url()));
    ASSERT_TRUE(topLevel<WelcomeWindow>());
    windows_.quit();
    EXPECT_EQ(Session::load(), session) << "quit from the welcome window";
}

TEST_F(SessionTest, AFaultOfAStoreIsToldOnceAndAFurtherOneToo) {
    const TemporaryFile file("b\n", "b.log");
    windows_.showFirstWindow();
    // A directory in place of the file cannot be overwritten.
    ASSERT_TRUE(QDir(settings_.path()).mkpath(u"bookmarks.data/taken"_s));
    FileBasedBookmarksManager::shared().save();
    RemoteHostsManager::shared().groupsChanged().post();
    MainWindowController* page = open(file);
    const auto tells = [page](const QString& text) { return labelsOf(page).contains(text); };
    EXPECT_TRUE(until([&] { return tells(u"bookmarks.data"_s); })) << "there was no page to say it on before";
    page->showUserUpdate(u"something else"_s);
    EXPECT_TRUE(tells(u"bookmarks.data"_s)) << "it stays until it is put aside";
    page->findChild<NoticeStrip*>()->findChild<QToolButton*>()->click();
    FileBasedBookmarksManager::shared().notices().lineMarksDeleted.post({});
    EXPECT_FALSE(tells(u"bookmarks.data"_s)) << "told once";

    ASSERT_TRUE(QDir(settings_.path()).mkpath(u"groups.data/taken"_s));
    ServerGroupsManager::shared().save();
    FileBasedBookmarksManager::shared().notices().lineMarksDeleted.post({});
    EXPECT_TRUE(tells(u"groups.data"_s)) << "a further one is told, too";
}

TEST_F(SessionTest, ASessionOfAnEarlierVersionComesBackAndOneThatMakesNoSenseOpensNothing) {
    const auto restore = [this](const QByteArray& stored) {
        Preferences::shared().userDefaults().set(u"session"_s, stored);
        windows_.restoreSession(WindowManager::Reading::AtOnce);
    };
    for (const QByteArray& stored :
         QByteArrayList{"no json", "[]", R"({"documents":[3,{"url":5},{"topLine":1}],"current":7})",
                        R"({"windows":[3,{},{"documents":[{"url":5}],"geometry":"?"}]})"}) {
        restore(stored);
        EXPECT_TRUE(documents_.documents().empty());
    }
    const TemporaryFile file(numberedLines(900), "a.log");
    const QByteArray url = absoluteString(file.url()).toUtf8();
    restore(R"({"documents":[{"url":")" + url + R"(","topLine":300}],"current":")" + url + R"("})");
    ASSERT_TRUE(pageOf(file));
    EXPECT_TRUE(untilTop(file, 299));
}

TEST_F(SessionTest, RecentFilesAreTheLastTenTheNewestFirst) {
    QList<QUrl> files;
    for (int i = 1; i <= 12; ++i)
        files.append(fileUrlFromPath("/logs/" + QByteArray::number(i)));
    RecentFiles::add(files);
    RecentFiles::add(fileUrlFromPath("/logs/7"));
    QString expected;
    for (const int number : {7, 12, 11, 10, 9, 8, 6, 5, 4, 3})
        expected += u"file:///logs/%1 "_s.arg(number);
    EXPECT_EQ(RecentFiles::urls().join(u' ') + u' ', expected);
}

TEST_F(SessionTest, TheWelcomeReturnsAfterTheLastFileAndNamesMissingOnes) {
    const TemporaryFile file("x\n", "a.log");
    const TemporaryFile missing("y\n", "b.log");
    RecentFiles::add(missing.url());
    missing.remove();
    windows_.showFirstWindow();
    ASSERT_TRUE(topLevel<WelcomeWindow>());
    open(file);
    EXPECT_FALSE(topLevel<WelcomeWindow>());
    documents_.closeDocument(documents_.documentForUrl(file.url()));
    ASSERT_TRUE(topLevel<WelcomeWindow>());
    auto* list = topLevel<WelcomeWindow>()->findChild<QListWidget*>();
    ASSERT_EQ(list->count(), 2);
    EXPECT_EQ(list->item(0)->text(), u"a.log"_s);
    EXPECT_TRUE(until([&] { return list->item(1)->data(FileListDelegate::isMissingRole).toBool(); }));
    EXPECT_FALSE(list->item(0)->data(FileListDelegate::isMissingRole).toBool());

    QMimeData data;
    data.setUrls({file.url(), QUrl(u"https://example.org/x"_s)});
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(topLevel<WelcomeWindow>(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(topLevel<WelcomeWindow>(), &drop);
    EXPECT_TRUE(documents_.documentForUrl(file.url()));
    EXPECT_EQ(documents_.documents().size(), 1U);
}

} // namespace
} // namespace korvane::test
