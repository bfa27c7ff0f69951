#include "ui/AppFixture.h"

#include "core/FileObserverProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "core/search/SearchItem.h"
#include "documents/TailDataSource.h"
#include "foundation/FilePath.h"
#include "rules/FilterRule.h"
#include "rules/FiltersManager.h"
#include "rules/RuleSwitch.h"
#include "ui/logtable/FakeDataSource.h"
#include "ui/page/GotoLineViewController.h"
#include "ui/page/LineCopier.h"

#include <QApplication>
#include <QClipboard>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QSignalSpy>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::AppFixture;
using test::numberedLines;
using test::TemporaryFile;

class LogViewControllerTest : public AppFixture {};

TEST_F(LogViewControllerTest, EveryLineOfAFileIsOnItsRow) {
    struct Case {
        QByteArray content;
        QStringList rows;
    };
    for (const Case& c : {Case{"", {u""_s}}, Case{"a\nb", {u"a"_s, u"b"_s}},
                          Case{"a\nb\n", {u"a"_s, u"b"_s, u""_s}}, Case{"a\r\nb", {u"a\r"_s, u"b"_s}},
                          Case{QByteArray("x\0y\nz", 5), {u"x"_s + QChar(0) + u"y"_s, u"z"_s}},
                          Case{"gr\xC3\xB6\xC3\x9F\x65r\n", {u"größer"_s, u""_s}}}) {
        const TemporaryFile file(c.content);
        MainWindowController* page = open(file);
        ASSERT_EQ(page->logView().tableView().rowCount(), c.rows.size()) << c.content.constData();
        for (qsizetype row = 0; row < c.rows.size(); ++row)
            EXPECT_EQ(textOfRow(*page, row), c.rows[row]);
        documents_.closeDocument(page->document());
    }
}

TEST_F(LogViewControllerTest, ThePageOnTheScreenIsReadToItsEndWithoutScrolling) {
    // Longer than what is known of a file when its first rows are shown.
    const TemporaryFile file(QByteArray(60, 'x') + "\n" + (QByteArray(60, 'y') + "\n").repeated(4000));
    MainWindowController* page = open(file);
    EXPECT_TRUE(until([&] { return page->document()->dataSource()->cachedRowLine(3999).has_value(); }));
}

TEST_F(LogViewControllerTest, AFollowedFileKeepsTheViewAtItsEndUnlessItWasScrolledUp) {
    Preferences::shared().setPollingInterval(0.1);
    const TemporaryFile file(numberedLines(500));
    MainWindowController* page = open(file);
    LogTableView& table = page->logView().tableView();
    ASSERT_TRUE(until([&] { return page->document()->logFileObserver()->isTailing(); }));
    table.scrollToEnd();
    // The first report of a monitor only tells the size that is known already.
    file.append("\nline 501\nline 502");
    ASSERT_TRUE(until([&] { return table.rowCount() == 502; }));
    EXPECT_TRUE(table.isAtEnd());
    ASSERT_TRUE(until([&] { return textOfRow(*page, 501) == u"line 502"_s; }));
    EXPECT_EQ(textOfRow(*page, 499), u"line 500"_s);
    table.setTopRow(100);
    file.append("\nline 503");
    ASSERT_TRUE(until([&] { return table.rowCount() == 503; }));
    EXPECT_EQ(table.firstVisibleRow(), 100);
}

