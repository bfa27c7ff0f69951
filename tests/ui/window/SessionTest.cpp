#include "ui/AppFixture.h"

#include "core/NotificationNames.h"
#include "documents/RecentFiles.h"
#include "foundation/FilePath.h"
#include "ui/widgets/FileListDelegate.h"
#include "ui/window/Session.h"
#include "ui/window/WelcomeWindow.h"

#include <QDir>
#include <QDropEvent>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QTabWidget>

#include <unistd.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::numberedLines;
using test::TemporaryFile;

class SessionTest : public test::AppFixture {
protected:
    SessionTest() { windows_.setKeepsState(); }

    static WelcomeWindow* welcome() {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* window = qobject_cast<WelcomeWindow*>(widget); window && window->isVisible())
                return window;
        }
        return nullptr;
    }
    MainWindowController* pageOf(const TemporaryFile& file) {
        const auto document = documents_.documentForUrl(file.url());
        return document ? windows_.pageOf(*document) : nullptr;
    }
};

TEST_F(SessionTest, OpenFilesComeBackWithTheirPlacesAndTheOneInFront) {
    const TemporaryFile files[] = {TemporaryFile(numberedLines(12000), "a.log"),
                                   TemporaryFile(numberedLines(900), "b.log"),
                                   TemporaryFile("gone\n", "c.log")};
    for (const TemporaryFile& file : files)
        open(file);
    pageOf(files[0])->logView().tableView().setTopRow(7000);
    pageOf(files[1])->logView().tableView().scrollToEnd();
    qobject_cast<MainWindow*>(pageOf(files[0])->window())->raisePage(pageOf(files[0]));
    windows_.quit();
    EXPECT_TRUE(documents_.documents().empty());
    ASSERT_EQ(::unlink(files[2].path().constData()), 0);

    windows_.restoreSession();
    windows_.showFirstWindow();
    EXPECT_EQ(documents_.documents().size(), 2U);
    EXPECT_TRUE(alerts_.alerts.empty());
    auto* window = qobject_cast<MainWindow*>(pageOf(files[0])->window());
    EXPECT_EQ(window->currentPage(), pageOf(files[0]));
    ASSERT_TRUE(until([&] { return !pageOf(files[0])->isLoading() && !pageOf(files[1])->isLoading(); }));
    EXPECT_TRUE(until([&] { return pageOf(files[0])->logView().tableView().firstVisibleRow() == 7000; }));
    EXPECT_TRUE(until([&] {
        return pageOf(files[1])->logView().tableView().isAtEnd() &&
               pageOf(files[1])->logView().tableView().rowCount() == 900;
    }));
    const auto labels = pageOf(files[0])->findChildren<QLabel*>();
    EXPECT_TRUE(std::any_of(labels.begin(), labels.end(), [](const QLabel* label) {
        return label->text() == u"No longer there: c.log"_s;
    }));
}

TEST_F(SessionTest, TheSessionIsKeptWhenTheLastWindowIsClosedButNotFilesClosedBefore) {
    const TemporaryFile files[] = {TemporaryFile("a\n", "a.log"), TemporaryFile("b\n", "b.log")};
    open(files[0]);
    open(files[1]);
    documents_.closeDocument(documents_.documentForUrl(files[1].url()));
    pageOf(files[0])->window()->close();
    const Session session = Session::load();
    ASSERT_EQ(session.entries.size(), 1U);
    EXPECT_EQ(session.entries.front().url, absoluteString(files[0].url()));
    ASSERT_TRUE(welcome());
    windows_.quit();
    EXPECT_EQ(Session::load(), session) << "quit from the welcome window";
}

TEST_F(SessionTest, WhatCannotBeToldWithoutAPageIsToldOnTheFirst) {
    const TemporaryFile files[] = {TemporaryFile("a\n", "a.log"), TemporaryFile("b\n", "b.log")};
    open(files[0]);
    windows_.quit();
    ASSERT_EQ(::unlink(files[0].path().constData()), 0);
    windows_.restoreSession();
    windows_.showFirstWindow();
    // A directory in the file's place cannot be written over.
    ASSERT_TRUE(QDir(settings_.path()).mkpath(u"bookmarks.data/taken"_s));
    FileBasedBookmarksManager::shared().save();
    NotificationCenter::shared().post(notification::remoteHostGroupChanged);
    MainWindowController* page = open(files[1]);
    const auto says = [page](const QString& text) {
        const auto labels = page->findChildren<QLabel*>();
        return std::any_of(labels.begin(), labels.end(),
                           [&](const QLabel* label) { return label->text().contains(text); });
    };
    EXPECT_TRUE(until([&] { return says(u"bookmarks.data"_s); })) << "the newer of the two stays";
    page->showUserUpdate(u"something else"_s);
    NotificationCenter::shared().post(notification::lineMarksDeleted);
    EXPECT_FALSE(says(u"bookmarks.data"_s)) << "told once";

    ASSERT_TRUE(QDir(settings_.path()).mkpath(u"groups.data/taken"_s));
    ServerGroupsManager::shared().save();
    NotificationCenter::shared().post(notification::lineMarksDeleted);
    EXPECT_TRUE(says(u"groups.data"_s)) << "a further one is told, too";
}

TEST_F(SessionTest, AStoredSessionThatMakesNoSenseOpensNothing) {
    for (const QByteArray& stored :
         {QByteArray("no json"), QByteArray("[]"),
          QByteArray(R"({"documents":[3,{"url":5},{"topLine":1}],"current":7})")}) {
        Preferences::shared().userDefaults().set(u"session"_s, stored);
        windows_.restoreSession();
        EXPECT_TRUE(documents_.documents().empty());
    }
}

TEST_F(SessionTest, RecentFilesAreTheLastTenTheNewestFirst) {
    for (int i = 1; i <= 12; ++i)
        RecentFiles::add(fileUrlFromPath("/logs/" + QByteArray::number(i)));
    RecentFiles::add(fileUrlFromPath("/logs/7"));
    const QStringList urls = RecentFiles::urls();
    ASSERT_EQ(urls.size(), 10);
    EXPECT_EQ(urls.first(), u"file:///logs/7"_s);
    EXPECT_EQ(urls.at(1), u"file:///logs/12"_s);
    EXPECT_EQ(urls.last(), u"file:///logs/3"_s);
}

TEST_F(SessionTest, TheWelcomeReturnsAfterTheLastFileAndNamesMissingOnes) {
    const TemporaryFile file("x\n", "a.log");
    const TemporaryFile missing("y\n", "b.log");
    RecentFiles::add(missing.url());
    ASSERT_EQ(::unlink(missing.path().constData()), 0);
    windows_.showFirstWindow();
    ASSERT_TRUE(welcome());
    open(file);
    EXPECT_FALSE(welcome());
    documents_.closeDocument(documents_.documentForUrl(file.url()));
    ASSERT_TRUE(welcome());
    auto* list = welcome()->findChild<QListWidget*>();
    ASSERT_EQ(list->count(), 2);
    EXPECT_EQ(list->item(0)->text(), u"a.log"_s);
    EXPECT_TRUE(until([&] { return list->item(1)->data(FileListDelegate::isMissingRole).toBool(); }));
    EXPECT_FALSE(list->item(0)->data(FileListDelegate::isMissingRole).toBool());

    QMimeData data;
    data.setUrls({file.url(), QUrl(u"https://example.org/x"_s)});
    QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(welcome(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(welcome(), &drop);
    EXPECT_TRUE(documents_.documentForUrl(file.url()));
    EXPECT_EQ(documents_.documents().size(), 1U);
}

} // namespace
} // namespace korvane
