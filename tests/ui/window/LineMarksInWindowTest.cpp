#include "ui/AppFixture.h"

#include "ui/page/LineMarker.h"
#include "ui/window/BookmarksOutlineViewController.h"
#include "ui/window/LineMarksViewController.h"
#include "ui/window/SidebarTabViewController.h"

namespace korvane::test {
namespace {

class LineMarksInWindowTest : public AppFixture {
protected:
    static void clickMarks(MainWindowController* page, std::initializer_list<qint64> rows) {
        for (const qint64 row : rows) {
            const auto y = static_cast<int>(tableOf(page).rowRect(row).value().center().y());
            QTest::mouseClick(tableOf(page).viewport(), Qt::LeftButton, {}, QPoint(6, y));
        }
    }
    template <typename Part>
    static QTreeView* treeOf(MainWindowController* page) {
        return page->window()->findChild<Part*>()->template findChild<QTreeView*>();
    }
    static QTreeView* marksOf(MainWindowController* page) { return treeOf<LineMarksViewController>(page); }
    /// "line number text" of each row in the list of marks.
    static QStringList listed(MainWindowController* page) {
        const auto* model = marksOf(page)->model();
        QStringList lines = textsOf(*model);
        for (int row = 0; row < lines.size(); ++row)
            lines[row] += u' ' + model->index(row, 1).data().toString();
        return lines;
    }
};

TEST_F(LineMarksInWindowTest, ALineThatIsNotLoadedIsReadBeforeItIsMarked) {
    MainWindowController* page = open(numberedLines(40000));
    LogTableView& table = tableOf(page);
    table.selection().selectRow(30000);
    page->logView().toggleLineMarkMenuAction();
    EXPECT_TRUE(until([&] { return listed(page) == QStringList{u"30001 line 30001"_s}; }));

    // Marking many lines at once is one change, whether they are on the screen or must be read.
    int changes = 0;
    const auto subscription =
        FileBasedBookmarksManager::shared().notices().lineMarksChanged.subscribe([&] { ++changes; });
    table.selection().selectRow(29'500);
    table.selection().selectRowsTo(30'400);
    page->logView().toggleLineMarkMenuAction();
    ASSERT_TRUE(until([&] { return listed(page).size() == 901; }));
    EXPECT_EQ(listed(page).first(), u"29501 line 29501"_s);
    EXPECT_EQ(listed(page).last(), u"30401 line 30401"_s);
    EXPECT_LE(changes, 2);
    page->logView().toggleLineMarkMenuAction();
    EXPECT_TRUE(listed(page).isEmpty());
    EXPECT_LE(changes, 3);
}

TEST_F(LineMarksInWindowTest, KeysGoFromMarkToMarkRoundTheEnds) {
    const TemporaryFile file(numberedLines(300));
    MainWindowController* page = open(file);
    LogViewController& logView = page->logView();
    logView.lineMarker().goToNext();
    EXPECT_EQ(logView.tableView().selection().currentRow(), -1);
    clickMarks(page, {2, 5, 9});
    logView.tableView().selection().selectRow(5);
    std::vector<qint64> visited;
    const auto go = [&](void (LineMarker::*step)()) {
        (logView.lineMarker().*step)();
        visited.push_back(logView.tableView().selection().currentRow());
    };
    go(&LineMarker::goToNext);
    go(&LineMarker::goToNext);
    go(&LineMarker::goToPrevious);
    go(&LineMarker::goToPrevious);
    EXPECT_EQ(visited, (std::vector<qint64>{9, 2, 9, 5}));

    // Marks outside the view are skipped.
    FileBasedBookmarksManager::shared().addLineMark(absoluteString(file.url()), 4000, u"gone"_s);
    logView.clearView();
    logView.tableView().selection().selectRow(0);
    go(&LineMarker::goToNext);
    EXPECT_EQ(visited.back(), 0);
    logView.showAllLines();
    logView.tableView().selection().selectRow(9);
    go(&LineMarker::goToNext);
    EXPECT_EQ(visited.back(), 2);
    QString said;
    QObject::connect(&logView, &LogViewController::userMessage, page,
                     [&](const QString& text) { said = text; });
    logView.goToLine(4001);
    EXPECT_EQ(said, u"There is no line 4,001: the file has 300 lines"_s);
}

TEST_F(LineMarksInWindowTest, AJumpAndADeletionActOnThePageOfTheList) {
    MainWindowController* other = open(numberedLines(300), "a.log");
    MainWindowController* page = open(numberedLines(300), "b.log");
    clickMarks(page, {2, 5, 9});
    QTreeView* marks = marksOf(page);
    marks->setCurrentIndex(marks->model()->index(2, 0));
    QTest::keyClick(marks, Qt::Key_Return);
    EXPECT_EQ(tableOf(page).selection().currentRow(), 9);
    EXPECT_EQ(other->logView().tableView().selection().currentRow(), -1);

    std::vector<std::vector<qint64>> deleted;
    const auto subscription = FileBasedBookmarksManager::shared().notices().lineMarksDeleted.subscribe(
        [&](const std::vector<qint64>& lines) { deleted.push_back(lines); });
    marks->selectAll();
    marks->selectionModel()->select(marks->model()->index(1, 0),
                                    QItemSelectionModel::Deselect | QItemSelectionModel::Rows);
    QTest::keyClick(marks, Qt::Key_Delete);
    EXPECT_EQ(deleted, (std::vector<std::vector<qint64>>{{2, 9}}));
    EXPECT_EQ(listed(page), QStringList{u"6 line 6"_s});
    EXPECT_FALSE(page->document()->dataSource()->hasLineMark(2));
    windowOf(page)->raisePage(other);
    EXPECT_TRUE(listed(other).isEmpty()) << "each file has its own list";
}

TEST_F(LineMarksInWindowTest, AClickMarksALineAndASearchTextAndAHeaderRuleWhatTheListShows) {
    MainWindowController* page = open("gamma\nalpha\nbeta\n");
    EXPECT_TRUE(marksOf(page)->isHidden()) << "the message stands in its place";
    clickMarks(page, {1, 0});
    EXPECT_EQ(listed(page), (QStringList{u"1 gamma"_s, u"2 alpha"_s}));
    EXPECT_FALSE(marksOf(page)->isHidden());
    clickMarks(page, {1});
    EXPECT_EQ(listed(page), QStringList{u"1 gamma"_s});
    clickMarks(page, {1, 2});
    marksOf(page)->sortByColumn(LineMarksModel::LineColumn, Qt::AscendingOrder);
    EXPECT_EQ(listed(page), (QStringList{u"2 alpha"_s, u"3 beta"_s, u"1 gamma"_s}));
    auto* search = page->window()->findChild<LineMarksViewController*>()->findChild<QLineEdit*>();
    search->setText(u"GAM"_s);
    EXPECT_EQ(listed(page), QStringList{u"1 gamma"_s});
    search->setText(u"delta"_s);
    EXPECT_TRUE(marksOf(page)->isHidden()) << "the message that nothing matches stands in its place";
    search->clear();
    EXPECT_EQ(listed(page).size(), 3);
}

TEST_F(LineMarksInWindowTest, KeysInTheListActOnTheListAndLeaveItForTheLines) {
    MainWindowController* page = open(numberedLines(300));
    clickMarks(page, {2, 5, 9});
    ASSERT_TRUE(isInFront(page->window()));
    page->window()->findChild<SidebarTabViewController*>()->setCurrentIndex(1);
    QTreeView* marks = marksOf(page);
    marks->setFocus();
    marks->setCurrentIndex(marks->model()->index(1, 0));
    clickMarks(page, {7});
    marks->setFocus();
    QTest::keyClick(marks, Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QApplication::clipboard()->text(), u"line 6"_s) << "another mark has taken nothing away";
    QTest::keyClick(marks, Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(marks->selectionModel()->selectedRows().size(), 4);
    EXPECT_TRUE(tableOf(page).selection().rows().isEmpty());
    int steps = 0;
    while (!tableOf(page).hasFocus() && ++steps < 20)
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    EXPECT_LT(steps, 20) << "the focus stays in the sidebar";
}

TEST_F(LineMarksInWindowTest, ABookmarkKeepsTheMarksAndIsRemovedOnlyWhenConfirmed) {
    const TemporaryFile file(numberedLines(300), "a.log");
    MainWindowController* page = open(file);
    clickMarks(page, {3});
    auto& store = FileBasedBookmarksManager::shared();
    const auto piped = documents_.openDocument(fileUrlFromPath("/proc/self/status"), std::nullopt, u"pipe"_s);
    windowOf(page)->bookmarkFile();
    EXPECT_EQ(store.bookmarkCount(), 0) << "a pipe's copy goes with its page";
    documents_.closeDocument(piped);
    windowOf(page)->bookmarkFile();
    ASSERT_EQ(store.bookmarkCount(), 1);
    EXPECT_EQ(store.bookmarks().front()->lines()->size(), 1U);
    QTreeView* outline = treeOf<BookmarksOutlineViewController>(page);
    const QModelIndex local = outline->model()->index(0, 0);
    ASSERT_EQ(outline->model()->rowCount(local), 1);
    EXPECT_TRUE(outline->isExpanded(local));
    documents_.closeDocument(page->document());
    page = open("other\n", "b.log");
    outline = treeOf<BookmarksOutlineViewController>(page);
    outline->setCurrentIndex(outline->model()->index(0, 0, outline->model()->index(0, 0)));
    QTest::keyClick(outline, Qt::Key_Return);
    EXPECT_TRUE(documents_.documentForUrl(file.url()));

    alerts_.nextAnswer = 1;
    QTest::keyClick(outline, Qt::Key_Delete);
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(alerts_.alerts.front().message, u"Delete local file bookmark?"_s);
    EXPECT_EQ(store.bookmarkCount(), 1);
    alerts_.nextAnswer = 0;
    QTest::keyClick(outline, Qt::Key_Delete);
    EXPECT_EQ(store.bookmarkCount(), 0);
    EXPECT_EQ(outline->model()->rowCount(outline->model()->index(0, 0)), 0);
}

TEST_F(LineMarksInWindowTest, TheSidebarIsShownAndHiddenAndItsWordsSayWhatComes) {
    MainWindowController* page = open("x\n");
    auto* sidebar = page->window()->findChild<SidebarTabViewController*>();
    QAction* toggle = action(page, u"Hide Sidebar"_s);
    EXPECT_TRUE(sidebar->isVisible());
    toggle->trigger();
    EXPECT_FALSE(sidebar->isVisible());
    EXPECT_EQ(plain(toggle->text()), u"Show Sidebar"_s);
}

} // namespace
} // namespace korvane::test
