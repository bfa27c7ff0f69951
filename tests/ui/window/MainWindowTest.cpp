#include "ui/AppFixture.h"

#include "core/FileObserverProtocol.h"
#include "ui/page/NoticeStrip.h"
#include "ui/tabs/DocumentTab.h"
#include "ui/tabs/DocumentTabs.h"
#include "ui/tabs/OpenFilesList.h"
#include "ui/widgets/ProgressStrip.h"

namespace korvane::test {
namespace {

class MainWindowTest : public AppFixture {
protected:
    static QString noticeOf(const MainWindowController& page) {
        return page.findChild<NoticeStrip*>()->notice().text;
    }
};

TEST_F(MainWindowTest, DocumentsShareOneWindowAsTabsOrHaveTheirOwn) {
    windows_.showUserUpdate(u"to nobody"_s);
    MainWindowController* first = open("1\n", "a.log");
    MainWindowController* second = open("2\n", "a.log");
    EXPECT_EQ(windowOf(first), windowOf(second));
    EXPECT_EQ(windowOf(first)->currentPage(), second);
    const auto& tabs = windowOf(first)->tabs();
    EXPECT_NE(tabs.tabText(0), tabs.tabText(1)) << "files of one name tell themselves apart";
    windows_.showUserUpdate(u"hear, hear"_s);
    EXPECT_TRUE(says(second, u"hear, hear"_s)) << "a message of the program stands in the page in front";
    EXPECT_FALSE(says(first, u"hear, hear"_s));
    Preferences::shared().setUseTabs(false);
    MainWindowController* third = open("3\n", "b&c.log");
    EXPECT_NE(windowOf(third), windowOf(first));
    EXPECT_TRUE(windowOf(third)->windowTitle().startsWith(u"b&c.log"_s));
}

TEST_F(MainWindowTest, FilesBehindLoadAndFollowBeforeTheirPagesAreMade) {
    const TemporaryFile files[] = {TemporaryFile(numberedLines(300) + '\n', "a.log"),
                                   TemporaryFile("2\n", "b.log"), TemporaryFile("3\n", "c.log")};
    int announced = 0;
    const auto subscription = documents_.documentLoaded().subscribe([&](const auto&) { ++announced; });
    {
        const DocumentBatch batch(documents_, 3);
        for (const TemporaryFile& file : files)
            documents_.openDocument(file.url());
    }
    EXPECT_EQ(announced, 3);
    const auto behind = documents_.documentForUrl(files[0].url());
    DocumentTab* tab = windows_.tabOf(*behind);
    MainWindow* window = qobject_cast<MainWindow*>(tab->window());
    EXPECT_EQ(window->currentPage()->document(), documents_.documentForUrl(files[2].url()));
    ASSERT_TRUE(until([&] { return behind->dataSource()->numberOfRows() == 301; }));
    ASSERT_TRUE(until([&] { return behind->logFileObserver()->isTailing(); }));
    files[0].append("more\nand more\n");
    ASSERT_TRUE(until([&] { return tab->unseenLines() == 2; }));
    EXPECT_TRUE(window->tabs().tabToolTip(0).endsWith(u"2 new lines"_s));
    const auto* bar = window->findChild<QTabWidget*>(u"documents"_s);
    EXPECT_FALSE(bar->tabIcon(0).isNull());
    MainWindowController* front = window->currentPage();
    files[2].append("4\n");
    ASSERT_TRUE(until([&] { return tableOf(front).rowCount() == 3; }));
    EXPECT_TRUE(bar->tabIcon(2).isNull()) << "what is in front is seen";
    EXPECT_FALSE(tab->page() || windows_.tabOf(*documents_.documentForUrl(files[1].url()))->page());

    documents_.openDocument(files[0].url(), 250);
    EXPECT_EQ(documents_.documents().size(), 3U);
    EXPECT_EQ(window->currentPage(), tab->page());
    EXPECT_EQ(tab->unseenLines(), 0);
    EXPECT_TRUE(bar->tabIcon(0).isNull());
    EXPECT_TRUE(until([&] {
        return isShown(*tab->page()) && tab->page()->logView().tableView().selection().rows().contains(249);
    }));
}

TEST_F(MainWindowTest, TabsAreTurnedAndClosedByKeysFromTheSidebarAndByTheMiddleButton) {
    const TemporaryFile files[] = {TemporaryFile("1\n", "one.log"), TemporaryFile("2\n", "two.log"),
                                   TemporaryFile("3\n", "three.log")};
    for (const TemporaryFile& file : files)
        open(file);
    MainWindow* window = windowOf(windows_.pageOf(*documents_.documents().front()));
    auto& tabs = window->tabs();
    auto* sidebar = window->findChild<QTreeView*>();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window));
    for (const auto& [key, modifiers, index] : Rows<Qt::Key, Qt::KeyboardModifiers, int>{
             {Qt::Key_Tab, Qt::ControlModifier, 0},
             {Qt::Key_PageDown, Qt::ControlModifier, 1},
             {Qt::Key_PageUp, Qt::ControlModifier, 0},
             {Qt::Key_Backtab, Qt::ControlModifier | Qt::ShiftModifier, 2}}) {
        sidebar->setFocus();
        QTest::keyClick(sidebar, key, modifiers);
        EXPECT_EQ(tabs.currentIndex(), index) << key;
    }

