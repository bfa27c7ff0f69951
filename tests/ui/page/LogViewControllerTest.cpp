#include "ui/AppFixture.h"

#include "core/DataSourceRoles.h"
#include "core/FileObserverProtocol.h"
#include "core/search/SearchItem.h"
#include "documents/TailDataSource.h"
#include "rules/FilterRule.h"
#include "rules/RuleSwitch.h"
#include "ui/page/GotoLineViewController.h"
#include "ui/page/LineCopier.h"
#include "ui/page/LogAppearance.h"
#include "ui/page/LogZoom.h"
#include "ui/page/ViewPlace.h"

namespace korvane::test {
namespace {

class LogViewControllerTest : public AppFixture {
protected:
    static QString clipboard() { return QApplication::clipboard()->text(); }
};

TEST_F(LogViewControllerTest, ThePageOnTheScreenIsReadToItsEndWithoutScrolling) {
    // Longer than the part of the file that is indexed when its first rows are shown.
    MainWindowController* page =
        open(QByteArray(60, 'x') + "\n" + (QByteArray(60, 'y') + "\n").repeated(4000));
    EXPECT_TRUE(until([&] { return page->document()->dataSource()->cachedRowLine(3999).has_value(); }));
}

TEST_F(LogViewControllerTest, WrappedLinesDoNotPushAFollowedViewFromItsEnd) {
    Preferences::shared().setWrapLines(true);
    const QByteArray tall = "\n" + QByteArray(3000, 'x');
    // Few lines fit the window until their text is loaded; many never fit.
    for (const int before : {0, 6000}) {
        SCOPED_TRACE(before);
        const TemporaryFile file("short" + tall.repeated(before));
        MainWindowController* page = openFollowed(file);
        LogTableView& table = tableOf(page);
        table.scroller().scrollToEnd();
        ASSERT_TRUE(until([&] { return isShown(*page); }));
        EXPECT_TRUE(until([&] { return table.scroller().isAtEnd(); }))
            << "texts that arrive do not push the end away";
        for (int count = before + 1; count < before + 24; count += 8) {
            file.append(tall.repeated(8));
            ASSERT_TRUE(until([&] { return table.rowCount() == count + 8 && isShown(*page); }));
            ASSERT_TRUE(until([&] { return textOfRow(*page, count + 7).size() == 3000; }));
            EXPECT_TRUE(until([&] { return table.scroller().isAtEnd(); })) << count;
        }
    }
}

TEST_F(LogViewControllerTest, ReadingAnewAndAnotherLayoutKeepThePlace) {
    MainWindowController* page = open((QByteArray(300, 'x') + "\n").repeated(100'000));
    LogTableView& table = tableOf(page);
    table.scroller().setTopRow(60'000);
    const auto rows = std::dynamic_pointer_cast<TailDataSource>(page->document()->dataSource());
    rows->announceChangedLines({0, 1}); // delivered after the reload, about the rows before it
    page->reload();
    EXPECT_EQ(page->logView().viewPlace().place().topLine, 60'001) << "while it is being read";
    ASSERT_TRUE(until([&] { return !page->isLoading() && isShown(*page); }));
    EXPECT_TRUE(until([&] { return table.scroller().firstVisibleRow() == 60'000; }))
        << table.scroller().firstVisibleRow();
    table.scroller().scrollToEnd();
    page->logView().appearance().setWrappingLines(true);
    EXPECT_TRUE(until([&] { return isShown(*page) && table.scroller().isAtEnd(); }));
    LogZoom::shared().change(2);
    EXPECT_TRUE(table.scroller().isAtEnd());
    LogZoom::shared().reset();
}

TEST_F(LogViewControllerTest, GoingToALineSelectsItAndBringsItIntoView) {
    MainWindowController* page = open(numberedLines(12001));
    LogViewController& logView = page->logView();
    for (const qint64 line : {12001LL, 1LL, 5000LL, 5001LL}) {
        logView.goToLine(line);
        EXPECT_EQ(logView.tableView().selection().currentRow(), line - 1);
        ASSERT_TRUE(until([&] { return isShown(*page); }));
        ASSERT_TRUE(logView.tableView().rowRect(line - 1)) << line;
        EXPECT_EQ(textOfRow(*page, line - 1), u"line %1"_s.arg(line));
    }
    for (const QString& invalid : {u"0"_s, u"12002"_s, u"-3"_s, u"12x"_s})
        EXPECT_EQ(logView.validLineNumber(invalid), std::nullopt);
    EXPECT_EQ(logView.validLineNumber(u" 12001 "_s), 12001);
    EXPECT_EQ(logView.validLineNumber(QLocale().toString(12001)), 12001);
}

TEST_F(LogViewControllerTest, ALineThatTheClearedViewDoesNotShowGetsAMessage) {
    MainWindowController* page = open(numberedLines(100));
    page->document()->dataSource()->clearView();
    tableOf(page).setRowCount(page->document()->dataSource()->numberOfRows());
    QSignalSpy messages(&page->logView(), &LogViewController::userMessage);
    page->logView().goToLine(50);
    EXPECT_EQ(messages.size(), 1);
    page->logView().goToLine(100);
    EXPECT_EQ(messages.size(), 1);
    EXPECT_EQ(tableOf(page).selection().currentRow(), 0);
}

TEST_F(LogViewControllerTest, ALineAskedForOnTheCommandLineIsShownWhenItIsKnown) {
    const TemporaryFile file(numberedLines(60000));
    MainWindowController* page = open(file, 55555);
    ASSERT_TRUE(until([&] { return tableOf(page).selection().currentRow() == 55554; }));
    QSignalSpy messages(&page->logView(), &LogViewController::userMessage);
    page->logView().viewPlace().goToLineWhenKnown(70000);
    EXPECT_EQ(messages.size(), 1);
    EXPECT_EQ(tableOf(page).selection().currentRow(), 59999);
}

/// A file of any size that contains one short line.
class SizedLine : public LineTexts {
public:
    qint64 rowStart() const override { return 0; }
    qint64 rowCount() const override { return 1; }
    qint64 numberOfRows() const override { return 1; }
    std::uint64_t byteCount(qint64, qint64) const override { return bytes; }
    std::optional<QStringList> readLines(qint64, qint64, const std::function<bool()>&) override {
        return QStringList{u"copied"_s};
    }
    std::vector<bool> hiddenLines(qint64, const QStringList&, const std::function<bool()>&) override {
        return {};
    }
    std::uint64_t bytes = 0;
};

TEST_F(LogViewControllerTest, ALargeCopyIsAskedAboutAndATooLargeOneRefused) {
    const auto source = std::make_shared<SizedLine>();
    LogTableView table(nullptr);
    LineCopier copier(source, alerts_, table);
    for (const auto& [bytes, answer, alerts, expected] : Rows<std::uint64_t, int, std::size_t, QString>{
             {LineCopier::largeCopyBytes, 1, 0, u"copied"_s},
             {LineCopier::largeCopyBytes + 1, 1, 1, u"kept"_s},
             {LineCopier::largeCopyBytes + 1, 0, 1, u"copied"_s},
             {10 * LineCopier::largeCopyBytes + 1, 0, 1, u"kept"_s}}) {
        alerts_.alerts.clear();
        alerts_.nextAnswer = answer;
        QApplication::clipboard()->setText(u"kept"_s);
        source->bytes = bytes;
        copier.copy({{0, 0}}, LineCopier::HiddenLines::Included);
        EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
        MainThread::shared().runPending();
        EXPECT_EQ(alerts_.alerts.size(), alerts) << bytes;
        EXPECT_EQ(clipboard(), expected) << bytes << ' ' << answer;
    }
}

TEST_F(LogViewControllerTest, TheGoToLinePanelTakesOnlyLinesThatExist) {
    MainWindowController* page = open(numberedLines(100));
    page->logView().performGotoLineMenuAction();
    auto* panel = page->window()->findChild<GotoLineViewController*>();
    auto* field = panel->findChild<QLineEdit*>();
    const auto isAccepted = [&] {
        return std::ranges::any_of(panel->findChildren<QPushButton*>(),
                                   [](auto* button) { return button->isDefault() && button->isEnabled(); });
    };
    EXPECT_FALSE(isAccepted());
    QTest::keyClicks(field, u"101"_s);
    EXPECT_FALSE(isAccepted());
    QTest::keyClick(field, Qt::Key_Backspace);
    EXPECT_TRUE(isAccepted());
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(tableOf(page).selection().currentRow(), 9);
    EXPECT_FALSE(panel->isVisible());

    // The panel closes with its page, and when its page is left for another.
    ASSERT_TRUE(until([&] { return !page->findChild<GotoLineViewController*>(); }));
    const auto openedOn = [](MainWindowController* parent) {
        parent->logView().performGotoLineMenuAction();
        return QPointer(parent->findChild<GotoLineViewController*>());
    };
    const auto left = openedOn(page);
    ASSERT_TRUE(left);
    MainWindowController* other = open(numberedLines(100), "other.log");
    const auto closed = openedOn(other);
    ASSERT_TRUE(closed);
    documents_.closeDocument(other->document());
    EXPECT_TRUE(until([&] { return !left && !closed; }));
}

TEST_F(LogViewControllerTest, LineNumbersGoAndComeBackInTheirPlace) {
    MainWindowController* page = open(numberedLines(100));
    page->logView().appearance().setWrappingLines(true);
    const auto widths = [&] {
        QStringList all;
        for (const auto& column : tableOf(page).columns().all())
            all.append(column.identifier + u' ' + QString::number(column.width));
        return all;
    };
    const QStringList before = widths();
    const qreal both =
        tableOf(page).columns().width(cell::lineNum) + tableOf(page).columns().width(cell::line);
    Preferences::shared().setShowLineNumbers(false);
    EXPECT_EQ(widths(), (QStringList{before[0], u"Line %1"_s.arg(QString::number(both))}));
    Preferences::shared().setShowLineNumbers(true);
    EXPECT_EQ(widths(), before);
}

TEST_F(LogViewControllerTest, FontAndColoursReachEveryOpenViewAtOnce) {
    MainWindowController* pages[] = {open(numberedLines(100), "a.log"), open(numberedLines(100), "b.log")};
    const qreal height = pages[0]->logView().tableView().rowHeight();
    const QFont chosen = Preferences::shared().logViewFont();
    LogZoom::shared().change(8);
    Preferences::shared().setLogViewForeground(Qt::darkGreen);
    for (MainWindowController* page : pages) {
        EXPECT_GT(tableOf(page).rowHeight(), height);
        ASSERT_TRUE(until([&] {
            const auto view = cellOf(page, 0);
            return view.row && view.row->line.attributesAt(0)->foreground == QColor(Qt::darkGreen);
        }));
    }
    LogZoom::shared().reset();
    EXPECT_EQ(pages[1]->logView().tableView().rowHeight(), height);
    EXPECT_EQ(Preferences::shared().logViewFont(), chosen) << "it is the user's choice in the preferences";
}

TEST_F(LogViewControllerTest, WrappingIsRememberedForTheFile) {
    const TemporaryFile file(QByteArray(3000, 'x') + "\nshort\n");
    MainWindowController* page = open(file);
    EXPECT_FALSE(page->logView().appearance().wrappingLines());
    const qreal one = tableOf(page).delegate().heightOfRow(0);
    page->logView().appearance().setWrappingLines(true);
    EXPECT_GT(tableOf(page).delegate().heightOfRow(0), 10 * one);
    documents_.closeDocument(page->document());
    EXPECT_TRUE(open(file)->logView().appearance().wrappingLines());
    EXPECT_FALSE(open("x\n", "other.log")->logView().appearance().wrappingLines());
    Preferences::shared().setWrapLines(true);
    EXPECT_TRUE(open("x\n", "third.log")->logView().appearance().wrappingLines())
        << "a file without its own setting follows the global one";
}

TEST_F(LogViewControllerTest, SelectedTextIsHighlightedEverywhereUntilItIsNotSelected) {
    MainWindowController* page = open("alpha beta\nbeta BETA\nnothing\n");
    LogTableView& table = tableOf(page);
    const auto backgroundAt = [&](qint64 row, int position) {
        const auto* attributes = cellOf(page, row).row->line.attributesAt(position);
        return attributes ? attributes->background : std::nullopt;
    };
    const QPointF beta(table.lineTextX() + 7.3 * table.delegate().metrics().cellWidth(),
                       table.rowHeight() / 2);
    QTest::mouseDClick(table.viewport(), Qt::LeftButton, {}, beta.toPoint());
    ASSERT_EQ(table.selectedText(), u"beta"_s);
    EXPECT_TRUE(backgroundAt(1, 0));
    EXPECT_TRUE(backgroundAt(1, 6)) << "case does not matter";
    EXPECT_FALSE(backgroundAt(1, 4));
    EXPECT_FALSE(backgroundAt(2, 0));
    page->logView().setQuickHighlightEnabled(false);
    EXPECT_FALSE(backgroundAt(1, 0));
    page->logView().setQuickHighlightEnabled(true);
    QTest::keyClick(&table, Qt::Key_Down);
    EXPECT_FALSE(backgroundAt(1, 0));
}

TEST_F(LogViewControllerTest, CopyTakesSelectedTextOrWholeLinesFromTheFile) {
    MainWindowController* page = open(numberedLines(20000));
    LogTableView& table = tableOf(page);
    QApplication::clipboard()->clear();
    page->logView().copier().copySelection();
    EXPECT_TRUE(clipboard().isEmpty());
    table.selection().selectAll();
    page->logView().copier().copySelection();
    ASSERT_TRUE(until([&] { return !clipboard().isEmpty(); }));
    EXPECT_EQ(clipboard().toLatin1(), numberedLines(20000)) << "also lines that no page has loaded";
    table.selection().selectRow(6);
    QTest::keyClick(&table, Qt::Key_Down, Qt::ShiftModifier);
    page->logView().copier().copySelection();
    ASSERT_TRUE(until([&] { return clipboard() == u"line 7\nline 8"_s; }));
}

TEST_F(LogViewControllerTest, CopiesForOthersHaveLineNumbersAndTellWhereTheyAreFrom) {
    const TemporaryFile file(numberedLines(9) + "\n```\n\na `` b");
    MainWindowController* page = open(file);
    LogTableView& table = tableOf(page);
    table.selection().selectRow(8);
    QTest::keyClick(&table, Qt::Key_Down, Qt::ShiftModifier);
    const auto copied = [&](CopyFormat::Kind format) {
        QApplication::clipboard()->clear();
        page->logView().copier().copySelection(LineCopier::HiddenLines::LeftOut, format);
        EXPECT_TRUE(until([&] { return !clipboard().isEmpty(); }));
        return clipboard();
    };
    EXPECT_EQ(copied(CopyFormat::Kind::Numbered), u" 9  line 9\n10  ```"_s);
    const QString path = displayPath(file.url());
    EXPECT_EQ(copied(CopyFormat::Kind::Markdown),
              u'`' + path + u"`, lines 9–10:\n\n````text\n 9  line 9\n10  ```\n````\n"_s);
    table.selection().selectRow(11);
    table.selection().selectText(11, {2, 2});
    EXPECT_EQ(copied(CopyFormat::Kind::Markdown),
              u'`' + path + u"`, line 12:\n\n```text\n12  a `` b\n```\n"_s)
        << "the line that the selected text lies in";
    EXPECT_EQ(copied(CopyFormat::Kind::Plain), u"``"_s);
    EXPECT_EQ(CopyFormat::placeInMarkdown(u"/a`b"_s, u"root@db"_s), u"``/a`b`` on `root@db`"_s);
}

TEST_F(LogViewControllerTest, RowsThatRulesHideAreCopiedOnlyOnRequest) {
    const TemporaryFile file(numberedLines(12'000));
    MainWindowController* page = open(file);
    const auto& rule = FiltersManager::shared().rules().front();
    rule->searchItem()->setSearchStr(u"secret|9$"_s);
    rule->searchItem()->setRegex(true);
    rule->setHide(true);
    switchRule(rule->id(), absoluteString(file.url()), true);
    QSignalSpy messages(&page->logView(), &LogViewController::userMessage);
    const auto copied = [&](LineCopier::HiddenLines hidden) {
        messages.clear();
        page->logView().copier().copySelection(hidden);
        EXPECT_TRUE(until([&] { return !messages.empty(); }));
        return clipboard().count(u'\n') + 1;
    };
    page->logView().tableView().selection().selectAll();
    EXPECT_EQ(copied(LineCopier::HiddenLines::LeftOut), 10'800) << "also of pages never shown";
    EXPECT_FALSE(clipboard().contains(u"line 9\n"_s));
    EXPECT_TRUE(messages.front().front().toString().contains(QLocale().toString(1200)));
    EXPECT_EQ(copied(LineCopier::HiddenLines::Included), 12'000);
    tableOf(page).selection().selectRow(8);
    copied(LineCopier::HiddenLines::LeftOut);
    EXPECT_TRUE(clipboard().contains(u"line 12000"_s)) << "what was copied before stays";
}

TEST_F(LogViewControllerTest, OneBadByteIsExplainedAndLeavesTheOtherLinesAsTheyAre) {
    const TemporaryFile file("caf\xC3\xA9 good first line\n" +
                             QByteArray(700, 'x').replace("xxxxxxx", "valid\n") + "bad \xFF\xFE\xFA byte\n");
    MainWindowController* page = open(file);
    page->logView().setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::utf8});
    ASSERT_TRUE(until([&] { return page->document()->dataSource()->hasInvalidLines(); }));
    EXPECT_EQ(textOfRow(*page, 0), u"café good first line"_s);
    const qint64 bad = page->logView().lineCount() - 2;
    page->logView().setEncodingChoice({EncodingChoice::Kind::LenientUtf8, encoding::utf8});
    page->logView().goToLine(bad + 1);
    ASSERT_TRUE(until([&] { return textOfRow(*page, bad).contains(QChar(0xFFFD)); }));
    EXPECT_FALSE(page->document()->dataSource()->hasInvalidLines());
    page->logView().setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::isoLatin1});
    ASSERT_TRUE(until([&] { return textOfRow(*page, bad) == u"bad ÿþú byte"_s; }));
}

TEST_F(LogViewControllerTest, AFileHeldWholeChangesItsEncodingToo) {
    Preferences::shared().setLazyLoadFile(false);
    MainWindowController* page = open("caf\xE9 na\xEFve\n" + numberedLines(7000));
    EXPECT_EQ(tableOf(page).rowCount(), 7001);
    for (const auto& [number, text] : {std::pair(encoding::isoLatin1, u"café naïve"_s),
                                       std::pair(encoding::windows1251, u"cafй naпve"_s)}) {
        page->logView().setEncodingChoice({EncodingChoice::Kind::Fixed, number});
        ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == text; })) << qPrintable(textOfRow(*page, 0));
    }
    // The first rows appear before the file has been read to its end again.
    EXPECT_TRUE(until([&] { return tableOf(page).rowCount() == 7001; }));
}

} // namespace
} // namespace korvane::test
