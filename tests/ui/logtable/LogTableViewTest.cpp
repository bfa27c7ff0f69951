#include "ui/logtable/LogTableView.h"

#include "ui/logtable/FakeDataSource.h"

#include <QApplication>
#include <QFontDatabase>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>
#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class LogTableViewTest : public ::testing::Test {
protected:
    void show(std::shared_ptr<test::FakeDataSource> source, bool wrapping = false) {
        source_ = std::move(source);
        QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
        font.setPointSize(12);
        view_.setColumnWidth(cell::lineMark, 18);
        view_.setColumnWidth(cell::lineNum, 60);
        view_.resize(600, 400);
        view_.delegate().setFont(font);
        view_.delegate().setWrapping(wrapping);
        view_.setColumnWidth(cell::line, 500);
        view_.delegate().setDataSource(source_);
        view_.layoutChanged();
        view_.setRowCount(source_->numberOfRows());
        view_.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view_));
    }

    int fullRows() const { return static_cast<int>(view_.viewport()->height() / view_.rowHeight()); }
    QPoint pointInRow(qint64 row, int column) const {
        const auto area = view_.rowRect(row);
        const qreal cellWidth = const_cast<LogTableView&>(view_).delegate().metrics().cellWidth();
        return QPointF(18 + 60 + 6 + (column + 0.2) * cellWidth, area ? area->center().y() : -1).toPoint();
    }
    void wheel(int delta) {
        const QPointF place(300, 200);
        QWheelEvent event(place, view_.viewport()->mapToGlobal(place), {}, {0, delta}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(view_.viewport(), &event);
    }
    void drag(QPoint from, QPoint to) {
        QTest::mousePress(view_.viewport(), Qt::LeftButton, {}, from);
        QTest::mouseMove(view_.viewport(), (from + to) / 2);
        QTest::mouseMove(view_.viewport(), to);
        QTest::mouseRelease(view_.viewport(), Qt::LeftButton, {}, to);
    }

    std::shared_ptr<test::FakeDataSource> source_;
    LogTableView view_;
};

