#include "ui/logtable/LogTableCellAccessible.h"

#include "foundation/text/VisibleText.h"
#include "ui/logtable/LogRowPainter.h"
#include "ui/logtable/LogTableAccessible.h"
#include "ui/logtable/LogTableView.h"

#include <algorithm>
#include <limits>

namespace korvane {

QString columnTitle(QLatin1StringView column) {
    if (column == cell::lineMark)
        return QCoreApplication::translate("LogTableAccessible", "Line mark");
    if (column == cell::lineNum)
        return QCoreApplication::translate("LogTableAccessible", "Line number");
    return QCoreApplication::translate("LogTableAccessible", "Line");
}

// ---- The cell

LogTableCellAccessible::LogTableCellAccessible(const LogTableAccessible& table, qint64 row,
                                               QLatin1StringView column)
    : table_(table), row_(row), column_(column) {}

LogTableView& LogTableCellAccessible::view() const {
    return table_.view();
}

bool LogTableCellAccessible::isLine() const {
    return column_ == cell::line;
}

bool LogTableCellAccessible::isMarked() const {
    return view().delegate().viewForTableColumn(cell::lineMark, row_).isMarked;
}

bool LogTableCellAccessible::isValid() const {
    return table_.isVisibleRow(row_) && table_.columnIndex(column_) >= 0;
}

QWindow* LogTableCellAccessible::window() const {
    return table_.window();
}

QAccessibleInterface* LogTableCellAccessible::parent() const {
    return QAccessible::queryAccessibleInterface(&view());
}

QString LogTableCellAccessible::shownText() const {
    if (const qint64 hidden = view().scroller().map().gapAt(row_).length; hidden > 0)
        return LogRowPainter::gapText(hidden);
    const auto shown = view().delegate().viewForTableColumn(column_, row_);
    if (column_ == cell::lineMark)
        return columnTitle(column_);
    if (column_ == cell::lineNum)
        return QString::number(shown.lineNumber);
    if (shown.identifier == cell::loading)
        return LogRowPainter::loadingText();
    if (shown.identifier == cell::filtered)
        return LogRowPainter::filteredText();
    return visibleText(shown.row->line.string());
}

QString LogTableCellAccessible::remarks() const {
    QStringList remarks;
    if (isMarked())
        remarks.append(tr("Marked"));
    const auto shown = view().delegate().viewForTableColumn(cell::line, row_);
    if (const QString cut = LogRowPainter::cutText(shown); !cut.isEmpty())
        remarks.append(cut);
    if (LogRowPainter::isGivenUp(shown))
        remarks.append(tr("A rule has given this line up"));
    return remarks.join(u", ");
}

QString LogTableCellAccessible::text(QAccessible::Text kind) const {
    if (kind == QAccessible::Name)
        return shownText();
    if (kind == QAccessible::Description && isLine())
        return remarks();
    return {};
}

QRect LogTableCellAccessible::rect() const {
    const auto area = view().rowRect(row_);
    if (!area || columnIndex() < 0)
        return {};
    const qreal left = view().columns().x(column_);
    const qreal right = isLine() ? area->right() : left + view().columns().width(column_);
    const QRectF place(left, area->top(), right - left, area->height());
    const QRect visible = place.toAlignedRect() & view().viewport()->rect();
    return {view().viewport()->mapToGlobal(visible.topLeft()), visible.size()};
}

QAccessible::State LogTableCellAccessible::state() const {
    QAccessible::State state;
    state.invalid = !isValid();
    state.readOnly = true;
    state.focusable = true;
    state.selectable = true;
    state.selected = isSelected();
    state.focused = isLine() && row_ == view().selection().currentRow() && view().hasFocus();
    if (column_ == cell::lineMark) {
        state.checkable = true;
        state.checked = isMarked();
    }
    if (isLine()) {
        state.selectableText = true;
        state.busy = view().delegate().viewForTableColumn(column_, row_).identifier == cell::loading;
    }
    return state;
}

void* LogTableCellAccessible::interface_cast(QAccessible::InterfaceType type) {
    if (type == QAccessible::TableCellInterface)
        return static_cast<QAccessibleTableCellInterface*>(this);
    if (type == QAccessible::ActionInterface)
        return static_cast<QAccessibleActionInterface*>(this);
    if (type == QAccessible::TextInterface && isLine())
        return static_cast<QAccessibleTextInterface*>(this);
    return nullptr;
}

// ---- As a part of the table

bool LogTableCellAccessible::isSelected() const {
    return view().selection().showsRow(row_);
}

QList<QAccessibleInterface*> LogTableCellAccessible::columnHeaderCells() const {
    return {table_.columnHeader(column_)};
}

int LogTableCellAccessible::columnIndex() const {
    return table_.columnIndex(column_);
}

int LogTableCellAccessible::rowIndex() const {
    return static_cast<int>(std::min<qint64>(row_, std::numeric_limits<int>::max()));
}

// ---- As text

TextRange LogTableCellAccessible::selectedRange() const {
    const auto& selected = view().selection().text();
    return selected && selected->row == row_ ? selected->range : TextRange{};
}

void LogTableCellAccessible::selection(int index, int* startOffset, int* endOffset) const {
    const TextRange range = index == 0 ? selectedRange() : TextRange{};
    *startOffset = range.location;
    *endOffset = range.end();
}

int LogTableCellAccessible::selectionCount() const {
    return selectedRange().length > 0 ? 1 : 0;
}

void LogTableCellAccessible::addSelection(int startOffset, int endOffset) {
    setSelection(0, startOffset, endOffset);
}

void LogTableCellAccessible::removeSelection(int index) {
    if (index == 0 && selectionCount() > 0)
        view().selection().selectText(row_, {});
}

void LogTableCellAccessible::setSelection(int index, int startOffset, int endOffset) {
    const auto shown = view().delegate().viewForTableColumn(cell::line, row_);
    if (index != 0 || !shown.layout)
        return;
    const int length = shown.row->line.length();
    const int start = std::clamp(std::min(startOffset, endOffset), 0, length);
    const int end = std::clamp(std::max(startOffset, endOffset), 0, length);
    view().selection().selectText(row_, {start, end - start});
}

int LogTableCellAccessible::cursorPosition() const {
    const auto& caret = view().selection().caret();
    return caret && caret->row == row_ ? caret->position : selectedRange().end();
}

QString LogTableCellAccessible::text(int startOffset, int endOffset) const {
    const QString whole = shownText();
    const int end = endOffset < 0 ? static_cast<int>(whole.size()) : endOffset;
    return whole.mid(startOffset, std::max(0, end - startOffset));
}

int LogTableCellAccessible::characterCount() const {
    return static_cast<int>(shownText().size());
}

QRect LogTableCellAccessible::characterRect(int offset) const {
    const auto corner = view().textOrigin(row_);
    const auto shown = view().delegate().viewForTableColumn(cell::line, row_);
    if (!corner || !shown.layout || offset < 0 || offset > shown.row->line.length())
        return {};
    const QRect place = shown.layout->characterRect(offset).translated(*corner).toAlignedRect();
    return {view().viewport()->mapToGlobal(place.topLeft()), place.size()};
}

int LogTableCellAccessible::offsetAtPoint(const QPoint& point) const {
    const auto corner = view().textOrigin(row_);
    const auto shown = view().delegate().viewForTableColumn(cell::line, row_);
    if (!corner || !shown.layout || !rect().contains(point))
        return -1;
    const QPointF inLayout = view().viewport()->mapFromGlobal(QPointF(point)) - *corner;
    const int length = shown.row->line.length();
    const int nearest = std::min(shown.layout->positionAt(inLayout), length);
    // The character under the point, not the nearest border between two.
    const bool isBefore =
        nearest > 0 && (nearest == length || shown.layout->characterRect(nearest).left() > inLayout.x());
    return isBefore ? nearest - 1 : nearest;
}

void LogTableCellAccessible::scrollToSubstring(int startIndex, int endIndex) {
    view().scrollTextToVisible(row_, {startIndex, std::max(0, endIndex - startIndex)});
}

QString LogTableCellAccessible::attributes(int /*offset*/, int* startOffset, int* endOffset) const {
    *startOffset = 0;
    *endOffset = characterCount();
    return {};
}

// ---- Actions

QStringList LogTableCellAccessible::actionNames() const {
    return {column_ == cell::lineMark ? toggleAction() : setFocusAction()};
}

void LogTableCellAccessible::doAction(const QString& name) {
    if (!actionNames().contains(name))
        return;
    if (name == setFocusAction()) {
        view().selection().selectRow(row_);
        view().setFocus(Qt::OtherFocusReason);
        return;
    }
    // Handlers of the click may change the rows, and so delete the cells: use the id.
    const QAccessible::Id id = QAccessible::uniqueId(this);
    const bool wasMarked = isMarked();
    Q_EMIT view().lineMarkClicked(row_);
    QAccessibleInterface* known = QAccessible::accessibleInterface(id);
    if (known && LogTableAnnouncer::hasListener() && known->state().checked != wasMarked) {
        QAccessible::State changed;
        changed.checked = true;
        LogTableAnnouncer::announce(QAccessibleStateChangeEvent(known, changed));
    }
}

// ---- The header of a column

bool LogTableHeaderAccessible::isValid() const {
    return table_.columnIndex(column_) >= 0;
}

QAccessibleInterface* LogTableHeaderAccessible::parent() const {
    return QAccessible::queryAccessibleInterface(&table_.view());
}

QString LogTableHeaderAccessible::text(QAccessible::Text kind) const {
    return kind == QAccessible::Name ? columnTitle(column_) : QString();
}

QAccessible::State LogTableHeaderAccessible::state() const {
    QAccessible::State state;
    state.invisible = true;
    return state;
}

} // namespace korvane