TEST_F(LogViewControllerTest, WrappedLinesDoNotPushAFollowedViewFromItsEnd) {
    Preferences::shared().setPollingInterval(0.1);
    Preferences::shared().setWrapLines(true);
    const QByteArray tall = "\n" + QByteArray(3000, 'x');
    // Few lines fit the window until their text is there; many never do.
    for (const int before : {0, 6000}) {
        SCOPED_TRACE(before);
        const TemporaryFile file("short" + tall.repeated(before));
        MainWindowController* page = open(file);
        LogTableView& table = page->logView().tableView();
        ASSERT_TRUE(until([&] { return page->document()->logFileObserver()->isTailing(); }));
        table.scrollToEnd();
        ASSERT_TRUE(until([&] { return isShown(*page); }));
        EXPECT_TRUE(until([&] { return table.isAtEnd(); })) << "texts that arrive do not push the end away";
        for (int count = before + 1; count < before + 24; count += 8) {
            file.append(tall.repeated(8));
            ASSERT_TRUE(until([&] { return table.rowCount() == count + 8 && isShown(*page); }));
            ASSERT_TRUE(until([&] { return textOfRow(*page, count + 7).size() == 3000; }));
            EXPECT_TRUE(until([&] { return table.isAtEnd(); })) << count;
        }
    }
}

