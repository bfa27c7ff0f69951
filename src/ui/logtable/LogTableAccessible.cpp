#include "ui/logtable/LogTableAccessible.h"

#include "ui/logtable/LogTableCellAccessible.h"
#include "ui/logtable/LogTableView.h"

#include <algorithm>
#include <limits>

namespace korvane {
namespace {

int toInt(qint64 count) {
    return static_cast<int>(std::min<qint64>(count, std::numeric_limits<int>::max()));
}

QAccessibleInterface* makeForTable(const QString& /*className*/, QObject* object) {
    auto* view = qobject_cast<LogTableView*>(object);
    return view ? static_cast<QAccessibleWidget*>(new LogTableAccessible(*view)) : nullptr;
}

} // namespace

void LogTableAccessible::install() {
    QAccessible::installFactory(makeForTable);
}

void LogTableAccessible::remove(LogTableView& view) {
    if (QAccessibleInterface* known = QAccessible::queryAccessibleInterface(&view))
        QAccessible::deleteAccessibleInterface(QAccessible::uniqueId(known));
}

LogTableAccessible::LogTableAccessible(LogTableView& view)
    : QAccessibleWidget(&view, QAccessible::Table), view_(view), announcer_(view, *this) {}

LogTableAccessible::~LogTableAccessible() {
    for (const auto& [place, id] : cells_)
        QAccessible::deleteAccessibleInterface(id);
    for (const auto& [column, id] : headers_)
        QAccessible::deleteAccessibleInterface(id);
}

// ---- Cells

QAccessibleInterface* LogTableAccessible::cell(qint64 row, QLatin1StringView column) const {
    if (!isVisibleRow(row) || columnIndex(column) < 0)
        return nullptr;
    const auto [place, isNew] = cells_.try_emplace({row, column});
    if (isNew)
        place->second =
            QAccessible::registerAccessibleInterface(new LogTableCellAccessible(*this, row, column));
    return QAccessible::accessibleInterface(place->second);
}

QAccessibleInterface* LogTableAccessible::columnHeader(QLatin1StringView column) const {
    const auto [place, isNew] = headers_.try_emplace(column);
    if (isNew)
        place->second = QAccessible::registerAccessibleInterface(new LogTableHeaderAccessible(*this, column));
    return QAccessible::accessibleInterface(place->second);
}

int LogTableAccessible::columnIndex(QLatin1StringView column) const {
    return view_.columns().indexOf(column);
}

bool LogTableAccessible::isVisibleRow(qint64 row) const {
    const RowMap& map = view_.scroller().map();
    return row >= view_.scroller().firstVisibleRow() && row <= view_.scroller().lastVisibleRow() &&
           map.rowAt(map.positionOf(row)) == row;
}

void LogTableAccessible::dropHiddenCells() {
    if (cells_.empty())
        return;
    std::erase_if(cells_, [&](const auto& entry) {
        const auto& [row, column] = entry.first;
        if (isVisibleRow(row) && columnIndex(column) >= 0)
            return false;
        QAccessible::deleteAccessibleInterface(entry.second);
        return true;
    });
}

// ---- As a widget

QAccessibleInterface* LogTableAccessible::childAt(int x, int y) const {
    const QPoint point = view_.viewport()->mapFromGlobal(QPoint(x, y));
    if (!view_.viewport()->rect().contains(point))
        return nullptr;
    return cell(view_.scroller().rowAt(point.y()), view_.columns().at(point.x()));
}

QAccessibleInterface* LogTableAccessible::child(int index) const {
    if (index < 0 || index >= childCount())
        return nullptr;
    const qint64 position = view_.scroller().topPosition() + index / columnCount();
    return cell(view_.scroller().map().rowAt(position),
                view_.columns().all()[static_cast<std::size_t>(index % columnCount())].identifier);
}

int LogTableAccessible::childCount() const {
    return static_cast<int>(view_.scroller().visibleRows().size()) * columnCount();
}

int LogTableAccessible::indexOfChild(const QAccessibleInterface* child) const {
    const auto* known = dynamic_cast<const LogTableCellAccessible*>(child);
    if (!known || &known->owner() != this || !known->isValid())
        return -1;
    const qint64 position = view_.scroller().map().positionOf(known->row());
    return static_cast<int>(position - view_.scroller().topPosition()) * columnCount() + known->columnIndex();
}

QAccessibleInterface* LogTableAccessible::focusChild() const {
    return view_.hasFocus() ? cell(view_.selection().currentRow(), cell::line) : nullptr;
}

QAccessible::State LogTableAccessible::state() const {
    QAccessible::State state = QAccessibleWidget::state();
    state.readOnly = true;
    state.multiSelectable = true;
    state.extSelectable = true;
    return state;
}

void* LogTableAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::TableInterface)
        return static_cast<QAccessibleTableInterface*>(this);
    return QAccessibleWidget::interface_cast(type);
}

// ---- As a table

QAccessibleInterface* LogTableAccessible::cellAt(int row, int column) const {
    if (column < 0 || column >= columnCount())
        return nullptr;
    return cell(row, view_.columns().all()[static_cast<std::size_t>(column)].identifier);
}

QList<int> LogTableAccessible::selectedRows() const {
    QList<int> rows;
    for (const RowPlaces::VisibleRow& row : view_.scroller().visibleRows())
        if (view_.selection().showsRow(row.row))
            rows.append(toInt(row.row));
    return rows;
}

QList<QAccessibleInterface*> LogTableAccessible::selectedCells() const {
    QList<QAccessibleInterface*> cells;
    for (const RowPlaces::VisibleRow& row : view_.scroller().visibleRows()) {
        if (!view_.selection().showsRow(row.row))
            continue;
        for (const LogTableColumn& column : view_.columns().all())
            cells.append(cell(row.row, column.identifier));
    }
    return cells;
}

int LogTableAccessible::selectedCellCount() const {
    return view_.selection().text() ? 0 : toInt(view_.selection().rows().count() * columnCount());
}

int LogTableAccessible::selectedRowCount() const {
    return view_.selection().text() ? 0 : toInt(view_.selection().rows().count());
}

QString LogTableAccessible::columnDescription(int column) const {
    if (column < 0 || column >= columnCount())
        return {};
    return columnTitle(view_.columns().all()[static_cast<std::size_t>(column)].identifier);
}

QString LogTableAccessible::rowDescription(int row) const {
    QAccessibleInterface* number = cell(row, cell::lineNum);
    return number ? number->text(QAccessible::Name) : QString();
}

int LogTableAccessible::columnCount() const {
    return static_cast<int>(view_.columns().count());
}

int LogTableAccessible::rowCount() const {
    return toInt(view_.rowCount());
}

bool LogTableAccessible::isRowSelected(int row) const {
    return view_.selection().showsRow(row);
}

bool LogTableAccessible::selectRow(int row) {
    if (row < 0 || row >= view_.rowCount())
        return false;
    view_.scroller().scrollRowToVisible(row);
    view_.selection().selectRow(row);
    return true;
}

} // namespace korvane
