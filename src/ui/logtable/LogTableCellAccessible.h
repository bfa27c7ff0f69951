#pragma once

#include "foundation/text/AttributedString.h"

#include <QAccessible>
#include <QCoreApplication>
#include <QLatin1StringView>

namespace korvane {

class LogTableAccessible;
class LogTableView;

/// User-visible name of the column.
QString columnTitle(QLatin1StringView column);

/// One cell of the log table for assistive programs, as it is drawn. A mark is a check box that can be
/// toggled; a line is text, of which a part may be selected. Main thread; the table's interface creates and
/// releases it.
class LogTableCellAccessible : public QAccessibleInterface,
                               public QAccessibleTableCellInterface,
                               public QAccessibleTextInterface,
                               public QAccessibleActionInterface {
    Q_DECLARE_TR_FUNCTIONS(LogTableCellAccessible)

public:
    /// `table` must outlive the cell.
    LogTableCellAccessible(const LogTableAccessible& table, qint64 row, QLatin1StringView column);

    const LogTableAccessible& owner() const { return table_; }
    qint64 row() const { return row_; }

    // QAccessibleInterface
    /// True while its row is visible and its column is shown.
    bool isValid() const override;
    QObject* object() const override { return nullptr; }
    QWindow* window() const override;
    QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override { return nullptr; }
    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }
    QString text(QAccessible::Text kind) const override;
    void setText(QAccessible::Text /*kind*/, const QString& /*text*/) override {}
    QRect rect() const override;
    QAccessible::Role role() const override { return QAccessible::Cell; }
    QAccessible::State state() const override;
    void* interface_cast(QAccessible::InterfaceType type) override;

    // QAccessibleTableCellInterface
    bool isSelected() const override;
    QList<QAccessibleInterface*> columnHeaderCells() const override;
    QList<QAccessibleInterface*> rowHeaderCells() const override { return {}; }
    int columnIndex() const override;
    int rowIndex() const override;
    int columnExtent() const override { return 1; }
    int rowExtent() const override { return 1; }
    QAccessibleInterface* table() const override { return parent(); }

    // QAccessibleTextInterface; only for the line cell. Offsets are those of the line's text.
    void selection(int index, int* startOffset, int* endOffset) const override;
    int selectionCount() const override;
    void addSelection(int startOffset, int endOffset) override;
    void removeSelection(int index) override;
    void setSelection(int index, int startOffset, int endOffset) override;
    int cursorPosition() const override;
    void setCursorPosition(int /*position*/) override {}
    QString text(int startOffset, int endOffset) const override;
    int characterCount() const override;
    QRect characterRect(int offset) const override;
    int offsetAtPoint(const QPoint& point) const override;
    void scrollToSubstring(int startIndex, int endIndex) override;
    QString attributes(int offset, int* startOffset, int* endOffset) const override;

    // QAccessibleActionInterface
    QStringList actionNames() const override;
    void doAction(const QString& name) override;
    QStringList keyBindingsForAction(const QString& /*name*/) const override { return {}; }

private:
    LogTableView& view() const;
    QString shownText() const;
    /// Remarks on the line in addition to its text.
    QString remarks() const;
    bool isMarked() const;
    bool isLine() const;
    TextRange selectedRange() const;

    const LogTableAccessible& table_;
    const qint64 row_;
    const QLatin1StringView column_;
};

/// The header of a column, which is not drawn. Main thread; the table's interface creates and releases it.
class LogTableHeaderAccessible : public QAccessibleInterface {
public:
    /// `table` must outlive the header.
    LogTableHeaderAccessible(const LogTableAccessible& table, QLatin1StringView column)
        : table_(table), column_(column) {}

    bool isValid() const override;
    QObject* object() const override { return nullptr; }
    QAccessibleInterface* childAt(int /*x*/, int /*y*/) const override { return nullptr; }
    QAccessibleInterface* parent() const override;
    QAccessibleInterface* child(int /*index*/) const override { return nullptr; }
    int childCount() const override { return 0; }
    int indexOfChild(const QAccessibleInterface* /*child*/) const override { return -1; }
    QString text(QAccessible::Text kind) const override;
    void setText(QAccessible::Text /*kind*/, const QString& /*text*/) override {}
    QRect rect() const override { return {}; }
    QAccessible::Role role() const override { return QAccessible::ColumnHeader; }
    QAccessible::State state() const override;

private:
    const LogTableAccessible& table_;
    const QLatin1StringView column_;
};

} // namespace korvane
