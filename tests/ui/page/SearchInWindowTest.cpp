#include "ui/AppFixture.h"

#include "ui/page/LogSearch.h"

#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QToolBar>
#include <QToolButton>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::numberedLines;
using test::TemporaryFile;

class SearchInWindowTest : public test::AppFixture {
protected:
    static QLineEdit* fieldOf(MainWindowController& page) {
        return page.window()->findChild<QLineEdit*>(u"searchField"_s);
    }
    /// One-based line that is selected when the search is over.
    static qint64 found(MainWindowController& page) {
        EXPECT_TRUE(until([&] { return !page.logView().search().isSearching(); }));
        return page.logView().tableView().currentRow() + 1;
    }
    static void type(MainWindowController& page, const QString& text) {
        fieldOf(page)->selectAll();
        QTest::keyClicks(fieldOf(page), text);
    }
    static void press(MainWindowController& page, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(fieldOf(page), key, modifiers);
    }
};

TEST_F(SearchInWindowTest, EnterAndF3WalkForwardsAndWithShiftOneStepBack) {
    const TemporaryFile file("alpha\nBeta one\nbeta two\ngamma\nBETA three\n");
    MainWindowController* page = open(file);
    action(page, u"Find…"_s)->trigger();
    type(*page, u"beta"_s);
    press(*page, Qt::Key_Return);
    EXPECT_EQ(found(*page), 2);
    action(page, u"Find Next"_s)->trigger();
    EXPECT_EQ(found(*page), 3);
    press(*page, Qt::Key_Enter);
    EXPECT_EQ(found(*page), 5);
    action(page, u"Find Previous"_s)->trigger();
    EXPECT_EQ(found(*page), 3);
    press(*page, Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(found(*page), 2);
    EXPECT_FALSE(says(page, u"No further match"_s));
    press(*page, Qt::Key_Return);
    EXPECT_EQ(found(*page), 3) << "the direction is still the same";
    press(*page, Qt::Key_Return);
    press(*page, Qt::Key_Return);
    EXPECT_EQ(found(*page), 5);
    press(*page, Qt::Key_Return);
    EXPECT_TRUE(until([&] { return says(page, u"No further match"_s); }));
    EXPECT_EQ(found(*page), 5);
    press(*page, Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(found(*page), 3);
    EXPECT_FALSE(says(page, u"No further match"_s)) << "it says so beside a match";
}

TEST_F(SearchInWindowTest, TheMatchIsBroughtIntoViewAlsoSidewaysAndPainted) {
    QByteArray text = numberedLines(12000) + "\n" + QByteArray(3000, '.') + " needle\n";
    const TemporaryFile file(text);
    MainWindowController* page = open(file);
    LogTableView& table = page->logView().tableView();
    type(*page, u"NEEDLE"_s);
    press(*page, Qt::Key_Return);
    EXPECT_EQ(found(*page), 12001);
    ASSERT_TRUE(until([&] { return isShown(*page) && table.horizontalScrollBar()->value() > 0; }));
    ASSERT_TRUE(table.rowRect(12000));
    const auto row = page->document()->dataSource()->cachedRowLine(12000);
    ASSERT_TRUE(row);
    const Attributes* painted = row->line.attributesAt(3001);
    ASSERT_TRUE(painted);
    EXPECT_EQ(painted->background, QColor(Qt::yellow));
}

TEST_F(SearchInWindowTest, TheArrowsChangeTheDirectionOfTheirOwnPageOnly) {
    const TemporaryFile files[] = {TemporaryFile("x\ny\nx\n", "a.log"), TemporaryFile("x\nx\n", "b.log")};
    MainWindowController* first = open(files[0]);
    MainWindowController* second = open(files[1]);
    auto* window = qobject_cast<MainWindow*>(first->window());
    window->raisePage(first);
    type(*first, u"x"_s);
    named<QToolButton>(first->window(), u"Search backwards"_s)->click();
    EXPECT_EQ(found(*first), 3);
    press(*first, Qt::Key_Return);
    EXPECT_EQ(found(*first), 1);
    window->raisePage(second);
    EXPECT_EQ(fieldOf(*second)->text(), QString()) << "each page has its own text";
    EXPECT_TRUE(named<QToolButton>(second->window(), u"Search forwards"_s)->isChecked());
    EXPECT_TRUE(second->logView().search().searchesForward());
    window->raisePage(first);
    EXPECT_EQ(fieldOf(*first)->text(), u"x"_s);
    EXPECT_TRUE(named<QToolButton>(first->window(), u"Search backwards"_s)->isChecked());
}

TEST_F(SearchInWindowTest, EscapeLeavesTheFieldAndAnEmptyFieldTakesTheMatchesAway) {
    const TemporaryFile file("one\ntwo\none\n");
    MainWindowController* page = open(file);
    for (const Qt::Key leaving : {Qt::Key_Escape, Qt::Key_Down}) {
        action(page, u"Find…"_s)->trigger();
        ASSERT_EQ(page->window()->focusWidget(), fieldOf(*page));
        type(*page, u"one"_s);
        press(*page, Qt::Key_Return);
        EXPECT_EQ(found(*page), 1);
        press(*page, leaving);
        EXPECT_EQ(page->window()->focusWidget(), &page->logView().tableView()) << leaving;
        page->logView().search().forgetMatches();
    }
    action(page, u"Find Next"_s)->trigger();
    EXPECT_EQ(found(*page), 1);
    EXPECT_EQ(page->document()->dataSource()->lastSearchResults().size(), 1U);
    action(page, u"Find Next"_s)->trigger();
    EXPECT_EQ(found(*page), 3) << "leaving the field forgets no place";
    fieldOf(*page)->clear();
    EXPECT_TRUE(page->document()->dataSource()->lastSearchResults().empty());
}

TEST_F(SearchInWindowTest, OtherContentAndAClearedViewBeginTheSearchAnew) {
    Preferences::shared().setPollingInterval(0.1);
    const TemporaryFile file("one\ntwo\none\nfour");
    MainWindowController* page = open(file);
    type(*page, u"one"_s);
    press(*page, Qt::Key_Return);
    ASSERT_EQ(found(*page), 1);
    action(page, u"Clear View"_s)->trigger();
    LogTableView& table = page->logView().tableView();
    EXPECT_EQ(table.rowCount(), 1);
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"four"_s; }));
    EXPECT_TRUE(page->document()->dataSource()->lastSearchResults().empty());
    action(page, u"Show Cleared Lines"_s)->trigger();
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"one"_s; }));
    press(*page, Qt::Key_Return);
    EXPECT_EQ(found(*page), 1);
    ASSERT_TRUE(until([&] { return page->isTailing(); }));
    file.overwrite("three\none\n");
    ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == u"three"_s; }));
    press(*page, Qt::Key_Return);
    EXPECT_EQ(found(*page), 2);
}

TEST_F(SearchInWindowTest, ALongSearchShowsThatItIsUnderWayAndCanBeStopped) {
    const TemporaryFile file(numberedLines(10));
    MainWindowController* page = open(file);
    auto* bar = page->window()->findChild<QToolBar*>(u"toolBar"_s);
    const auto progress = [&] {
        for (auto* item : bar->actions()) {
            if (item->objectName() == u"searchProgress"_s)
                return bar->widgetForAction(item);
        }
        return static_cast<QWidget*>(nullptr);
    };
    const qsizetype items = bar->actions().size();
    Q_EMIT page->logView().search().searchingChanged(true);
    ASSERT_TRUE(until([&] { return progress() != nullptr; }));
    EXPECT_EQ(bar->actions().size(), items + 1);
    Q_EMIT page->logView().search().searchingChanged(false);
    EXPECT_FALSE(progress());
    type(*page, u"nowhere"_s);
    press(*page, Qt::Key_Return);
    press(*page, Qt::Key_Escape);
    EXPECT_FALSE(page->logView().search().isSearching());
    EXPECT_FALSE(says(page, u"No further match"_s));
}

} // namespace
} // namespace korvane
