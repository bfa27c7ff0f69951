#pragma once

#include "ui/logtable/LogTableAnnouncer.h"

#include <QAccessible>
#include <QAccessibleWidget>
#include <QLatin1StringView>

#include <map>
#include <utility>

namespace korvane {

class LogTableView;

/// The log table for assistive programs: its children are the cells of the visible rows only. Rows and
/// columns count as in the table; counts are clamped to the range of int. A cell exists from its first
/// request until its row leaves the view.
///
/// Qt creates it on first request and owns it; the table removes it before its own end. Main thread.
class LogTableAccessible : public QAccessibleWidget, public QAccessibleTableInterface {
public:
    /// Registers the factory for tables created from now on. May be called repeatedly.
    static void install();
    /// Removes the table's interface and those of its cells; for the table's destructor.
    static void remove(LogTableView& view);

    explicit LogTableAccessible(LogTableView& view);
    ~LogTableAccessible() override;

    LogTableView& view() const { return view_; }
    /// The cell of a visible row; null for other rows.
    QAccessibleInterface* cell(qint64 row, QLatin1StringView column) const;
    QAccessibleInterface* columnHeader(QLatin1StringView column) const;
    /// -1 for a column that is not shown.
    int columnIndex(QLatin1StringView column) const;
    bool isVisibleRow(qint64 row) const;
    /// Releases cells whose row is not visible or whose column is not shown.
    void dropHiddenCells();

    // QAccessibleInterface
    QAccessibleInterface* childAt(int x, int y) const override;
    QAccessibleInterface* child(int index) const override;
    int childCount() const override;
    int indexOfChild(const QAccessibleInterface* child) const override;
    /// The line cell of the current row while the table has the focus.
    QAccessibleInterface* focusChild() const override;
    QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    // QAccessibleTableInterface
    QAccessibleInterface* caption() const override { return nullptr; }
    QAccessibleInterface* summary() const override { return nullptr; }
    /// Null for a row that is not visible.
    QAccessibleInterface* cellAt(int row, int column) const override;
    /// Only visible cells; a selection of the whole table can be too large to list.
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
    /// Also makes the row current and scrolls it into view.
    bool selectRow(int row) override;
    bool selectColumn(int /*column*/) override { return false; }
    bool unselectRow(int /*row*/) override { return false; }
    bool unselectColumn(int /*column*/) override { return false; }
    void modelChange(QAccessibleTableModelChangeEvent* /*event*/) override {}

private:
    LogTableView& view_;
    LogTableAnnouncer announcer_;
    /// Key: row and column identifier.
    mutable std::map<std::pair<qint64, QLatin1StringView>, QAccessible::Id> cells_;
    mutable std::map<QLatin1StringView, QAccessible::Id> headers_;
};

} // namespace korvane
