#include "ui/logtable/TableFixture.h"

#include <algorithm>
#include <set>

namespace korvane::test {
namespace {

class LogTableViewTest : public TableFixture {
protected:
    int fullRows() const { return static_cast<int>(view_.viewport()->height() / view_.rowHeight()); }
    QPoint pointInRow(qint64 row, int column) const {
        const auto area = view_.rowRect(row);
        const qreal cellWidth = view_.delegate().metrics().cellWidth();
        return QPointF(18 + 60 + 6 + (column + 0.2) * cellWidth, area ? area->center().y() : -1).toPoint();
    }
    void wheel(int delta) {
        const QPointF place(300, 200);
        QWheelEvent event(place, view_.viewport()->mapToGlobal(place), {}, {0, delta}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view_.viewport(), &event);
    }
    void clickOn(QPoint place, Qt::KeyboardModifiers modifiers = {}) {
        QTest::mouseClick(view_.viewport(), Qt::LeftButton, modifiers, place);
    }
    /// Drags from the first to the last place through the others.
    void drag(const std::vector<QPoint>& places) {
        QTest::mousePress(view_.viewport(), Qt::LeftButton, {}, places.front());
        for (const QPoint place : places)
            QTest::mouseMove(view_.viewport(), place);
        QTest::mouseRelease(view_.viewport(), Qt::LeftButton, {}, places.back());
    }
    /// Clicks in quick succession; each second press is a double click, as Qt reports it.
    void click(QPoint place, int times) {
        for (int i = 1; i <= times; ++i) {
            milliseconds_ += 50;
            for (const auto type : {i % 2 ? QEvent::MouseButtonPress : QEvent::MouseButtonDblClick,
                                    QEvent::MouseButtonRelease}) {
                QMouseEvent event(type, place, view_.viewport()->mapToGlobal(place), Qt::LeftButton,
                                  type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton, {});
                event.setTimestamp(milliseconds_);
                QApplication::sendEvent(view_.viewport(), &event);
            }
        }
        milliseconds_ += 5000;
    }
    /// Fully visible lines on the screen, as row and line within the row, after unloaded rows have been
    /// loaded.
    std::set<std::pair<qint64, int>> seenLines() {
        while (!source_->unloaded.empty()) {
            const auto before = source_->unloaded.size();
            for (qint64 row = view_.scroller().firstVisibleRow(); row <= view_.scroller().lastVisibleRow();
                 ++row)
                source_->unloaded.erase(row);
            if (source_->unloaded.size() == before)
                break;
            view_.rowsChanged();
        }
        std::set<std::pair<qint64, int>> seen;
        for (qint64 row = view_.scroller().firstVisibleRow(); row <= view_.scroller().lastVisibleRow();
             ++row) {
            const QRectF area = *view_.rowRect(row);
            const int count = qRound(area.height() / view_.rowHeight());
            for (int line = 0; line < count; ++line) {
                const qreal top = area.top() + line * view_.rowHeight();
                if (top > -0.5 && top + view_.rowHeight() < view_.viewport()->height() + 0.5)
                    seen.emplace(row, line);
            }
        }
        return seen;
    }

    Ranges selected() const { return view_.selection().rows().ranges(); }
    qreal heightOf(qint64 row) { return view_.delegate().heightOfRow(row); }

