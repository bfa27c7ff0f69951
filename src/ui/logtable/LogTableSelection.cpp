#include "ui/logtable/LogTableSelection.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace korvane {

LogTableSelection::LogTableSelection(std::function<qint64()> rowCount) : rowCount_(std::move(rowCount)) {}

void LogTableSelection::selectRow(qint64 row) {
    if (!isRow(row))
        return;
    dropText();
    currentRow_ = anchorRow_ = row;
    rows_.select(row, row);
    Q_EMIT changed();
}

void LogTableSelection::selectRowsTo(qint64 row) {
    if (!isRow(row))
        return;
    dropText();
    currentRow_ = row;
    if (anchorRow_ < 0)
        anchorRow_ = row;
    rows_.select(anchorRow_, row);
    Q_EMIT changed();
}

void LogTableSelection::toggleRow(qint64 row) {
    if (!isRow(row))
        return;
    dropText();
    rows_.toggle(row);
    currentRow_ = anchorRow_ = row;
    Q_EMIT changed();
}

void LogTableSelection::selectAll() {
    const qint64 count = rowCount_();
    if (count == 0)
        return;
    dropText();
    rows_.select(0, count - 1);
    anchorRow_ = 0;
    currentRow_ = count - 1;
    Q_EMIT changed();
}

void LogTableSelection::clear() {
    rows_.clear();
    dropText();
    Q_EMIT changed();
}

void LogTableSelection::selectText(qint64 row, TextRange range) {
    caret_.reset();
    takeText(row, range);
    Q_EMIT changed();
}

void LogTableSelection::selectTextToCaret(qint64 row, int anchor, int position) {
    takeText(row, {std::min(anchor, position), std::abs(position - anchor)});
    caret_ = Caret{row, position};
    Q_EMIT changed();
}

void LogTableSelection::restore(const RowSelection& rows, qint64 currentRow) {
    rows_ = rows;
    rows_.limitTo(rowCount_());
    currentRow_ = anchorRow_ = std::min(currentRow, rowCount_() - 1);
    Q_EMIT changed();
}

void LogTableSelection::limitTo(const RowMap& map) {
    const qint64 rowCount = map.rowCount();
    rows_.limitTo(rowCount);
    currentRow_ = std::min(currentRow_, rowCount - 1);
    anchorRow_ = std::min(anchorRow_, rowCount - 1);
    if (text_ && !map.shows(text_->row))
        text_.reset();
    if (caret_ && !map.shows(caret_->row))
        caret_.reset();
    if (currentRow_ < 0 || map.shows(currentRow_))
        return;
    const qint64 nearest = map.nearestShown(currentRow_).value_or(-1);
    if (rows_.count() == 1 && rows_.contains(currentRow_)) {
        rows_.clear();
        if (nearest >= 0)
            rows_.select(nearest, nearest);
    }
    currentRow_ = anchorRow_ = nearest;
}

void LogTableSelection::dropText() {
    text_.reset();
    caret_.reset();
}

void LogTableSelection::takeText(qint64 row, TextRange range) {
    text_ = range.length > 0 ? std::optional(Text{row, range}) : std::nullopt;
    // Deselect other rows: their selection would stay, but be invisible.
    currentRow_ = anchorRow_ = row;
    rows_.select(row, row);
}

} // namespace korvane
