#include "ui/AppFixture.h"

namespace korvane::test {
namespace {

class FollowingInWindowTest : public AppFixture {
protected:
    static QPushButton* markOf(MainWindowController& page) {
        return page.logView().tableView().findChild<QPushButton*>(u"newLines"_s);
    }
    static bool growsTo(MainWindowController& page, qint64 rows) {
        return until([&] { return page.logView().tableView().rowCount() == rows; });
    }
};

TEST_F(FollowingInWindowTest, ScrollingUpPausesAndAMarkCountsWhatArrives) {
    const TemporaryFile file(numberedLines(500));
    MainWindowController* page = openFollowed(file);
    LogTableView& table = tableOf(page);
    table.scroller().scrollToEnd();
    file.append("\nline 501");
    ASSERT_TRUE(growsTo(*page, 501));
    EXPECT_TRUE(table.scroller().isAtEnd());
    EXPECT_TRUE(until([&] { return textOfRow(*page, 500) == u"line 501"_s; }));
    EXPECT_EQ(textOfRow(*page, 499), u"line 500"_s) << "it has been ended since";
    EXPECT_TRUE(markOf(*page)->isHidden());

    table.scroller().setTopRow(100);
    file.append("\nline 502\nline 503");
    ASSERT_TRUE(growsTo(*page, 503));
    EXPECT_EQ(table.scroller().firstVisibleRow(), 100);
    EXPECT_FALSE(markOf(*page)->isHidden());
    EXPECT_EQ(markOf(*page)->text(), u"2 new lines"_s);
    markOf(*page)->click();
    EXPECT_TRUE(table.scroller().isAtEnd());
    EXPECT_TRUE(markOf(*page)->isHidden());
    file.append("\nline 504");
    ASSERT_TRUE(growsTo(*page, 504));
    EXPECT_TRUE(table.scroller().isAtEnd());
}

TEST_F(FollowingInWindowTest, AFileThatIsReadIsShownFromItsFirstLineAndNothingOfItIsNew) {
    Preferences::shared().setPollingInterval(0.1);
    for (int i = 0; i < 20; ++i) {
        const TemporaryFile file(numberedLines(500 + i * 997));
        const auto document = documents_.openDocument(file.url());
        MainWindowController* page = windows_.pageOf(*document);
        bool wasNew = false;
        ASSERT_TRUE(until([&] {
            wasNew = wasNew || !markOf(*page)->isHidden();
            return page->isTailing() && !page->isLoading() && isShown(*page);
        }));
        EXPECT_FALSE(wasNew);
        EXPECT_EQ(tableOf(page).scroller().firstVisibleRow(), 0);
        documents_.closeDocument(document);
    }
}

TEST_F(FollowingInWindowTest, ReturningToTheBottomResumesOnlyIfThePreferenceSaysSo) {
    const TemporaryFile file(numberedLines(500));
    MainWindowController* page = openFollowed(file);
    LogTableView& table = tableOf(page);
    for (const bool resumes : {false, true}) {
        Preferences::shared().setAutoTailOnScroll(resumes);
        table.scroller().setTopRow(100);
        table.scroller().scrollToEnd();
        const qint64 rows = table.rowCount();
        file.append("\nmore");
        ASSERT_TRUE(growsTo(*page, rows + 1));
        EXPECT_EQ(table.scroller().isAtEnd(), resumes);
        EXPECT_EQ(markOf(*page)->isHidden(), resumes);
    }
}

TEST_F(FollowingInWindowTest, TheTailingItemStopsAndStartsAndSaysWhatItWillDo) {
    const TemporaryFile file(numberedLines(500));
    MainWindowController* page = openFollowed(file);
    ASSERT_TRUE(until([&] { return actionTexts(page).contains(u"Stop Tailing"_s); }));
    QAction* tail = action(page, u"Stop Tailing"_s);
    EXPECT_TRUE(until([&] { return saysBeginning(page, u"Polling (0.1s)"_s); }));
    Preferences::shared().setPollingInterval(0.25);
    EXPECT_TRUE(saysBeginning(page, u"Polling (0.25s)"_s));
    tail->trigger();
    ASSERT_TRUE(until([&] { return tail->text() == u"Start Tailing"_s; }));
    EXPECT_TRUE(until([&] { return saysBeginning(page, u"Stopped"_s); }));
    EXPECT_FALSE(page->isTailing());
    file.append("\nline 501");
    tail->trigger();
    ASSERT_TRUE(until([&] { return page->isTailing(); }));
    ASSERT_TRUE(growsTo(*page, 501)) << "what came in between is shown too";
    EXPECT_TRUE(tableOf(page).scroller().isAtEnd());
}

TEST_F(FollowingInWindowTest, TheStripTellsOfDeletionReturnAndRotation) {
    const TemporaryFile file("old 1\nold 2\n");
    MainWindowController* page = openFollowed(file);
    file.moveAway();
    ASSERT_TRUE(until([&] { return saysBeginning(page, u"The file has been deleted"_s); }));
    QAction* tail = action(page, u"Stop Tailing"_s);
    tail->trigger();
    ASSERT_TRUE(until([&] { return !page->isTailing(); }));
    tail->trigger();
    ASSERT_TRUE(until([&] { return page->isTailing(); }));
    EXPECT_TRUE(until([&] { return saysBeginning(page, u"The file has been deleted"_s); }))
        << "also when following begins again";
    EXPECT_EQ(textOfRow(*page, 1), u"old 2"_s);
    file.append("new\n");
    ASSERT_TRUE(until([&] { return saysBeginning(page, u"Rotated at "_s); }));
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"new"_s; }));
}

TEST_F(FollowingInWindowTest, OtherContentHasNoSelectionAndCountsItsOwnLinesAsNew) {
    Preferences::shared().setAutoTailOnScroll(false);
    const TemporaryFile file(numberedLines(300));
    MainWindowController* page = openFollowed(file);
    LogTableView& table = tableOf(page);
    table.selection().selectRow(7);
    file.truncate(0);
    file.append(QByteArray("another\n").repeated(200));
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"another"_s && table.rowCount() == 201; }));
    EXPECT_TRUE(table.selection().rows().isEmpty()) << "it would be that of another line";
    EXPECT_EQ(markOf(*page)->text(), u"200 new lines"_s);
}

} // namespace
} // namespace korvane::test