    quint64 milliseconds_ = 0;
};

TEST_F(LogTableViewTest, OnlyVisibleRowsAreAskedForHoweverManyThereAre) {
    show(5'000'000'000);
    EXPECT_LT(source_->asked.size(), 200U);
    for (const qint64 row : {0LL, 2'500'000'000LL, 4'999'999'000LL, 4'999'999'999LL}) {
        source_->asked.clear();
        view_.scroller().setTopRow(row);
        view_.grab();
        EXPECT_LT(source_->asked.size(), 200U);
        EXPECT_TRUE(view_.rowRect(row)) << row;
    }
    EXPECT_EQ(view_.scroller().lastVisibleRow(), 4'999'999'999);
}

TEST_F(LogTableViewTest, TheScrollBarReachesBothEndsOfAnyTable) {
    for (const qint64 rows : {30LL, 5000LL, 100'000'000LL, 5'000'000'000LL}) {
        show(rows);
        view_.verticalScrollBar()->setValue(view_.verticalScrollBar()->maximum());
        EXPECT_EQ(view_.scroller().lastVisibleRow(), rows - 1);
        EXPECT_TRUE(view_.scroller().isAtEnd());
        EXPECT_NEAR(view_.rowRect(rows - 1).value().bottom(), view_.viewport()->height(), 1.0);
        view_.verticalScrollBar()->setValue(0);
        EXPECT_EQ(view_.scroller().firstVisibleRow(), 0);
        EXPECT_EQ(view_.scroller().isAtEnd(), rows <= fullRows());
    }
}

TEST_F(LogTableViewTest, FewRowsStartAtTheTop) {
    show(3);
    EXPECT_TRUE(view_.scroller().isAtEnd());
    press(Qt::Key_End);
    EXPECT_EQ(view_.rowRect(0).value().top(), 0);
    EXPECT_EQ(view_.selection().currentRow(), 2);
}

TEST_F(LogTableViewTest, TheViewStaysWhereItIsWhenTheWindowIsResizedAndRowsAreAdded) {
    show(1000);
    view_.scroller().scrollToEnd();
    for (const int height : {200, 500}) {
        view_.resize(600, height);
        EXPECT_TRUE(view_.scroller().isAtEnd()) << height;
    }
    view_.scroller().setTopRow(500);
    view_.resize(600, 300);
    EXPECT_EQ(view_.scroller().firstVisibleRow(), 500);
    setRows(2000, 999);
    EXPECT_EQ(view_.scroller().firstVisibleRow(), 500);
    // When a file is cut short, the view moves to the remaining rows.
    setRows(100);
    EXPECT_EQ(view_.scroller().lastVisibleRow(), 99);
    EXPECT_TRUE(view_.scroller().isAtEnd());
}

TEST_F(LogTableViewTest, UnwrappedRowsAllHaveTheHeightOfTheFont) {
    show(50, [](qint64 row) { return row % 2 ? QString() : u"京都 x "_s.repeated(40); });
    source_->unloaded.insert(4);
    const qreal height = heightOf(0);
    for (const qint64 row : {1, 2, 3, 4, 49})
        EXPECT_EQ(heightOf(row), height);
    QFont larger = view_.delegate().metrics().font();
    larger.setPointSizeF(24);
    view_.delegate().setFont(larger);
    view_.layoutChanged();
    EXPECT_GT(heightOf(0), height * 1.5);
}

TEST_F(LogTableViewTest, WrappedHeightsFollowTextAndWidth) {
    QString text = u"word "_s.repeated(60);
    show(
        50, [&text](qint64 row) { return row == 3 ? QString() : text; }, true);
    source_->unloaded.insert(5);
    const qreal one = view_.rowHeight();
    EXPECT_EQ(heightOf(3), one);
    EXPECT_EQ(heightOf(5), one);
    EXPECT_EQ(view_.delegate().viewForTableColumn(cell::line, 4).identifier, cell::wrappedLine);
    const qreal wrapped = heightOf(4);
    EXPECT_GT(wrapped, 4 * one);
    // An unloaded row is measured once it is loaded: no height was kept for it.
    source_->unloaded.clear();
    EXPECT_EQ(heightOf(5), wrapped);
    view_.setColumnWidth(cell::line, 1000);
    view_.layoutChanged();
    EXPECT_LT(heightOf(4), wrapped * 0.7);
    // The text of later rows changed: only they are measured again.
    text = u"short"_s;
    const qreal before = heightOf(4);
    heightOf(10);
    view_.rowsChanged(10);
    EXPECT_EQ(heightOf(4), before);
    EXPECT_EQ(heightOf(10), one);
}

TEST_F(LogTableViewTest, AWrappedRowTallerThanTheViewCanBeReadToItsEnd) {
    show(
        3, [](qint64 row) { return row == 1 ? u"word "_s.repeated(3000) : u"x"_s; }, true);
    const qreal tall = heightOf(1);
    ASSERT_GT(tall, view_.viewport()->height() * 3.0);
    view_.scroller().scrollToEnd();
    EXPECT_NEAR(view_.rowRect(2)->bottom(), view_.viewport()->height(), 1.0);
    EXPECT_LT(view_.rowRect(1)->top(), 0);
    for (int i = 0; i < 1000 && (!view_.rowRect(0) || view_.rowRect(0)->top() != 0); ++i)
        wheel(120);
    EXPECT_EQ(view_.rowRect(0).value().top(), 0);
}

TEST_F(LogTableViewTest, KeysThatReadOnSkipNoLineHoweverTallRowsAre) {
    // Heights from one line to more than the view shows, in mixed order.
    const auto text = [](qint64 row) { return u"word "_s.repeated(row % 7 == 3 ? 600 : (row * 37) % 90); };
    for (const auto& [key, wrapping, isLoadedLate] :
         Rows<Qt::Key, bool, bool>{{Qt::Key_PageDown, false, false},
                                   {Qt::Key_PageUp, false, false},
                                   {Qt::Key_PageDown, true, false},
                                   {Qt::Key_PageUp, true, false},
                                   {Qt::Key_PageDown, true, true},
                                   {Qt::Key_PageUp, true, true},
                                   {Qt::Key_Down, true, false},
                                   {Qt::Key_Up, true, false},
                                   {Qt::Key_Up, true, true}}) {
        SCOPED_TRACE(testing::Message() << key << wrapping << isLoadedLate);
        show(30, text, wrapping);
        if (isLoadedLate)
            unloadAll();
        const bool goesDown = key == Qt::Key_PageDown || key == Qt::Key_Down;
        press(goesDown ? Qt::Key_Home : Qt::Key_End);
        auto before = seenLines();
        view_.scroller().scrollToEnd();
        if (goesDown)
            view_.scroller().setTopRow(0);
        auto all = before = seenLines();
        for (int i = 0; i < 3000; ++i) {
            const RowPlace place = view_.scroller().topPlace();
            const qint64 row = view_.selection().currentRow();
            press(key);
            const auto seen = seenLines();
            ASSERT_TRUE(view_.rowRect(view_.selection().currentRow()));
            ASSERT_TRUE(std::ranges::any_of(seen, [&](const auto& line) { return before.contains(line); }))
                << "a line stays in view from page to page";
            all.insert(seen.begin(), seen.end());
            before = seen;
            if (place == view_.scroller().topPlace() && row == view_.selection().currentRow())
                break;
        }
        EXPECT_EQ(view_.selection().currentRow(), goesDown ? 29 : 0);
        for (qint64 row = 0; row < 30; ++row) {
            const int lines = qRound(heightOf(row) / view_.rowHeight());
            for (int line = 0; line < lines; ++line)
                EXPECT_TRUE(all.contains({row, line})) << row << " " << line;
        }
    }
}

TEST_F(LogTableViewTest, ALineThatWasGoneToStaysInViewWhenRowsAboveItGetTheirText) {
    show(1000, u"word "_s.repeated(200), true);
    unloadAll();
    EXPECT_FALSE(view_.scrollTextToVisible(500, {}));
    const qreal y = view_.rowRect(500)->top();
    unload({});
    EXPECT_EQ(view_.rowRect(500).value().top(), y);
}

TEST_F(LogTableViewTest, KeysMoveTheCurrentRowAndKeepItVisible) {
    show(1000);
    view_.selection().selectRow(0);
    for (int i = 0; i < 40; ++i)
        press(Qt::Key_Down);
    EXPECT_EQ(view_.selection().currentRow(), 40);
    EXPECT_LE(view_.rowRect(40).value().bottom(), view_.viewport()->height());
    press(Qt::Key_PageDown);
    EXPECT_EQ(view_.selection().currentRow(), 40 + fullRows() - 1);
    press(Qt::Key_PageUp);
    EXPECT_EQ(view_.selection().currentRow(), 40);
    press(Qt::Key_Up, Qt::ShiftModifier);
    press(Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(selected(), (Ranges{{38, 40}}));
    press(Qt::Key_End);
    EXPECT_EQ(view_.selection().currentRow(), 999);
    EXPECT_TRUE(view_.scroller().isAtEnd());
    press(Qt::Key_Home);
    EXPECT_EQ(view_.scroller().firstVisibleRow(), 0);
    EXPECT_EQ(selected(), (Ranges{{0, 0}}));
}

TEST_F(LogTableViewTest, ASelectionNeverReachesBeyondAFileCutShort) {
    show(1000);
    view_.selection().selectRow(900);
    setRows(100);
    press(Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(selected(), (Ranges{{98, 99}}));
}

TEST_F(LogTableViewTest, ADragInsideALineSelectsTextAndAcrossLinesRows) {
    show(100, u"alpha beta gamma"_s);
    drag({pointInRow(2, 6), pointInRow(2, 10)});
    EXPECT_EQ(view_.selectedText(), u"beta"_s);
    drag({pointInRow(2, 10), pointInRow(2, 6)});
    EXPECT_EQ(view_.selectedText(), u"beta"_s);
    drag({pointInRow(2, 6), pointInRow(5, 3)});
    EXPECT_FALSE(view_.selection().text());
    EXPECT_EQ(selected(), (Ranges{{2, 5}}));
    // Dragging out of the first line and back selects text again.
    drag({pointInRow(2, 0), pointInRow(4, 5), pointInRow(2, 5)});
    EXPECT_EQ(view_.selectedText(), u"alpha"_s);
    EXPECT_EQ(selected(), (Ranges{{2, 2}})) << "none stays unseen";
    EXPECT_EQ(view_.selection().currentRow(), 2);
}

TEST_F(LogTableViewTest, ClicksSelectRowsAndRanges) {
    show(100, u"alpha beta_2 gamma"_s);
    clickOn(pointInRow(3, 2), {});
    EXPECT_EQ(selected(), (Ranges{{3, 3}}));
    clickOn(pointInRow(6, 2), Qt::ShiftModifier);
    clickOn(pointInRow(4, 2), Qt::ControlModifier);
    EXPECT_EQ(selected(), (Ranges{{3, 3}, {5, 6}}));
    QSignalSpy marks(&view_, &LogTableView::lineMarkClicked);
    clickOn(QPoint(5, pointInRow(7, 0).y()));
    EXPECT_EQ(marks, QList<QVariantList>{QVariantList{7LL}});
}

TEST_F(LogTableViewTest, EachFurtherClickTakesMoreOfTheLine) {
    const QString text = u"id=req-000a10: from me@host:22/a_b c.\r"_s;
    show(100, text);
    QSignalSpy reports(&view_, &LogTableView::selectedByMouse);
    for (const auto& [column, clicks, taken] : Rows<int, int, QString>{{8, 1, {}},
                                                                       {8, 2, u"000a10"_s},
                                                                       {8, 3, u"req-000a10"_s},
                                                                       {8, 4, text.chopped(1)},
                                                                       {24, 2, u"host"_s},
                                                                       {22, 3, u"me@host:22/a_b"_s},
                                                                       {32, 2, u"a_b"_s},
                                                                       {35, 3, u"c"_s},
                                                                       {13, 3, u"req-000a10:"_s},
                                                                       {2, 3, u"="_s}}) {
        reports.clear();
        click(pointInRow(3, column), clicks);
        EXPECT_EQ(view_.selectedText(), taken) << column << " " << clicks;
        EXPECT_EQ(reports.size(), clicks - 1) << "a click alone selects no text";
    }
}

TEST_F(LogTableViewTest, KeysSelectTextInsideTheCurrentRow) {
    show(100, [](qint64 row) { return row == 5 ? u"x\U0001F600e\u0301y"_s : u"alpha beta-2 gamma"_s; });
    const auto select = Qt::ShiftModifier;
    const auto selectWord = Qt::ShiftModifier | Qt::ControlModifier;
    view_.selection().selectRow(3);
    for (const auto& [keys, taken] : Rows<QList<QKeyCombination>, QString>{
             {{select | Qt::Key_Right, select | Qt::Key_Right}, u"al"_s},
             {{selectWord | Qt::Key_Right}, u"alpha "_s},
             {{Qt::CTRL | Qt::Key_Right}, {}},
             {{selectWord | Qt::Key_Right, select | Qt::Key_Left}, u"2"_s},
             {{select | Qt::Key_End}, u"2 gamma"_s},
             {{select | Qt::Key_Home}, u"alpha beta-"_s},
             {{Qt::Key_Left}, {}},
             {{select | Qt::Key_Right}, u"a"_s},
             // In another row the selection begins at its start; characters are selected whole.
             {{Qt::Key_Down, Qt::Key_Down, select | Qt::Key_Right, select | Qt::Key_Right}, u"x\U0001F600"_s},
             {{select | Qt::Key_Right}, u"x\U0001F600e\u0301"_s},
             {{select | Qt::Key_Left}, u"x\U0001F600"_s}}) {
        for (const QKeyCombination& key : keys)
            press(key.key(), key.keyboardModifiers());
        EXPECT_EQ(view_.selectedText(), taken);
    }
    EXPECT_EQ(view_.selection().currentRow(), 5);
    // Continues from the mouse selection.
    click(pointInRow(7, 8), 2);
    press(Qt::Key_Right, selectWord);
    EXPECT_EQ(view_.selectedText(), u"beta-"_s);
    press(Qt::Key_End);
    EXPECT_EQ(view_.selection().currentRow(), 99) << "without Shift it goes to the last row";
}

TEST_F(LogTableViewTest, TheCaretIsScrolledIntoViewSidewaysAndInTallRows) {
    for (const bool wrapping : {false, true}) {
        show(3, u"word "_s.repeated(3000), wrapping);
        view_.selection().selectRow(1);
        for (int i = 0; i < 1200; ++i)
            press(Qt::Key_Right, Qt::ControlModifier);
        ASSERT_TRUE(view_.selection().caret());
        EXPECT_EQ(view_.selection().caret()->position, 1200 * 5);
        const auto cell = view_.delegate().viewForTableColumn(cell::line, 1);
        const QRectF caret =
            cell.layout->characterRect(view_.selection().caret()->position).translated(*view_.textOrigin(1));
        EXPECT_TRUE(QRectF(view_.viewport()->rect()).contains(caret)) << wrapping;
    }
}

TEST_F(LogTableViewTest, AFoundTextIsBroughtIntoViewSideways) {
    show(1000, u"x"_s.repeated(2000));
    view_.scrollTextToVisible(700, {1500, 5});
    ASSERT_TRUE(view_.rowRect(700));
    const auto cell = view_.delegate().viewForTableColumn(cell::line, 700);
    const qreal left = cell.layout->characterRect(1500).left() - view_.horizontalScrollBar()->value();
    EXPECT_GE(left, 0);
    EXPECT_LT(left, view_.viewport()->width() - 84);
}

} // namespace
} // namespace korvane::test
