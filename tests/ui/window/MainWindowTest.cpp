#include "ui/AppFixture.h"

#include "core/NotificationNames.h"
#include "foundation/notices/NotificationCenter.h"
#include "ui/page/NoticeStrip.h"
#include "ui/widgets/ProgressStrip.h"

#include <QLabel>
#include <QPushButton>
#include <QTabWidget>

#include <sys/stat.h>
#include <unistd.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::AppFixture;
using test::numberedLines;
using test::TemporaryFile;

class MainWindowTest : public AppFixture {
protected:
    static QString noticeOf(const MainWindowController& page) {
        return page.findChild<NoticeStrip*>()->notice().text;
    }
    static QString footerOf(MainWindowController& page) {
        QStringList texts;
        for (const auto* label : page.findChildren<QLabel*>())
            texts.append(label->text());
        return texts.join(u'|');
    }
    static MainWindow* windowOf(MainWindowController* page) {
        return qobject_cast<MainWindow*>(page->window());
    }
};

TEST_F(MainWindowTest, DocumentsShareOneWindowAsTabsOrHaveTheirOwn) {
    const TemporaryFile files[] = {TemporaryFile("1\n", "a.log"), TemporaryFile("2\n", "a.log"),
                                   TemporaryFile("3\n", "b&c.log")};
    MainWindowController* first = open(files[0]);
    MainWindowController* second = open(files[1]);
    EXPECT_EQ(windowOf(first), windowOf(second));
    EXPECT_EQ(windowOf(first)->currentPage(), second);
    auto* tabs = windowOf(first)->findChild<QTabWidget*>(QStringLiteral("documents"));
    EXPECT_NE(tabs->tabText(0), tabs->tabText(1)) << "files of one name tell themselves apart";
    Preferences::shared().setUseTabs(false);
    MainWindowController* third = open(files[2]);
    EXPECT_NE(windowOf(third), windowOf(first));
    EXPECT_TRUE(windowOf(third)->windowTitle().startsWith(u"b&c.log"_s));
}

TEST_F(MainWindowTest, AMessageOfTheProgramStandsInThePageInFront) {
    windows_.showUserUpdate(u"to nobody"_s);
    const TemporaryFile files[] = {TemporaryFile("1\n", "a.log"), TemporaryFile("2\n", "b.log")};
    MainWindowController* behind = open(files[0]);
    MainWindowController* front = open(files[1]);
    windows_.showUserUpdate(u"hear, hear"_s);
    EXPECT_TRUE(footerOf(*front).contains(u"hear, hear"_s));
    EXPECT_FALSE(footerOf(*behind).contains(u"hear, hear"_s));
}

TEST_F(MainWindowTest, OpeningAnOpenFileRaisesItsTab) {
    const TemporaryFile one("1\n", "one.log");
    const TemporaryFile other("2\n", "other.log");
    MainWindowController* page = open(one);
    open(other);
    int loaded = 0;
    const auto token = NotificationCenter::shared().observe(notification::documentLoaded,
                                                            [&](const Notification&) { ++loaded; });
    EXPECT_EQ(documents_.openDocument(one.url()), page->document());
    EXPECT_EQ(windowOf(page)->currentPage(), page);
    EXPECT_EQ(documents_.documents().size(), 2U);
    EXPECT_EQ(loaded, 0);
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
    struct Case {
        QByteArray path;
        QString reason;
    };
    const TemporaryFile file("x\n");
    const QByteArray directory = file.path().left(file.path().lastIndexOf('/'));
    for (const Case& c : {Case{directory + "/missing.log", u"does not exist"_s}, Case{directory, u"folder"_s},
                          Case{"/dev/null", u"device"_s}}) {
        EXPECT_FALSE(documents_.openDocument(fileUrlFromPath(c.path)));
        ASSERT_FALSE(alerts_.alerts.empty());
        const Alert& alert = alerts_.alerts.back();
        EXPECT_TRUE(alert.informativeText.contains(c.reason)) << qPrintable(alert.informativeText);
        EXPECT_TRUE((alert.message + alert.informativeText).contains(QString::fromLocal8Bit(c.path)));
    }
    EXPECT_EQ(alerts_.alerts.size(), 3U);
}

