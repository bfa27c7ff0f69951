#include "core/DerivedLineSet.h"
#include "ui/logtable/TableFixture.h"

#include <QScrollBar>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

/// A table that shows some of its rows.
class HiddenRowsTest : public test::TableFixture {
protected:
    static constexpr qint64 rowCount = 100'000;

    /// Shows these rows, the first of which are meant.
    static RowMap mapOf(const std::vector<qint64>& rows, RowMap::Gaps gaps, std::size_t meantCount = 1000) {
        const auto setOf = [](std::span<const qint64> lines) {
            LineSetWriter writer;
            writer.assign({0, rowCount}, lines);
            return writer.set();
        };
        const LineSet shown = setOf(rows);
        DerivedLineSet starts(
            [](std::span<const DerivedLineSet::Window> inputs) { return runStarts(inputs[0]); });
        return {{shown, starts.update({&shown, 1}, rowCount),
                 setOf(std::span(rows).first(std::min(meantCount, rows.size())))},
                {0, rowCount},
                gaps};
    }
    static std::vector<qint64> every(qint64 distance) {
        std::vector<qint64> rows;
        for (qint64 row = distance; row < rowCount; row += distance)
            rows.push_back(row);
        return rows;
    }
    std::vector<qint64> visible() const {
        std::vector<qint64> rows;
        for (const RowPlaces::VisibleRow& row : view_.scroller().visibleRows())
            rows.push_back(row.hiddenRows > 0 ? -row.hiddenRows : row.row);
        return rows;
    }
    qreal yOf(qint64 row) const {
        return view_.scroller().visibleRow(row).value_or(RowPlaces::VisibleRow{}).y;
    }
};

TEST_F(HiddenRowsTest, KeysAndScrollBarPassOverRowsThatAreNotShown) {
    show(rowCount, u"text"_s);
    for (const auto gaps : {RowMap::Gaps::None, RowMap::Gaps::Rows}) {
        view_.setRowMap(mapOf({5, 6, 50, 90'000}, gaps));
        press(Qt::Key_Home, Qt::ControlModifier);
        for (const qint64 row : {5, 6, 50, 90'000, 90'000}) {
            EXPECT_EQ(view_.selection().currentRow(), row);
            press(Qt::Key_Down);
        }
        press(Qt::Key_Up);
        EXPECT_EQ(view_.selection().currentRow(), 50);
        press(Qt::Key_PageDown);
        EXPECT_EQ(view_.selection().currentRow(), 90'000);
        EXPECT_EQ(view_.verticalScrollBar()->maximum(), 0) << "all shown rows fit";
    }
    EXPECT_EQ(visible(), (std::vector<qint64>{-5, 5, 6, -43, 50, -89'949, 90'000, -9'999}));
    view_.setRowMap(mapOf(every(10), RowMap::Gaps::None));
    EXPECT_EQ(view_.verticalScrollBar()->maximum(), 9'999 - view_.scroller().rowsPerPage());
    press(Qt::Key_End, Qt::ControlModifier);
    EXPECT_EQ(view_.selection().currentRow(), 99'990);
    EXPECT_TRUE(view_.scroller().isAtEnd());
}

TEST_F(HiddenRowsTest, TheTopRowStaysWhereItIsWhenOtherRowsAreShown) {
    // Some rows have several visual lines.
    show(
        rowCount, [](qint64 row) { return QString(row % 7 == 0 ? 200 : 5, u'x'); }, true);
    view_.setRowMap(mapOf(every(10), RowMap::Gaps::None));
    view_.scroller().setTopRow(42'000);
    view_.scroller().scrollByPixels(7);
    const qreal y = yOf(42'000);
    ASSERT_LT(y, 0);
    for (const qint64 distance : {5, 2, 10, 30}) {
        view_.setRowMap(mapOf(every(distance), RowMap::Gaps::Rows));
        EXPECT_EQ(visible().front(), 42'000) << distance;
        EXPECT_EQ(yOf(42'000), y) << distance;
    }
    view_.setRowMap(mapOf(every(13), RowMap::Gaps::None));
    EXPECT_EQ(visible().front(), 42'003) << "the next one that is shown";
    EXPECT_EQ(yOf(42'003), 0);
    view_.setRowMap(RowMap::ofAllRows(rowCount));
    EXPECT_EQ(visible().front(), 42'003);
}

TEST_F(HiddenRowsTest, TheSelectionGoesToTheNearestShownRow) {
    show(rowCount, u"some text"_s);
    view_.selection().selectText(104, {0, 4});
    view_.setRowMap(mapOf(every(10), RowMap::Gaps::None));
    EXPECT_EQ(view_.selection().currentRow(), 100);
    EXPECT_EQ(view_.selection().rows().ranges(), (Ranges{{100, 100}}));
    EXPECT_FALSE(view_.selection().text());
    view_.selection().selectAll();
    view_.setRowMap(mapOf(every(20), RowMap::Gaps::None));
    EXPECT_EQ(view_.selection().rows().ranges(), (Ranges{{0, rowCount - 1}}));
    view_.setRowMap(mapOf({}, RowMap::Gaps::Rows));
    EXPECT_EQ(view_.selection().currentRow(), -1);
    press(Qt::Key_Down);
    press(Qt::Key_PageDown);
    EXPECT_EQ(visible(), (std::vector<qint64>{-rowCount}));
}

TEST_F(HiddenRowsTest, AClickOnAGapSelectsNothingAndIsReported) {
    show(rowCount, u"text"_s);
    view_.setRowMap(mapOf(every(10), RowMap::Gaps::Rows));
    std::vector<std::pair<qint64, int>> clicks;
    QObject::connect(&view_, &LogTableView::gapClicked,
                     [&](qint64 row, int count) { clicks.emplace_back(row, count); });
    const QPoint place(200, static_cast<int>(yOf(11) + 3));
    QTest::mouseClick(view_.viewport(), Qt::LeftButton, {}, place);
    QTest::mouseDClick(view_.viewport(), Qt::LeftButton, {}, place);
    EXPECT_EQ(clicks, (std::vector<std::pair<qint64, int>>{{11, 1}, {11, 2}}));
    EXPECT_TRUE(view_.selection().rows().isEmpty());
}

TEST_F(HiddenRowsTest, ContextIsMutedAndHiddenLinesHaveTheirText) {
    show(rowCount, u"text"_s);
    source_->hidden = {10, 11};
    view_.rowsChanged();
    EXPECT_EQ(view_.delegate().viewForTableColumn(cell::line, 11).identifier, cell::filtered);
    const QImage before = view_.grab().toImage();
    view_.setRowMap(mapOf({10, 11, 12}, RowMap::Gaps::None, 1));
    EXPECT_EQ(view_.delegate().viewForTableColumn(cell::line, 11).identifier, cell::line);
    EXPECT_FALSE(view_.scroller().map().isContext(10));
    EXPECT_TRUE(view_.scroller().map().isContext(12));
    const QImage shown = view_.grab().toImage();
    const auto rowPicture = [&](qint64 row) {
        const auto height = static_cast<int>(view_.rowHeight());
        return shown.copy(static_cast<int>(view_.lineTextX()), static_cast<int>(yOf(row)), 200, height);
    };
    EXPECT_NE(rowPicture(10), rowPicture(11));
    EXPECT_EQ(rowPicture(11), rowPicture(12));
}

} // namespace
} // namespace korvane