TEST_F(LogTableViewTest, OnlyVisibleRowsAreAskedForHoweverManyThereAre) {
    show(std::make_shared<test::FakeDataSource>(5'000'000'000));
    EXPECT_LT(source_->asked.size(), 200U);
    for (const qint64 row : {0LL, 2'500'000'000LL, 4'999'999'000LL, 4'999'999'999LL}) {
        source_->asked.clear();
        view_.setTopRow(row);
        view_.grab();
        EXPECT_LT(source_->asked.size(), 200U);
        EXPECT_TRUE(view_.rowRect(row)) << row;
    }
    EXPECT_EQ(view_.lastVisibleRow(), 4'999'999'999);
}

TEST_F(LogTableViewTest, TheScrollBarReachesBothEndsOfAnyTable) {
    for (const qint64 rows : {30LL, 5000LL, 100'000'000LL, 5'000'000'000LL}) {
        view_.hide();
        show(std::make_shared<test::FakeDataSource>(rows));
        view_.verticalScrollBar()->setValue(view_.verticalScrollBar()->maximum());
        EXPECT_EQ(view_.lastVisibleRow(), rows - 1);
        EXPECT_TRUE(view_.isAtEnd());
        const auto last = view_.rowRect(rows - 1);
        ASSERT_TRUE(last);
        EXPECT_NEAR(last->bottom(), view_.viewport()->height(), 1.0);
        view_.verticalScrollBar()->setValue(0);
        EXPECT_EQ(view_.firstVisibleRow(), 0);
        EXPECT_EQ(view_.isAtEnd(), rows <= fullRows());
    }
}

TEST_F(LogTableViewTest, AViewAtItsEndStaysThereWhenItIsResized) {
    show(std::make_shared<test::FakeDataSource>(1000));
    view_.scrollToEnd();
    for (const int height : {200, 500}) {
        view_.resize(600, height);
        EXPECT_TRUE(view_.isAtEnd()) << height;
    }
    view_.setTopRow(500);
    view_.resize(600, 300);
    EXPECT_EQ(view_.firstVisibleRow(), 500);
}

TEST_F(LogTableViewTest, FewRowsStartAtTheTop) {
    show(std::make_shared<test::FakeDataSource>(3));
    EXPECT_TRUE(view_.isAtEnd());
    QTest::keyClick(&view_, Qt::Key_End);
    ASSERT_TRUE(view_.rowRect(0));
    EXPECT_EQ(view_.rowRect(0)->top(), 0);
    EXPECT_EQ(view_.currentRow(), 2);
}

TEST_F(LogTableViewTest, RowsAddedAtTheEndLeaveTheViewWhereItIs) {
    show(std::make_shared<test::FakeDataSource>(1000));
    view_.setTopRow(500);
    source_->setRows(2000);
    view_.setRowCount(2000);
    view_.rowsChanged(999);
    EXPECT_EQ(view_.firstVisibleRow(), 500);
    // A file cut short takes the view along to what is left.
    source_->setRows(100);
    view_.setRowCount(100);
    view_.rowsChanged();
    EXPECT_EQ(view_.lastVisibleRow(), 99);
    EXPECT_TRUE(view_.isAtEnd());
}

TEST_F(LogTableViewTest, UnwrappedRowsAllHaveTheHeightOfTheFont) {
    show(std::make_shared<test::FakeDataSource>(
        50, [](qint64 row) { return row % 2 ? QString() : u"京都 x "_s.repeated(40); }));
    source_->unloaded.insert(4);
    const qreal height = view_.delegate().heightOfRow(0);
    for (const qint64 row : {1, 2, 3, 4, 49})
        EXPECT_EQ(view_.delegate().heightOfRow(row), height);
    QFont larger = view_.delegate().metrics().font();
    larger.setPointSizeF(24);
    view_.delegate().setFont(larger);
    view_.layoutChanged();
    EXPECT_GT(view_.delegate().heightOfRow(0), height * 1.5);
}

TEST_F(LogTableViewTest, WrappedHeightsFollowTextAndWidth) {
    QString text = u"word "_s.repeated(60);
    show(std::make_shared<test::FakeDataSource>(50,
                                                [&text](qint64 row) { return row == 3 ? QString() : text; }),
         true);
    source_->unloaded.insert(5);
    const qreal one = view_.rowHeight();
    EXPECT_EQ(view_.delegate().heightOfRow(3), one);
    EXPECT_EQ(view_.delegate().heightOfRow(5), one);
    const qreal wrapped = view_.delegate().heightOfRow(4);
    EXPECT_GT(wrapped, 4 * one);
    // An unloaded row is measured as soon as it is there: nothing was kept for it.
    source_->unloaded.clear();
    EXPECT_EQ(view_.delegate().heightOfRow(5), wrapped);
    view_.setColumnWidth(cell::line, 1000);
    view_.layoutChanged();
    EXPECT_LT(view_.delegate().heightOfRow(4), wrapped * 0.7);
    // The text of later rows changed: only they are measured again.
    text = u"short"_s;
    const qreal before = view_.delegate().heightOfRow(4);
    view_.delegate().heightOfRow(10);
    view_.rowsChanged(10);
    EXPECT_EQ(view_.delegate().heightOfRow(4), before);
    EXPECT_EQ(view_.delegate().heightOfRow(10), one);
}

TEST_F(LogTableViewTest, AWrappedRowTallerThanTheViewCanBeReadToItsEnd) {
    show(std::make_shared<test::FakeDataSource>(
             3, [](qint64 row) { return row == 1 ? u"word "_s.repeated(3000) : u"x"_s; }),
         true);
    const qreal tall = view_.delegate().heightOfRow(1);
    ASSERT_GT(tall, view_.viewport()->height() * 3.0);
    view_.scrollToEnd();
    EXPECT_NEAR(view_.rowRect(2)->bottom(), view_.viewport()->height(), 1.0);
    EXPECT_LT(view_.rowRect(1)->top(), 0);
    for (int i = 0; i < 1000 && (!view_.rowRect(0) || view_.rowRect(0)->top() != 0); ++i)
        wheel(120);
    ASSERT_TRUE(view_.rowRect(0));
    EXPECT_EQ(view_.rowRect(0)->top(), 0);
}

TEST_F(LogTableViewTest, HiddenUnloadedAndEmptyRowsGetTheirOwnCells) {
    show(std::make_shared<test::FakeDataSource>(10,
                                                [](qint64 row) { return row == 3 ? QString() : u"text"_s; }));
    source_->unloaded.insert(1);
    source_->hidden = {2, 3};
    view_.rowsChanged();
    const auto cellOf = [&](qint64 row) {
        return view_.delegate().viewForTableColumn(cell::line, row).identifier;
    };
    EXPECT_EQ(cellOf(0), cell::line);
    EXPECT_EQ(cellOf(1), cell::loading);
    EXPECT_EQ(cellOf(2), cell::filtered);
    EXPECT_EQ(cellOf(3), cell::line) << "an empty line is never hidden";
    view_.delegate().setWrapping(true);
    EXPECT_EQ(cellOf(0), cell::wrappedLine);
}

TEST_F(LogTableViewTest, KeysMoveTheCurrentRowAndKeepItVisible) {
    show(std::make_shared<test::FakeDataSource>(1000));
    view_.selectRow(0);
    for (int i = 0; i < 40; ++i)
        QTest::keyClick(&view_, Qt::Key_Down);
    EXPECT_EQ(view_.currentRow(), 40);
    const auto area = view_.rowRect(40);
    ASSERT_TRUE(area);
    EXPECT_LE(area->bottom(), view_.viewport()->height());
    QTest::keyClick(&view_, Qt::Key_PageDown);
    EXPECT_EQ(view_.currentRow(), 40 + fullRows() - 1);
    QTest::keyClick(&view_, Qt::Key_PageUp);
    EXPECT_EQ(view_.currentRow(), 40);
    QTest::keyClick(&view_, Qt::Key_Up, Qt::ShiftModifier);
    QTest::keyClick(&view_, Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(view_.selection().ranges(), (std::vector<RowSelection::Range>{{38, 40}}));
    QTest::keyClick(&view_, Qt::Key_End);
    EXPECT_EQ(view_.currentRow(), 999);
    EXPECT_TRUE(view_.isAtEnd());
    QTest::keyClick(&view_, Qt::Key_Home);
    EXPECT_EQ(view_.firstVisibleRow(), 0);
    EXPECT_EQ(view_.selection().ranges(), (std::vector<RowSelection::Range>{{0, 0}}));
}

TEST_F(LogTableViewTest, ASelectionNeverReachesBeyondAFileCutShort) {
    show(std::make_shared<test::FakeDataSource>(1000));
    view_.selectRow(900);
    source_->setRows(100);
    view_.setRowCount(100);
    view_.rowsChanged();
    QTest::keyClick(&view_, Qt::Key_Up, Qt::ShiftModifier);
    EXPECT_EQ(view_.selection().ranges(), (std::vector<RowSelection::Range>{{98, 99}}));
}

TEST_F(LogTableViewTest, ADragInsideALineSelectsTextAndAcrossLinesRows) {
    show(std::make_shared<test::FakeDataSource>(100, [](qint64) { return u"alpha beta gamma"_s; }));
    drag(pointInRow(2, 6), pointInRow(2, 10));
    ASSERT_TRUE(view_.textSelection());
    EXPECT_EQ(view_.selectedText(), u"beta"_s);
    drag(pointInRow(2, 10), pointInRow(2, 6));
    EXPECT_EQ(view_.selectedText(), u"beta"_s);
    drag(pointInRow(2, 6), pointInRow(5, 3));
    EXPECT_FALSE(view_.textSelection());
    EXPECT_EQ(view_.selection().ranges(), (std::vector<RowSelection::Range>{{2, 5}}));
    // Out and back again into the first line is text again.
    QTest::mousePress(view_.viewport(), Qt::LeftButton, {}, pointInRow(2, 0));
    QTest::mouseMove(view_.viewport(), pointInRow(4, 5));
    QTest::mouseMove(view_.viewport(), pointInRow(2, 5));
    QTest::mouseRelease(view_.viewport(), Qt::LeftButton, {}, pointInRow(2, 5));
    EXPECT_EQ(view_.selectedText(), u"alpha"_s);
}

TEST_F(LogTableViewTest, ClicksSelectRowsWordsAndRanges) {
    show(std::make_shared<test::FakeDataSource>(100, [](qint64) { return u"alpha beta_2 gamma"_s; }));
    QTest::mouseClick(view_.viewport(), Qt::LeftButton, {}, pointInRow(3, 2));
    EXPECT_EQ(view_.selection().ranges(), (std::vector<RowSelection::Range>{{3, 3}}));
    QTest::mouseClick(view_.viewport(), Qt::LeftButton, Qt::ShiftModifier, pointInRow(6, 2));
    QTest::mouseClick(view_.viewport(), Qt::LeftButton, Qt::ControlModifier, pointInRow(4, 2));
    EXPECT_EQ(view_.selection().ranges(), (std::vector<RowSelection::Range>{{3, 3}, {5, 6}}));
    QTest::mouseDClick(view_.viewport(), Qt::LeftButton, {}, pointInRow(8, 9));
    EXPECT_EQ(view_.selectedText(), u"beta_2"_s);
    QTest::mouseClick(view_.viewport(), Qt::LeftButton, {}, pointInRow(8, 9));
    EXPECT_EQ(view_.selectedText(), u"alpha beta_2 gamma"_s) << "a third click takes the line's text";
    QSignalSpy marks(&view_, &LogTableView::lineMarkClicked);
    QTest::mouseClick(view_.viewport(), Qt::LeftButton, {}, QPoint(5, pointInRow(7, 0).y()));
    ASSERT_EQ(marks.size(), 1);
    EXPECT_EQ(marks[0][0].toLongLong(), 7);
}

TEST_F(LogTableViewTest, AFoundTextIsBroughtIntoViewSideways) {
    show(std::make_shared<test::FakeDataSource>(1000, [](qint64) { return u"x"_s.repeated(2000); }));
    view_.scrollTextToVisible(700, {1500, 5});
    ASSERT_TRUE(view_.rowRect(700));
    const auto cell = view_.delegate().viewForTableColumn(cell::line, 700);
    const qreal left = cell.layout->characterRect(1500).left() - view_.horizontalScrollBar()->value();
    EXPECT_GE(left, 0);
    EXPECT_LT(left, view_.viewport()->width() - 84);
}

} // namespace
} // namespace korvane
