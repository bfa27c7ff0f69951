#include "ui/AppFixture.h"

#include "core/search/SearchItem.h"
#include "documents/TailDataSource.h"
#include "rules/FilterRule.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RuleSwitch.h"
#include "ui/page/ConditionStrip.h"
#include "ui/page/FooterViewController.h"
#include "ui/page/LineCopier.h"
#include "ui/page/LineMarker.h"
#include "ui/page/LogSearch.h"
#include "ui/page/NoticeStrip.h"
#include "ui/page/ShownRows.h"

#include <QToolButton>

namespace korvane::test {
namespace {

/// A page whose rules hide most lines.
class HiddenLinesTest : public AppFixture {
protected:
    static void hideAllBut(MainWindowController& page, const QString& text) {
        const auto rule =
            std::make_shared<FilterRule>(false, std::make_shared<SearchItem>(text),
                                         std::make_shared<HighlightRule>(), NotificationRule::defaultRule());
        FiltersManager::shared().addRule(rule);
        switchRule(rule->id(), absoluteString(page.document()->fileUrl()), true);
        page.logView().setHidesUnclaimedLines(true);
    }
    /// One-based numbers of the visible rows; gaps as the negative number of their lines.
    static std::vector<qint64> visibleLines(MainWindowController& page) {
        std::vector<qint64> lines;
        for (const RowPlaces::VisibleRow& row : tableOf(&page).scroller().visibleRows())
            lines.push_back(row.hiddenRows > 0 ? -row.hiddenRows : row.row + 1);
        return lines;
    }
    bool shows(MainWindowController& page, const std::vector<qint64>& lines) {
        return until([&] { return visibleLines(page) == lines; });
    }
    static QString footerText(MainWindowController& page) {
        QString text;
        for (const QLabel* label : page.findChild<FooterViewController*>()->findChildren<QLabel*>())
            text += label->text() + u' ';
        return text;
    }
};

TEST_F(HiddenLinesTest, LinesAreLeftOutWhileTheFileGrowsAndTheUserLooksAround) {
    const TemporaryFile file(numberedLines(30'000) + "\n");
    MainWindowController* page = openFollowed(file);
    LogTableView& table = tableOf(page);
    hideAllBut(*page, u"line 2999"_s);
    const NoticeStrip* strip = page->findChild<NoticeStrip*>();
    EXPECT_TRUE(until([&] { return strip->notice().remedies == QList{PageNotice::Remedy::LeaveOut}; }));
    Q_EMIT const_cast<NoticeStrip*>(strip)->remedyChosen(PageNotice::Remedy::LeaveOut);
    EXPECT_FALSE(Preferences::shared().offersToLeaveOut());

    std::vector<qint64> lines{2999};
    for (qint64 line = 29'990; line < 30'000; ++line)
        lines.push_back(line);
    EXPECT_TRUE(shows(*page, lines));
    EXPECT_TRUE(footerText(*page).contains(u"11 of 30,000 lines"_s)) << footerText(*page).toStdString();

    file.append("line 2999 again\nanother\n");
    lines.push_back(30'001);
    EXPECT_TRUE(shows(*page, lines)) << "the match that was appended is shown, the other line is not";
    EXPECT_TRUE(table.scroller().isAtEnd());

    table.selection().selectAll();
    page->logView().copier().copySelection();
    EXPECT_TRUE(until([&] { return QApplication::clipboard()->text().endsWith(u"again"_s); }));
    EXPECT_EQ(QApplication::clipboard()->text().count(u'\n'), 11);

    page->logView().goToLine(15'000);
    lines.insert(lines.begin() + 1, 15'000);
    EXPECT_TRUE(shows(*page, lines)) << "a line that is looked up is shown";
    EXPECT_EQ(table.selection().currentRow(), 14'999);
    page->logView().search().setText(u"line 20000"_s);
    page->logView().search().findNext();
    lines.insert(lines.begin() + 2, 20'000);
    EXPECT_TRUE(shows(*page, lines)) << "so is a match";
    EXPECT_TRUE(until([&] { return table.selection().currentRow() == 19'999; }));
    page->logView().lineMarker().setMarks({9}, true);
    lines.insert(lines.begin(), 10);
    EXPECT_TRUE(shows(*page, lines)) << "and a line that is marked";

    file.overwrite("line 2999\nother\n");
    EXPECT_TRUE(until([&] { return visibleLines(*page) == std::vector<qint64>{1}; })) << "another file";
}

TEST_F(HiddenLinesTest, ConditionsLeaveLinesOutBesideTheRules) {
    const TemporaryFile file(numberedLines(200));
    MainWindowController* page = open(file);
    auto* strip = page->findChild<ConditionStrip*>();
    const auto button = [&](const QString& text) {
        const auto buttons = strip->findChildren<QToolButton*>();
        const auto found = std::ranges::find_if(
            buttons, [&](const QToolButton* each) { return each->text().trimmed() == text; });
        return found == buttons.end() ? nullptr : *found;
    };
    EXPECT_FALSE(strip->isVisible());
    page->showOnlyLinesWith(u"LINE 18"_s);
    page->showLinesWithout(u"5"_s);
    EXPECT_TRUE(shows(*page, {18, 180, 181, 182, 183, 184, 186, 187, 188, 189}));
    EXPECT_TRUE(strip->isVisible());
    EXPECT_TRUE(button(u"with “LINE 18” (11)"_s));
    EXPECT_TRUE(button(u"without “5” (38)"_s));
    EXPECT_FALSE(button(u"All of These"_s)) << "there is only one";
    EXPECT_TRUE(footerText(*page).contains(u"10 of 200 lines"_s)) << footerText(*page).toStdString();

    page->showOnlyLinesWith(u"7"_s);
    EXPECT_TRUE(shows(*page, {187}));
    ASSERT_TRUE(button(u"All of These"_s));
    button(u"All of These"_s)->click();
    page->showOnlyLinesWith(u"5"_s);
    EXPECT_TRUE(until([&] { return page->logView().tableView().scroller().map().shownRowCount() == 81; }))
        << "with 18, 7 or 5: a text is either wanted or unwanted";
    page->showLinesWithout(u"5"_s);
    page->showLinesWithout(u"7"_s);
    file.append("\nline 1800\n");
    EXPECT_TRUE(shows(*page, {18, 180, 181, 182, 183, 184, 186, 188, 189, 201}))
        << "also while the file grows";

    Preferences::shared().setHiddenLines(HiddenLines::LeftOut);
    hideAllBut(*page, u"9"_s);
    EXPECT_TRUE(shows(*page, {189}));
    Preferences::shared().setHiddenLines(HiddenLines::AsFiltered);
    ASSERT_TRUE(button(u"Remove All"_s));
    button(u"Remove All"_s)->click();
    EXPECT_TRUE(until([&] { return page->logView().tableView().scroller().map().showsAll(); }));
    EXPECT_FALSE(strip->isVisible());
}

TEST_F(HiddenLinesTest, ContextIsOpenedByClicksAndCopiedAsItIsShown) {
    MainWindowController* page = open(numberedLines(1000));
    LogTableView& table = tableOf(page);
    Preferences::shared().setHiddenLines(HiddenLines::LeftOutWith2Around);
    hideAllBut(*page, u"line 500"_s);
    EXPECT_TRUE(shows(*page, {-497, 498, 499, 500, 501, 502, -498}));
    EXPECT_EQ(textOfRow(*page, 498), u"line 499"_s);
    table.selection().selectAll();
    page->logView().copier().copySelection();
    EXPECT_TRUE(until([&] { return QApplication::clipboard()->text().startsWith(u"line 498\n"_s); }));
    EXPECT_EQ(QApplication::clipboard()->text().count(u'\n'), 4);

    Q_EMIT table.gapClicked(502, 1);
    EXPECT_TRUE(shows(
        *page, {-497, 498, 499, 500, 501, 502, 503, 504, 505, 506, 507, 508, 509, 510, 511, 512, -488}));
    Q_EMIT table.gapClicked(0, 2);
    EXPECT_TRUE(until([&] { return table.scroller().map().shownRowCount() == 512; }));

    page->logView().clearView();
    EXPECT_TRUE(until([&] { return table.scroller().map().count() == 1; })) << "one gap of one row";
    page->logView().showAllLines();
    Preferences::shared().setHiddenLines(HiddenLines::AsFiltered);
    EXPECT_TRUE(table.scroller().map().showsAll());
    EXPECT_EQ(table.rowCount(), 1000);
}

TEST_F(HiddenLinesTest, AnotherEncodingIsExaminedAgain) {
    MainWindowController* page = open("gr\xc3\xbcn\nplain\n");
    Preferences::shared().setHiddenLines(HiddenLines::LeftOut);
    hideAllBut(*page, u"Ã"_s);
    EXPECT_TRUE(shows(*page, {}));
    page->logView().setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::isoLatin1});
    EXPECT_TRUE(shows(*page, {1}));
}

TEST_F(HiddenLinesTest, AFollowedFileWhoseFirstLinesAreLookedAtStaysThere) {
    const TemporaryFile file(numberedLines(2'000'000) + "\n");
    MainWindowController* page = openFollowed(file);
    ShownRows& rows = page->logView().shownRows();
    const auto showOnly = [&](const QString& text, qint64 lineCount) {
        rows.setConditions({{{SearchItem(text), ShownLines::Condition::Kind::Only}}, false});
        return until([&] { return rows.unhiddenRowCount() == lineCount; });
    };
    ASSERT_TRUE(showOnly(u"9999"_s, 560));
    EXPECT_EQ(visibleLines(*page).front(), 9999);
    rows.setConditions({});
    page->logView().goToLastLine();
    ASSERT_TRUE(showOnly(u"line 1999"_s, 1111));
    EXPECT_EQ(visibleLines(*page).back(), 1'999'999) << "a view at the end stays there";
}

TEST_F(HiddenLinesTest, AMatchInAFilteredRowIsOpened) {
    MainWindowController* page = open("one\nsecret needle\nthree needle\n");
    const auto isFiltered = [&](qint64 row) { return cellOf(page, row).identifier == cell::filtered; };
    hideAllBut(*page, u"one"_s);
    ASSERT_TRUE(until([&] { return isFiltered(1) && isFiltered(2); }));
    LogSearch& search = page->logView().search();
    search.setText(u"needle"_s);
    search.findNext();
    EXPECT_TRUE(until([&] { return !isFiltered(1); }));
    EXPECT_TRUE(says(page, u"Line 2 is hidden, and shown for its match"_s));
    EXPECT_TRUE(isFiltered(2));
    search.setText({});
    EXPECT_TRUE(until([&] { return isFiltered(1); }));
}

} // namespace
} // namespace korvane::test