TEST_F(LogViewControllerTest, ReadingAnewAndAnotherLayoutKeepThePlace) {
    const TemporaryFile file((QByteArray(300, 'x') + "\n").repeated(100'000));
    MainWindowController* page = open(file);
    LogTableView& table = page->logView().tableView();
    table.setTopRow(60'000);
    const auto rows = std::dynamic_pointer_cast<TailDataSource>(page->document()->dataSource());
    rows->announceChangedLines({0, 1}); // reported behind the reload, of the rows before it
    page->reload();
    EXPECT_EQ(page->logView().place().topLine, 60'001) << "while it is being read";
    ASSERT_TRUE(until([&] { return !page->isLoading() && isShown(*page); }));
    EXPECT_TRUE(until([&] { return table.firstVisibleRow() == 60'000; })) << table.firstVisibleRow();
    table.scrollToEnd();
    page->logView().setWrappingLines(true);
    EXPECT_TRUE(until([&] { return isShown(*page) && table.isAtEnd(); }));
    page->logView().zoom(2);
    EXPECT_TRUE(table.isAtEnd());
    page->logView().resetZoom();
}

TEST_F(LogViewControllerTest, GoingToALineSelectsItAndBringsItIntoView) {
    const TemporaryFile file(numberedLines(12001));
    MainWindowController* page = open(file);
    LogViewController& logView = page->logView();
    for (const qint64 line : {12001LL, 1LL, 5000LL, 5001LL}) {
        logView.goToLine(line);
        EXPECT_EQ(logView.tableView().currentRow(), line - 1);
        ASSERT_TRUE(until([&] { return isShown(*page); }));
        ASSERT_TRUE(logView.tableView().rowRect(line - 1)) << line;
        EXPECT_EQ(textOfRow(*page, line - 1), u"line %1"_s.arg(line));
    }
    EXPECT_EQ(logView.validLineNumber(u"0"_s), std::nullopt);
    EXPECT_EQ(logView.validLineNumber(u"12002"_s), std::nullopt);
    EXPECT_EQ(logView.validLineNumber(u"-3"_s), std::nullopt);
    EXPECT_EQ(logView.validLineNumber(u"12x"_s), std::nullopt);
    EXPECT_EQ(logView.validLineNumber(u" 12001 "_s), 12001);
    EXPECT_EQ(logView.validLineNumber(QLocale().toString(12001)), 12001);
}

TEST_F(LogViewControllerTest, ALineThatTheClearedViewDoesNotShowGetsAMessage) {
    const TemporaryFile file(numberedLines(100));
    MainWindowController* page = open(file);
    page->document()->dataSource()->clearView();
    page->logView().tableView().setRowCount(page->document()->dataSource()->numberOfRows());
    QSignalSpy messages(&page->logView(), &LogViewController::userMessage);
    page->logView().goToLine(50);
    EXPECT_EQ(messages.size(), 1);
    page->logView().goToLine(100);
    EXPECT_EQ(messages.size(), 1);
    EXPECT_EQ(page->logView().tableView().currentRow(), 0);
}

TEST_F(LogViewControllerTest, ALineAskedForOnTheCommandLineIsShownWhenItIsKnown) {
    const TemporaryFile file(numberedLines(60000));
    MainWindowController* page = open(file, 55555);
    ASSERT_TRUE(until([&] { return page->logView().tableView().currentRow() == 55554; }));
    QSignalSpy messages(&page->logView(), &LogViewController::userMessage);
    page->logView().goToLineWhenKnown(70000);
    EXPECT_EQ(messages.size(), 1);
    EXPECT_EQ(page->logView().tableView().currentRow(), 59999);
}

/// A file of any size that holds one short line.
class SizedDataSource : public test::FakeDataSource {
public:
    SizedDataSource() : FakeDataSource(1) {}
    std::uint64_t byteCount(qint64, qint64) const override { return bytes; }
    std::optional<QStringList> readLines(qint64, qint64, const std::function<bool()>&) override {
        return QStringList{u"copied"_s};
    }
    std::uint64_t bytes = 0;
};

TEST_F(LogViewControllerTest, ALargeCopyIsAskedAboutAndATooLargeOneRefused) {
    const auto source = std::make_shared<SizedDataSource>();
    QWidget window;
    LineCopier copier(source, alerts_, window);
    const struct {
        std::uint64_t bytes;
        int answer;
        std::size_t alerts;
        QString clipboard;
    } cases[] = {
        {LineCopier::largeCopyBytes, 1, 0, u"copied"_s},
        {LineCopier::largeCopyBytes + 1, 1, 1, u"kept"_s},
        {LineCopier::largeCopyBytes + 1, 0, 1, u"copied"_s},
        {10 * LineCopier::largeCopyBytes + 1, 0, 1, u"kept"_s},
    };
    for (const auto& c : cases) {
        alerts_.alerts.clear();
        alerts_.nextAnswer = c.answer;
        QApplication::clipboard()->setText(u"kept"_s);
        source->bytes = c.bytes;
        copier.copy({{0, 0}}, LineCopier::HiddenLines::Included);
        EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
        MainThread::shared().runPending();
        EXPECT_EQ(alerts_.alerts.size(), c.alerts) << c.bytes;
        EXPECT_EQ(QApplication::clipboard()->text(), c.clipboard) << c.bytes << ' ' << c.answer;
    }
}

TEST_F(LogViewControllerTest, TheGoToLinePanelTakesOnlyLinesThatExist) {
    const TemporaryFile file(numberedLines(100));
    MainWindowController* page = open(file);
    page->logView().performGotoLineMenuAction();
    auto* panel = page->window()->findChild<GotoLineViewController*>();
    ASSERT_TRUE(panel);
    auto* field = panel->findChild<QLineEdit*>();
    QPushButton* ok = nullptr;
    for (auto* button : panel->findChildren<QPushButton*>()) {
        if (button->isDefault())
            ok = button;
    }
    ASSERT_TRUE(ok);
    EXPECT_FALSE(ok->isEnabled());
    QTest::keyClicks(field, u"101"_s);
    EXPECT_FALSE(ok->isEnabled());
    QTest::keyClick(field, Qt::Key_Backspace);
    EXPECT_TRUE(ok->isEnabled());
    QTest::keyClick(field, Qt::Key_Return);
    EXPECT_EQ(page->logView().tableView().currentRow(), 9);
    EXPECT_FALSE(panel->isVisible());

    // It goes with its page, whether that is closed or left for another.
    ASSERT_TRUE(until([&] { return !page->findChild<GotoLineViewController*>(); }));
    page->logView().performGotoLineMenuAction();
    const QPointer<GotoLineViewController> left = page->findChild<GotoLineViewController*>();
    ASSERT_TRUE(left);
    const TemporaryFile other(numberedLines(100), "other.log");
    MainWindowController* otherPage = open(other);
    otherPage->logView().performGotoLineMenuAction();
    const QPointer<GotoLineViewController> closed = otherPage->findChild<GotoLineViewController*>();
    ASSERT_TRUE(closed);
    documents_.closeDocument(otherPage->document());
    EXPECT_TRUE(until([&] { return !left && !closed; }));
}

TEST_F(LogViewControllerTest, LineNumbersGoAndComeBackInTheirPlace) {
    const TemporaryFile file(numberedLines(100));
    MainWindowController* page = open(file);
    LogViewController& logView = page->logView();
    logView.setWrappingLines(true);
    const auto identifiers = [&] {
        QStringList all;
        for (const auto& column : logView.tableView().columns())
            all.append(column.identifier);
        return all.join(u' ');
    };
    const qreal lineWidth = logView.tableView().column(cell::line)->width;
    const qreal numberWidth = logView.tableView().column(cell::lineNum)->width;
    Preferences::shared().setShowLineNumbers(false);
    EXPECT_EQ(identifiers(), u"LineMark Line"_s);
    EXPECT_EQ(logView.tableView().column(cell::line)->width, lineWidth + numberWidth);
    Preferences::shared().setShowLineNumbers(true);
    EXPECT_EQ(identifiers(), u"LineMark LineNum Line"_s);
    EXPECT_EQ(logView.tableView().column(cell::line)->width, lineWidth);
}

TEST_F(LogViewControllerTest, FontAndColoursReachEveryOpenViewAtOnce) {
    const TemporaryFile one(numberedLines(100), "one.log");
    const TemporaryFile other(numberedLines(100), "other.log");
    MainWindowController* pages[] = {open(one), open(other)};
    const qreal height = pages[0]->logView().tableView().rowHeight();
    const QFont chosen = Preferences::shared().logViewFont();
    pages[0]->logView().zoom(8);
    Preferences::shared().setLogViewForeground(Qt::darkGreen);
    for (MainWindowController* page : pages) {
        EXPECT_GT(page->logView().tableView().rowHeight(), height);
        LogTableView& table = page->logView().tableView();
        ASSERT_TRUE(until([&] {
            const auto view = table.delegate().viewForTableColumn(cell::line, 0);
            return view.row && view.row->line.attributesAt(0)->foreground == QColor(Qt::darkGreen);
        }));
    }
    pages[0]->logView().resetZoom();
    EXPECT_EQ(pages[1]->logView().tableView().rowHeight(), height);
    EXPECT_EQ(Preferences::shared().logViewFont(), chosen) << "it is the user's choice in the preferences";
}

TEST_F(LogViewControllerTest, WrappingIsRememberedForTheFile) {
    const TemporaryFile file(QByteArray(3000, 'x') + "\nshort\n");
    MainWindowController* page = open(file);
    EXPECT_FALSE(page->logView().wrappingLines());
    const qreal one = page->logView().tableView().delegate().heightOfRow(0);
    page->logView().setWrappingLines(true);
    EXPECT_GT(page->logView().tableView().delegate().heightOfRow(0), 10 * one);
    documents_.closeDocument(page->document());
    EXPECT_TRUE(open(file)->logView().wrappingLines());
    const TemporaryFile other("x\n", "other.log");
    EXPECT_FALSE(open(other)->logView().wrappingLines());
    Preferences::shared().setWrapLines(true);
    const TemporaryFile third("x\n", "third.log");
    EXPECT_TRUE(open(third)->logView().wrappingLines())
        << "a file without its own setting follows the global one";
}

TEST_F(LogViewControllerTest, SelectedTextIsHighlightedEverywhereUntilItIsNotSelected) {
    const TemporaryFile file("alpha beta\nbeta BETA\nnothing\n");
    MainWindowController* page = open(file);
    LogTableView& table = page->logView().tableView();
    const auto backgroundAt = [&](qint64 row, int position) {
        const auto* attributes =
            table.delegate().viewForTableColumn(cell::line, row).row->line.attributesAt(position);
        return attributes ? attributes->background : std::nullopt;
    };
    const auto place = [&](int column) {
        const QRectF area = *table.rowRect(0);
        const qreal x = table.columns()[0].width + table.columns()[1].width + 6 +
                        (column + 0.3) * table.delegate().metrics().cellWidth();
        return QPointF(x, area.center().y()).toPoint();
    };
    QTest::mouseDClick(table.viewport(), Qt::LeftButton, {}, place(7));
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
    const TemporaryFile file(numberedLines(20000));
    MainWindowController* page = open(file);
    LogTableView& table = page->logView().tableView();
    QApplication::clipboard()->clear();
    page->logView().copySelection();
    EXPECT_TRUE(QApplication::clipboard()->text().isEmpty());
    table.selectAll();
    page->logView().copySelection();
    const QString all = QString::fromLatin1(numberedLines(20000));
    ASSERT_TRUE(until([&] { return !QApplication::clipboard()->text().isEmpty(); }));
    EXPECT_EQ(QApplication::clipboard()->text(), all) << "also lines that no page has loaded";
    table.selectRow(6);
    QTest::keyClick(&table, Qt::Key_Down, Qt::ShiftModifier);
    page->logView().copySelection();
    ASSERT_TRUE(until([&] { return QApplication::clipboard()->text() == u"line 7\nline 8"_s; }));
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
        page->logView().copySelection(hidden);
        EXPECT_TRUE(until([&] { return !messages.empty(); }));
        return QApplication::clipboard()->text().count(u'\n') + 1;
    };
    page->logView().selectAll();
    EXPECT_EQ(copied(LineCopier::HiddenLines::LeftOut), 10'800) << "also of pages never shown";
    EXPECT_FALSE(QApplication::clipboard()->text().contains(u"line 9\n"_s));
    EXPECT_TRUE(messages.front().front().toString().contains(QLocale().toString(1200)));
    EXPECT_EQ(copied(LineCopier::HiddenLines::Included), 12'000);
    page->logView().tableView().selectRow(8);
    copied(LineCopier::HiddenLines::LeftOut);
    EXPECT_TRUE(QApplication::clipboard()->text().contains(u"line 12000"_s))
        << "what was copied before stays";
}

TEST_F(LogViewControllerTest, OneBadByteIsExplainedAndLeavesTheOtherLinesAsTheyAre) {
    const TemporaryFile file("caf\xC3\xA9 good first line\n" +
                             QByteArray(700, 'x').replace("xxxxxxx", "valid\n") + "bad \xFF\xFE\xFA byte\n");
    MainWindowController* page = open(file);
    page->logView().setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::utf8});
    ASSERT_TRUE(until([&] { return page->logView().hasInvalidLines(); }));
    EXPECT_EQ(textOfRow(*page, 0), u"café good first line"_s);
    const qint64 bad = page->logView().lineCount() - 2;
    page->logView().setEncodingChoice({EncodingChoice::Kind::LenientUtf8, encoding::utf8});
    page->logView().goToLine(bad + 1);
    ASSERT_TRUE(until([&] { return textOfRow(*page, bad).contains(QChar(0xFFFD)); }));
    EXPECT_FALSE(page->logView().hasInvalidLines());
    page->logView().setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::isoLatin1});
    ASSERT_TRUE(until([&] { return textOfRow(*page, bad) == u"bad ÿþú byte"_s; }));
}

TEST_F(LogViewControllerTest, AFileHeldWholeChangesItsEncodingToo) {
    Preferences::shared().setLazyLoadFile(false);
    const TemporaryFile file("caf\xE9 na\xEFve\n" + numberedLines(7000));
    MainWindowController* page = open(file);
    EXPECT_EQ(page->logView().tableView().rowCount(), 7001);
    for (const auto& [number, text] : {std::pair(encoding::isoLatin1, u"café naïve"_s),
                                       std::pair(encoding::windows1251, u"cafй naпve"_s)}) {
        page->logView().setEncodingChoice({EncodingChoice::Kind::Fixed, number});
        ASSERT_TRUE(until([&] { return textOfRow(*page, 0) == text; })) << qPrintable(textOfRow(*page, 0));
    }
    // The first rows are there before the file has been read to its end once more.
    EXPECT_TRUE(until([&] { return page->logView().tableView().rowCount() == 7001; }));
}

} // namespace
} // namespace korvane
