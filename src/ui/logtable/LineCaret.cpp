#include "ui/logtable/LineCaret.h"

#include "ui/logtable/LineWords.h"
#include "ui/logtable/LogTableView.h"

#include <QKeyEvent>

#include <algorithm>

namespace korvane {

void LineCaret::setStart(qint64 row, int anchor, int position) {
    row_ = row;
    anchor_ = anchor;
    position_ = position;
}

bool LineCaret::isActive() const {
    return table_.selection().caret().has_value() || table_.selection().text().has_value();
}

int LineCaret::firstVisiblePosition(qint64 row) const {
    const auto origin = table_.textOrigin(row);
    const auto view = table_.delegate().viewForTableColumn(cell::line, row);
    if (!origin || !view.layout)
        return 0;
    const QPointF corner(table_.lineTextX(), std::max(origin->y(), 0.0) + 1);
    return std::min(view.layout->positionAt(corner - *origin), view.shownLength());
}

void LineCaret::begin(qint64 row) {
    const auto& text = table_.selection().text();
    if (text && text->row == row) {
        const bool isKnown = row_ == row && std::min(anchor_, position_) == text->range.location &&
                             std::max(anchor_, position_) == text->range.end();
        if (!isKnown)
            setStart(row, text->range.location, text->range.end());
    } else if (row_ != row) {
        const int first = firstVisiblePosition(row);
        setStart(row, first, first);
    } else if (!table_.selection().caret()) {
        anchor_ = position_;
    }
}

bool LineCaret::pressKey(const QKeyEvent& event) {
    const bool selects = event.modifiers() & Qt::ShiftModifier;
    const bool byWord = event.modifiers() & Qt::ControlModifier;
    const bool isArrow = event.key() == Qt::Key_Left || event.key() == Qt::Key_Right;
    const bool isEdge = event.key() == Qt::Key_Home || event.key() == Qt::Key_End;
    const bool movesAcross = isArrow && (selects || byWord || table_.selection().caret());
    const bool selectsToEdge = isEdge && selects && !byWord && isActive();
    if (!movesAcross && !selectsToEdge)
        return false;
    if (table_.rowCount() == 0)
        return true;
    if (table_.selection().currentRow() < 0)
        table_.selection().selectRow(table_.scroller().firstVisibleRow());
    const auto& text = table_.selection().text();
    const qint64 row = text ? text->row : table_.selection().currentRow();
    if (!table_.rowRect(row))
        table_.scroller().scrollRowToVisible(row);
    const auto view = table_.delegate().viewForTableColumn(cell::line, row);
    if (!view.layout)
        return true;
    begin(row);
    const QString line = view.row->line.string().left(view.shownLength());
    const int direction = event.key() == Qt::Key_Right || event.key() == Qt::Key_End ? 1 : -1;
    if (isEdge)
        position_ = direction > 0 ? static_cast<int>(line.size()) : 0;
    else
        position_ = byWord ? nextWord(line, position_, direction) : nextCharacter(line, position_, direction);
    if (!selects)
        anchor_ = position_;
    table_.selection().selectTextToCaret(row, anchor_, position_);
    table_.scrollCaretToVisible();
    return true;
}

} // namespace korvane
