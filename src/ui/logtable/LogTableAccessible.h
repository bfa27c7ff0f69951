#pragma once

#include "ui/logtable/LogTableAnnouncer.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QLatin1StringView>

#include <map>
#include <utility>

namespace korvane {

class LogTableView;

/// What assistive programs see of the log table: the cells of the visible rows are its children, however many
/// rows there are. Rows and columns count as in the table; what has no room in an int is cut to its largest
/// value. Cells exist from the first time that they are asked for until their row leaves the view.
///
/// Qt makes it when it is first asked for and owns it; the table removes it before it goes. Main thread.
class LogTableAccessible : public QAccessibleWidget, public QAccessibleTableInterface {
public:
    /// Has Qt make this for the tables that are created from now on. Any number of times.
    static void install();
    /// Removes the table's interface and those of its cells; for the table's destructor.
    static void remove(LogTableView& view);

    explicit LogTableAccessible(LogTableView& view);
    ~LogTableAccessible() override;

    LogTableView& view() const { return view_; }
    /// The cell of a visible row; null for any other.
    QAccessibleInterface* cell(qint64 row, QLatin1StringView column) const;
    QAccessibleInterface* columnHeader(QLatin1StringView column) const;
    /// -1 for a column that is not shown.
    int columnIndex(QLatin1StringView column) const;
    bool isVisibleRow(qint64 row) const;
    /// Lets go of cells whose row is not in view or whose column is not shown.
    void dropHiddenCells();

    // QAccessibleInterface
    QAccessibleInterface* childAt(int x, int y) const override;
    QAccessibleInterface* child(int index) const override;
    int childCount() const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    /// The line of the current row while the table has the focus.
    QAccessibleInterface* focusChild() const override;
    QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    // QAccessibleTableInterface
    QAccessibleInterface* caption() const override { return nullptr; }
    QAccessibleInterface* summary() const override { return nullptr; }
    /// Null for a row that is not in view.
    QAccessibleInterface* cellAt(int row, int column) const override;
    /// Those in view; a selection of the whole table can be too large to list.
    QList<QAccessibleInterface*> selectedCells() const override;
    QList<int> selectedRows() const override;
    int selectedCellCount() const override;
    int selectedRowCount() const override;
    QString columnDescription(int column) const override;
    QString rowDescription(int row) const override;
    int columnCount() const override;
    int rowCount() const override;
    int selectedColumnCount() const override { return 0; }
    QList<int> selectedColumns() const override { return {}; }
    bool isColumnSelected(int /*column*/) const override { return false; }
    bool isRowSelected(int row) const override;
    /// Makes it the current row, too, and brings it into view.
    bool selectRow(int row) override;
    bool selectColumn(int /*column*/) override { return false; }
    bool unselectRow(int /*row*/) override { return false; }
    bool unselectColumn(int /*column*/) override { return false; }
    void modelChange(QAccessibleTableModelChangeEvent* /*event*/) override {}

private:
    LogTableView& view_;
    LogTableAnnouncer announcer_;
    /// By row and identifier of the column.
    mutable std::map<std::pair<qint64, QLatin1StringView>, QAccessible::Id> cells_;
    mutable std::map<QLatin1StringView, QAccessible::Id> headers_;
};

} // namespace korvane