    tabs.showList();
    auto* field = tabs.findChild<OpenFilesList*>()->findChild<QLineEdit*>();
    QTest::keyClicks(field, u"TWO"_s);
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(tabs.currentIndex(), 1);

    QTest::mouseClick(tabs.tabBar(), Qt::MiddleButton, {}, tabs.tabBar()->tabRect(0).center());
    EXPECT_FALSE(documents_.documentForUrl(files[0].url()));
    EXPECT_EQ(window->currentPage()->document(), documents_.documentForUrl(files[1].url()));
}

TEST_F(MainWindowTest, AFileWaitedForOpensWhereItIsWaitedFor) {
    const TemporaryFile file("x\n", "late.log");
    file.remove();
    alerts_.nextAnswer = 0;
    EXPECT_FALSE(documents_.openDocument(file.url(), 2));
    auto* window = topLevel<MainWindow>();
    ASSERT_TRUE(window);
    ASSERT_EQ(window->tabs().count(), 1);
    EXPECT_EQ(window->currentPage(), nullptr);
    file.append("one\ntwo\n");
    ASSERT_TRUE(until([&] { return window->currentPage() && isShown(*window->currentPage()); }));
    EXPECT_TRUE(
        until([&] { return window->currentPage()->logView().tableView().selection().rows().contains(1); }));
}

TEST_F(MainWindowTest, WithoutAWelcomeTheLastTabLeavesAWindowToOpenAnotherFileIn) {
    Preferences::shared().setShowWelcomeWinOnStart(false);
    const TemporaryFile file("1\n");
    MainWindowController* page = open(file);
    MainWindow* window = windowOf(page);
    documents_.closeDocument(page->document());
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->currentPage(), nullptr);
    EXPECT_EQ(windowOf(open(file)), window);
}

TEST_F(MainWindowTest, WhatCannotBeOpenedIsNamedWithItsReason) {
    const TemporaryFile file("x\n");
    for (const auto& [path, reason] :
         Rows<QByteArray, QString>{{file.directory() + "/missing.log", u"does not exist"_s},
                                   {file.directory(), u"folder"_s},
                                   {"/dev/null", u"device"_s}}) {
        alerts_.nextAnswer = 1;
        EXPECT_FALSE(documents_.openDocument(fileUrlFromPath(path)));
        const QString text = alerts_.texts().value(alerts_.texts().size() - 1);
        EXPECT_TRUE(text.contains(reason) && text.contains(QString::fromLocal8Bit(path))) << qPrintable(text);
    }
    EXPECT_EQ(alerts_.alerts.size(), 3U);
}

TEST_F(MainWindowTest, TheFooterTellsNameLinesAndSize) {
    MainWindowController* page = open(numberedLines(12345), "many.log");
    ASSERT_TRUE(until([&] { return labelsOf(page).contains(QLocale().toString(12345)); }));
    EXPECT_TRUE(labelsOf(page).contains(u"many.log"_s));
    EXPECT_TRUE(until([&] { return labelsOf(page).contains(u"Unicode (UTF-8)"_s); }));
    EXPECT_TRUE(labelsOf(page).contains(u"KiB"_s)) << qPrintable(labelsOf(page));
}

TEST_F(MainWindowTest, AFileCutShortOrTakenAwayWhileNotFollowedKeepsItsRowsUntilItIsReloaded) {
    Preferences::shared().setStartTailingOnFileOpen(false);
    const TemporaryFile file(numberedLines(50));
    MainWindowController* page = open(file);
    file.truncate(10);
    // Also when the page is read again from the remaining bytes.
    page->document()->dataSource()->linesChanged(0);
    tableOf(page).rowsChanged();
    ASSERT_TRUE(until([&] { return noticeOf(*page).contains(u"cut short"_s); }));
    EXPECT_EQ(tableOf(page).rowCount(), 50);
    EXPECT_EQ(textOfRow(*page, 49), u"line 50"_s);
    page->findChild<NoticeStrip*>()->findChild<QPushButton*>()->click();
    EXPECT_TRUE(until([&] { return tableOf(page).rowCount() == 2 && isShown(*page); }));
    EXPECT_EQ(noticeOf(*page), QString());
    file.remove();
    ASSERT_TRUE(until([&] { return noticeOf(*page).contains(u"removed"_s); }));
    EXPECT_EQ(textOfRow(*page, 0), u"line 1"_s);
}

TEST_F(MainWindowTest, GivingUpALoadClosesItsDocument) {
    MainWindowController* page = open(numberedLines(100));
    const auto document = page->document();
    auto* strip = page->findChild<ProgressStrip*>();
    strip->showProgress(u"Loading file [test.log]"_s, 10);
    QTest::mouseClick(strip->findChild<QPushButton*>(), Qt::LeftButton);
    EXPECT_TRUE(until([&] { return documents_.documents().empty(); }));
    EXPECT_TRUE(document->isClosed());
}

TEST_F(MainWindowTest, ABrokenLoadLeavesTheProgramResponsive) {
    // Closed repeatedly while the scan is under way.
    const TemporaryFile file(numberedLines(2'000'000));
    for (int i = 0; i < 20; ++i) {
        const auto document = documents_.openDocument(file.url());
        ASSERT_TRUE(document);
        QTest::qWait(i % 4);
        documents_.closeDocument(document);
    }
    EXPECT_TRUE(documents_.documents().empty());
    EXPECT_EQ(textOfRow(*open(file), 0), u"line 1"_s);
}

} // namespace
} // namespace korvane::test