TEST_F(MainWindowTest, TheFooterTellsNameLinesAndSize) {
    const TemporaryFile file(numberedLines(12345), "many.log");
    MainWindowController* page = open(file);
    ASSERT_TRUE(until([&] { return footerOf(*page).contains(QLocale().toString(12345)); }));
    EXPECT_TRUE(footerOf(*page).contains(u"many.log"_s));
    EXPECT_TRUE(until([&] { return footerOf(*page).contains(u"Unicode (UTF-8)"_s); }));
    EXPECT_TRUE(footerOf(*page).contains(u"KiB"_s)) << qPrintable(footerOf(*page));
}

TEST_F(MainWindowTest, AFileTakenAwayWhileNotFollowedKeepsItsRowsAndTheStripSaysSo) {
    Preferences::shared().setStartTailingOnFileOpen(false);
    const TemporaryFile file(numberedLines(50));
    MainWindowController* page = open(file);
    ASSERT_EQ(::unlink(file.path().constData()), 0);
    ASSERT_TRUE(until([&] { return noticeOf(*page).contains(u"removed"_s); }));
    EXPECT_EQ(textOfRow(*page, 49), u"line 50"_s);
}

TEST_F(MainWindowTest, AFileCutShortWhileNotFollowedKeepsItsRowsUntilItIsReloaded) {
    Preferences::shared().setStartTailingOnFileOpen(false);
    const TemporaryFile file(numberedLines(50));
    MainWindowController* page = open(file);
    file.truncate(10);
    // Also when the page is read once more from what is left.
    page->document()->dataSource()->linesChanged(0);
    page->logView().tableView().rowsChanged();
    ASSERT_TRUE(until([&] { return noticeOf(*page).contains(u"cut short"_s); }));
    EXPECT_EQ(page->logView().tableView().rowCount(), 50);
    EXPECT_EQ(textOfRow(*page, 49), u"line 50"_s);
    page->findChild<NoticeStrip*>()->findChild<QPushButton*>()->click();
    EXPECT_TRUE(until([&] { return page->logView().tableView().rowCount() == 2; }));
    EXPECT_EQ(noticeOf(*page), QString());
}

TEST_F(MainWindowTest, NamesThatAreNoTextAreOpenedAndShown) {
    for (const QByteArray& name : {QByteArray("with blank & amp.log"), QByteArray("new\nline.log"),
                                   QByteArray("\xFF\xFE.log"), QByteArray("100%25 #1?.log")}) {
        const TemporaryFile file("content of it\n", name);
        MainWindowController* page = open(file);
        EXPECT_EQ(textOfRow(*page, 0), u"content of it"_s) << name.constData();
        EXPECT_FALSE(page->document()->displayName().contains(u'\n'));
        documents_.closeDocument(page->document());
    }
    EXPECT_TRUE(alerts_.alerts.empty());
}

TEST_F(MainWindowTest, GivingUpALoadClosesItsDocument) {
    const TemporaryFile file(numberedLines(100));
    MainWindowController* page = open(file);
    const auto document = page->document();
    auto* strip = page->findChild<ProgressStrip*>();
    strip->showProgress(u"Loading file [test.log]"_s, 10);
    QTest::mouseClick(strip->findChild<QPushButton*>(), Qt::LeftButton);
    EXPECT_TRUE(until([&] { return documents_.documents().empty(); }));
    EXPECT_TRUE(document->isClosed());
}

TEST_F(MainWindowTest, ABrokenLoadLeavesTheProgramResponsive) {
    // Closed while the scan is under way, many times over.
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
} // namespace korvane
