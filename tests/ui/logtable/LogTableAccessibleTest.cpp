#include "ui/logtable/LogTableAccessible.h"

#include "ui/logtable/TableFixture.h"

#include <limits>

namespace korvane::test {
namespace {

class LogTableAccessibleTest : public TableFixture {
protected:
    LogTableAccessibleTest() {
        LogTableAnnouncer::setListener([](QAccessibleEvent& event) {
            QAccessibleInterface* about = event.accessibleInterface();
            announced_.emplace_back(event.type(), about ? about->text(QAccessible::Name) : QString());
        });
        announced_.clear();
    }
    ~LogTableAccessibleTest() override { LogTableAnnouncer::setListener(nullptr); }

    QAccessibleInterface& accessible() const { return *QAccessible::queryAccessibleInterface(&view_); }
    QAccessibleTableInterface& table() const { return *accessible().tableInterface(); }
    QString nameAt(int row, int column) const {
        QAccessibleInterface* found = table().cellAt(row, column);
        return found ? found->text(QAccessible::Name) : u"(none)"_s;
    }
    QStringList namesOf(QAccessible::Event type) const {
        QStringList names;
        for (const auto& [event, name] : announced_) {
            if (event == type)
                names.append(name);
        }
        return names;
    }

    /// Events announced to assistive programs, with the names of their objects at that time.
    static inline std::vector<std::pair<QAccessible::Event, QString>> announced_;
};

TEST_F(LogTableAccessibleTest, OnlyVisibleCellsAreThereHoweverManyRowsTheTableHas) {
    show(5'000'000'000);
    ASSERT_EQ(accessible().role(), QAccessible::Table);
    EXPECT_EQ(accessible().text(QAccessible::Name), u"Log lines"_s);
    EXPECT_EQ(table().rowCount(), std::numeric_limits<int>::max());
    view_.selection().selectAll();
    for (const qint64 top : {0LL, 2'500'000'000LL, 4'999'999'999LL}) {
        view_.scroller().setTopRow(top);
        source_->asked.clear();
        const auto visible =
            static_cast<int>(view_.scroller().lastVisibleRow() - view_.scroller().firstVisibleRow() + 1);
        ASSERT_EQ(accessible().childCount(), visible * 3);
        for (int i = 0; i < visible * 3; ++i) {
            QAccessibleInterface* child = accessible().child(i);
            ASSERT_TRUE(child && child->isValid()) << i;
            EXPECT_EQ(accessible().indexOfChild(child), i);
            EXPECT_EQ(child->parent(), &accessible());
            EXPECT_EQ(child->tableCellInterface()->columnIndex(), i % 3);
            EXPECT_TRUE(child->state().selected);
            if (i % 3 == 2) {
                EXPECT_EQ(child->text(QAccessible::Name),
                          u"line %1"_s.arg(view_.scroller().firstVisibleRow() + i / 3 + 1));
            }
        }
        EXPECT_EQ(accessible().child(visible * 3), nullptr);
        EXPECT_EQ(table().selectedCells().size(), visible * 3);
        EXPECT_LT(source_->asked.size(), 300U);
    }
    EXPECT_EQ(table().selectedRowCount(), std::numeric_limits<int>::max());
}

TEST_F(LogTableAccessibleTest, ACellSaysWhatIsDrawnThere) {
    show(1000, [](qint64 row) {
        return row == 4 ? QString() : row == 5 ? u"a\u0001b\r"_s : u"text %1"_s.arg(row);
    });
    source_->hidden = {2};
    source_->marked = {3};
    unload({1});
    const QStringList lines{u"text 0"_s, u"Loading…"_s, u"Filtered"_s, u"text 3"_s, u""_s, u"a\u2401b"_s};
    for (int row = 0; row < lines.size(); ++row) {
        EXPECT_EQ(nameAt(row, 2), lines[row]);
        EXPECT_EQ(nameAt(row, 1), QString::number(row + 1));
        EXPECT_TRUE(table().cellAt(row, 0)->state().checkable);
        EXPECT_EQ(table().cellAt(row, 0)->state().checked, row == 3) << row;
        EXPECT_EQ(table().cellAt(row, 2)->state().busy, row == 1) << row;
        EXPECT_EQ(table().cellAt(row, 2)->text(QAccessible::Description), row == 3 ? u"Marked"_s : u""_s);
    }
    const QStringList titles{u"Line mark"_s, u"Line number"_s, u"Line"_s};
    for (int column = 0; column < 3; ++column) {
        EXPECT_EQ(table().columnDescription(column), titles[column]);
        const auto headers = table().cellAt(0, column)->tableCellInterface()->columnHeaderCells();
        ASSERT_EQ(headers.size(), 1);
        EXPECT_EQ(headers[0]->text(QAccessible::Name), titles[column]);
    }
    for (const auto& [row, column] : {std::pair{500, 2}, {-1, 2}, {1000, 2}, {0, 3}, {0, -1}})
        EXPECT_EQ(nameAt(row, column), u"(none)"_s) << row << " " << column;
}

TEST_F(LogTableAccessibleTest, CellsOutOfViewAreLetGoAndTheOthersStay) {
    show(1000);
    const auto idOf = [&](int row, int column) {
        QAccessibleInterface* found = table().cellAt(row, column);
        return found ? QAccessible::uniqueId(found) : QAccessible::Id(0);
    };
    const auto isThere = [](QAccessible::Id id) { return QAccessible::accessibleInterface(id) != nullptr; };
    const QAccessible::Id gone = idOf(1, 2);
    const QAccessible::Id kept = idOf(6, 2);
    view_.scroller().setTopRow(5);
    EXPECT_FALSE(isThere(gone));
    EXPECT_TRUE(isThere(kept));
    EXPECT_EQ(idOf(6, 2), kept);
    EXPECT_EQ(idOf(1, 2), 0U);

    const QAccessible::Id number = idOf(6, 1);
    LogTableColumns columns = view_.columns();
    columns.take(cell::lineNum);
    view_.setColumns(columns);
    EXPECT_FALSE(isThere(number));
    EXPECT_EQ(nameAt(6, 1), u"line 7"_s);
    EXPECT_EQ(table().cellAt(6, 1)->tableCellInterface()->columnIndex(), 1);

    // The file was cut short.
    const QAccessible::Id beyond = idOf(9, 1);
    setRows(8);
    EXPECT_FALSE(isThere(beyond));
    EXPECT_EQ(accessible().childCount(), 8 * 2);
    view_.setRowCount(0);
    EXPECT_FALSE(isThere(kept));
    EXPECT_EQ(accessible().childCount(), 0);

    view_.setRowCount(8);
    const QAccessible::Id last = idOf(0, 0);
    const QAccessible::Id whole = QAccessible::uniqueId(&accessible());
    window_.reset();
    EXPECT_FALSE(isThere(last));
    EXPECT_FALSE(isThere(whole));
}

TEST_F(LogTableAccessibleTest, ACellIsFoundWhereItIsDrawn) {
    show(1000);
    view_.scroller().setTopRow(100);
    for (int i = 0; i < accessible().childCount(); ++i) {
        QAccessibleInterface* child = accessible().child(i);
        // Row edges need not be at whole pixels.
        const QRect inside = child->rect().adjusted(0, 2, 0, -2);
        if (inside.isValid()) {
            for (const QPoint point : {inside.topLeft(), inside.center(), inside.bottomRight()})
                EXPECT_EQ(accessible().childAt(point.x(), point.y()), child) << i;
        }
        EXPECT_TRUE(accessible().rect().contains(child->rect())) << i;
    }
    const QPoint outside = accessible().rect().bottomRight() + QPoint(5, 5);
    EXPECT_EQ(accessible().childAt(outside.x(), outside.y()), nullptr);
}

TEST_F(LogTableAccessibleTest, TheCurrentRowHasTheFocusAndIsAnnounced) {
    show(1000);
    ASSERT_TRUE(isInFront(&view_));
    accessible();
    view_.clearFocus();
    view_.selection().selectRow(3);
    EXPECT_EQ(namesOf(QAccessible::Focus), QStringList()) << "the keys are elsewhere";
    view_.setFocus();
    ASSERT_TRUE(until([&] { return !namesOf(QAccessible::Focus).isEmpty(); }));
    EXPECT_EQ(namesOf(QAccessible::Focus), QStringList(u"line 4"_s));
    announced_.clear();
    press(Qt::Key_Down);
    EXPECT_EQ(namesOf(QAccessible::Focus), QStringList(u"line 5"_s));
    EXPECT_EQ(accessible().focusChild()->text(QAccessible::Name), u"line 5"_s);
    EXPECT_TRUE(table().cellAt(4, 2)->state().focused);
    EXPECT_FALSE(table().cellAt(3, 2)->state().focused);
    EXPECT_EQ(table().selectedRows(), QList<int>{4});
    EXPECT_EQ(namesOf(QAccessible::SelectionWithin), QStringList(u"Log lines"_s));
    // A row outside the view is announced when it is scrolled into view.
    view_.selection().selectRow(500);
    view_.scroller().scrollRowToVisible(500);
    press(Qt::Key_End);
    EXPECT_EQ(namesOf(QAccessible::Focus), QStringList({u"line 5"_s, u"line 501"_s, u"line 1000"_s}));
}

TEST_F(LogTableAccessibleTest, AGrowingTableIsAnnouncedNowAndThen) {
    show(1000);
    accessible();
    const auto changes = [&] { return namesOf(QAccessible::TableModelChanged).size(); };
    for (qint64 rows = 1001; rows <= 1100; ++rows)
        setRows(rows, rows - 1);
    EXPECT_EQ(changes(), 0);
    ASSERT_TRUE(until([&] { return changes() > 0; }));
    EXPECT_EQ(changes(), 1);
    setRows(1101, 1100);
    ASSERT_TRUE(until([&] { return changes() > 1; })) << "the last rows are announced, too";
}

TEST_F(LogTableAccessibleTest, TextSelectedInALineCanBeReadAndSet) {
    show(100, u"alpha beta gamma"_s);
    QAccessibleInterface* line = table().cellAt(2, 2);
    QAccessibleTextInterface* text = line->textInterface();
    EXPECT_EQ(table().cellAt(2, 1)->textInterface(), nullptr);
    // A character is found where it is drawn.
    for (const int offset : {0, 7, 15}) {
        const QRect place = text->characterRect(offset);
        EXPECT_EQ(text->offsetAtPoint(place.center()), offset);
        EXPECT_TRUE(line->rect().contains(place.center()));
    }
    const QPoint beta = view_.viewport()->mapFromGlobal(text->characterRect(7).center());
    QTest::mouseDClick(view_.viewport(), Qt::LeftButton, {}, beta);
    ASSERT_EQ(text->selectionCount(), 1);
    int start = -1;
    int end = -1;
    text->selection(0, &start, &end);
    EXPECT_EQ(text->text(start, end), u"beta"_s);
    EXPECT_EQ(table().cellAt(3, 2)->textInterface()->selectionCount(), 0);
    EXPECT_FALSE(line->state().selected) << "a part of the line is selected, not the row";
    EXPECT_FALSE(namesOf(QAccessible::TextSelectionChanged).isEmpty());
    text->setSelection(0, 11, 1000);
    EXPECT_EQ(view_.selectedText(), u"gamma"_s);
    text->removeSelection(0);
    EXPECT_FALSE(view_.selection().text());
}

TEST_F(LogTableAccessibleTest, AssistiveProgramsCanMarkAndSelectLines) {
    show(1000);
    ASSERT_TRUE(isInFront(&view_));
    QObject::connect(&view_, &LogTableView::lineMarkClicked, &view_, [&](qint64 row) {
        if (source_->marked.erase(row) == 0)
            source_->marked.insert(row);
    });
    QAccessibleInterface* mark = table().cellAt(4, 0);
    for (const bool isMarked : {true, false}) {
        announced_.clear();
        mark->actionInterface()->doAction(QAccessibleActionInterface::toggleAction());
        EXPECT_EQ(mark->state().checked, isMarked);
        EXPECT_EQ(source_->marked.contains(4), isMarked);
        EXPECT_EQ(namesOf(QAccessible::StateChanged).size(), 1);
    }
    table().cellAt(6, 2)->actionInterface()->doAction(QAccessibleActionInterface::setFocusAction());
    EXPECT_TRUE(view_.hasFocus());
    EXPECT_EQ(view_.selection().currentRow(), 6);
    EXPECT_TRUE(table().selectRow(700));
    EXPECT_EQ(table().selectedRows(), QList<int>{700}) << "it is brought into view";
    EXPECT_FALSE(table().selectRow(1000));
}

} // namespace
} // namespace korvane::test
