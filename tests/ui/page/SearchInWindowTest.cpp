#include "ui/AppFixture.h"

#include "ui/page/LogSearch.h"

#include <QLabel>
#include <QSignalSpy>

namespace korvane::test {
namespace {

class SearchInWindowTest : public AppFixture {
protected:
    inline static const QString noneForwards =
        u"No further match. Search again to go on from the first line"_s;

    static QLineEdit* fieldOf(MainWindowController* page) {
        return page->window()->findChild<QLineEdit*>(u"searchField"_s);
    }
    static void press(MainWindowController* page, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(fieldOf(page), key, modifiers);
    }
    /// One-based number of the line that is selected when the search has ended.
    static qint64 found(MainWindowController* page) {
        EXPECT_TRUE(until([&] { return !page->logView().search().isSearching(); }));
        return tableOf(page).selection().currentRow() + 1;
    }
    /// The line found after pressing this key, or triggering this menu entry.
    static qint64 after(MainWindowController* page, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        press(page, key, modifiers);
        return found(page);
    }
    static qint64 after(MainWindowController* page, const QString& entry) {
        action(page, entry)->trigger();
        return found(page);
    }
    static void type(MainWindowController* page, const QString& text) {
        fieldOf(page)->selectAll();
        QTest::keyClicks(fieldOf(page), text);
    }
};

TEST_F(SearchInWindowTest, EnterAndF3WalkForwardsAndWithShiftOneStepBack) {
    MainWindowController* page = open("alpha\nBeta one\nbeta two\ngamma\nBETA three\n");
    action(page, u"Find…"_s)->trigger();
    type(page, u"beta"_s);
    EXPECT_EQ(after(page, Qt::Key_Return), 2);
    EXPECT_EQ(after(page, u"Find Next"_s), 3);
    EXPECT_EQ(after(page, Qt::Key_Enter), 5);
    EXPECT_EQ(after(page, u"Find Previous"_s), 3);
    EXPECT_EQ(after(page, Qt::Key_Return, Qt::ShiftModifier), 2);
    EXPECT_FALSE(says(page, noneForwards));
    EXPECT_EQ(after(page, Qt::Key_Return), 3) << "the direction is still the same";
    press(page, Qt::Key_Return);
    EXPECT_EQ(after(page, Qt::Key_Return), 5);
    press(page, Qt::Key_Return);
    EXPECT_TRUE(until([&] { return says(page, noneForwards); }));
    EXPECT_EQ(found(page), 5);
    EXPECT_EQ(after(page, Qt::Key_Return, Qt::ShiftModifier), 3);
    EXPECT_FALSE(says(page, noneForwards)) << "it says so beside a match";
}

TEST_F(SearchInWindowTest, ItBeginsWhereTheUserStandsAndGoesRoundWhenAskedTwice) {
    MainWindowController* page = open("one\ntwo\none\nfour\none\nsix\n");
    page->logView().goToLine(3);
    type(page, u"one"_s);
    EXPECT_EQ(after(page, Qt::Key_Return), 3) << "the line that the user is in is searched too";
    EXPECT_EQ(after(page, Qt::Key_Return), 5);
    press(page, Qt::Key_Return);
    EXPECT_TRUE(until([&] { return says(page, noneForwards); }));
    EXPECT_EQ(after(page, Qt::Key_Return), 1);
    page->logView().goToLine(4);
    EXPECT_EQ(after(page, Qt::Key_Return), 5) << "from where the user has gone";
    page->logView().goToLine(4);
    EXPECT_EQ(after(page, Qt::Key_Return, Qt::ShiftModifier), 3);
    type(page, u"nowhere"_s);
    press(page, Qt::Key_Return);
    EXPECT_TRUE(until([&] { return says(page, noneForwards); }));
    press(page, Qt::Key_Return);
    EXPECT_TRUE(until([&] { return says(page, u"No match"_s); }));

    MainWindowController* longer = open(numberedLines(5000), "longer.log");
    longer->logView().goToLine(2);
    tableOf(longer).scroller().scrollRowToVisible(3000);
    type(longer, u"9"_s);
    EXPECT_GT(after(longer, Qt::Key_Return), 2900) << "the user looks at other lines than the current one";
}

TEST_F(SearchInWindowTest, SwitchesSayWhatTheTextMeansAndTheLinesAreCounted) {
    MainWindowController* page = open("error\nerrors\nERROR 5\nx.y\nerror\n");
    const auto* count = page->window()->findChild<QLabel*>(u"searchCount"_s);
    const auto counts = [&](const QString& text) { return until([&] { return count->text() == text; }); };
    type(page, u" error "_s);
    EXPECT_EQ(after(page, Qt::Key_Return), 1);
    EXPECT_TRUE(counts(u"1 of 4"_s)) << count->text().toStdString();
    action(page, u"Whole Words"_s)->trigger();
    EXPECT_TRUE(until([&] { return !count->isVisible(); })) << "the count belongs to another search";
    EXPECT_EQ(after(page, Qt::Key_Return), 1);
    EXPECT_EQ(after(page, Qt::Key_Return), 3);
    EXPECT_TRUE(counts(u"2 of 3"_s)) << count->text().toStdString();
    action(page, u"Match Case"_s)->trigger();
    EXPECT_EQ(after(page, Qt::Key_Return), 5);
    EXPECT_TRUE(counts(u"2 of 2"_s)) << count->text().toStdString();
    action(page, u"Regular Expression"_s)->trigger();
    type(page, u"x[.]y|e.*[0-9]"_s);
    EXPECT_EQ(after(page, Qt::Key_Return, Qt::ShiftModifier), 4);
    EXPECT_TRUE(counts(u"1 of 1"_s)) << count->text().toStdString();
    const QSignalSpy failures(&page->logView().search(), &LogSearch::searchFailed);
    type(page, u"x["_s);
    press(page, Qt::Key_Return);
    ASSERT_EQ(failures.size(), 1);
    EXPECT_TRUE(failures[0][0].toString().startsWith(u"This is no pattern: "_s));
    const auto row = page->document()->dataSource()->cachedRowLine(3).value();
    EXPECT_EQ(row.line.attributesAt(0)->foreground, QColor(Qt::red)) << "the last valid search stays";
    action(page, u"Regular Expression"_s)->trigger();
    type(page, u"  "_s);
    press(page, Qt::Key_Return);
    EXPECT_TRUE(says(page, u"No match"_s));
}

TEST_F(SearchInWindowTest, TheMatchIsBroughtIntoViewAlsoSidewaysAndPainted) {
    MainWindowController* page = open(numberedLines(12000) + "\n" + QByteArray(3000, '.') + " needle\n");
    LogTableView& table = tableOf(page);
    type(page, u"NEEDLE"_s);
    EXPECT_EQ(after(page, Qt::Key_Return), 12001);
    ASSERT_TRUE(until([&] { return isShown(*page) && table.horizontalScrollBar()->value() > 0; }));
    ASSERT_TRUE(table.rowRect(12000));
    const auto row = page->document()->dataSource()->cachedRowLine(12000).value();
    ASSERT_TRUE(row.line.attributesAt(3001));
    EXPECT_EQ(row.line.attributesAt(3001)->background, QColor(Qt::yellow));
}

TEST_F(SearchInWindowTest, TheArrowsChangeTheDirectionOfTheirOwnPageOnly) {
    MainWindowController* first = open("x\ny\nx\n", "a.log");
    MainWindowController* second = open("x\nx\n", "b.log");
    MainWindow* window = windowOf(first);
    window->raisePage(first);
    type(first, u"x"_s);
    named<QToolButton>(first->window(), u"Search backwards"_s)->click();
    EXPECT_EQ(found(first), 3);
    EXPECT_EQ(after(first, Qt::Key_Return), 1);
    window->raisePage(second);
    EXPECT_EQ(fieldOf(second)->text(), QString()) << "each page has its own text";
    EXPECT_TRUE(named<QToolButton>(second->window(), u"Search forwards"_s)->isChecked());
    EXPECT_TRUE(second->logView().search().searchesForward());
    window->raisePage(first);
    EXPECT_EQ(fieldOf(first)->text(), u"x"_s);
    EXPECT_TRUE(named<QToolButton>(first->window(), u"Search backwards"_s)->isChecked());
}

TEST_F(SearchInWindowTest, EscapeLeavesTheFieldAndAnEmptyFieldTakesTheMatchesAway) {
    MainWindowController* page = open("one\ntwo\none\n");
    for (const Qt::Key leaving : {Qt::Key_Escape, Qt::Key_Down}) {
        action(page, u"Find…"_s)->trigger();
        ASSERT_EQ(page->window()->focusWidget(), fieldOf(page));
        type(page, u"one"_s);
        EXPECT_EQ(after(page, Qt::Key_Return), 1);
        press(page, leaving);
        EXPECT_EQ(page->window()->focusWidget(), &tableOf(page)) << leaving;
        page->logView().search().forgetMatches();
    }
    EXPECT_EQ(after(page, u"Find Next"_s), 1);
    EXPECT_EQ(page->document()->dataSource()->lastSearchResults().size(), 1U);
    EXPECT_EQ(after(page, u"Find Next"_s), 3) << "leaving the field forgets no place";
    fieldOf(page)->clear();
    EXPECT_TRUE(page->document()->dataSource()->lastSearchResults().empty());
}

TEST_F(SearchInWindowTest, OtherContentAndAClearedViewBeginTheSearchAnew) {
    const TemporaryFile file("one\ntwo\none\nfour");
    MainWindowController* page = openFollowed(file);
    type(page, u"one"_s);
    ASSERT_EQ(after(page, Qt::Key_Return), 1);
    action(page, u"Clear View"_s)->trigger();
    EXPECT_EQ(tableOf(page).rowCount(), 1);
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"four"_s; }));
    EXPECT_TRUE(page->document()->dataSource()->lastSearchResults().empty());
    action(page, u"Show Cleared Lines"_s)->trigger();
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"one"_s; }));
    EXPECT_EQ(after(page, Qt::Key_Return), 1);
    file.overwrite("three\none\n");
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"three"_s; }));
    EXPECT_EQ(after(page, Qt::Key_Return), 2);
}

TEST_F(SearchInWindowTest, ALongSearchShowsThatItIsUnderWayAndCanBeStopped) {
    MainWindowController* page = open(numberedLines(10));
    auto* bar = page->window()->findChild<QToolBar*>(u"toolBar"_s);
    const auto progress = [&] {
        const auto shown = bar->actions();
        return std::ranges::count(shown, u"searchProgress"_s, &QAction::objectName) == 1;
    };
    const qsizetype items = bar->actions().size();
    Q_EMIT page->logView().search().searchingChanged(true);
    ASSERT_TRUE(until(progress));
    EXPECT_EQ(bar->actions().size(), items + 1);
    Q_EMIT page->logView().search().searchingChanged(false);
    EXPECT_FALSE(progress());
    type(page, u"nowhere"_s);
    press(page, Qt::Key_Return);
    press(page, Qt::Key_Escape);
    EXPECT_FALSE(page->logView().search().isSearching());
    EXPECT_FALSE(says(page, noneForwards));
}

} // namespace
} // namespace korvane::test
