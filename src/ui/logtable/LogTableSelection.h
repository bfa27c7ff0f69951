#pragma once

#include "core/RowMap.h"
#include "foundation/text/AttributedString.h"
#include "ui/logtable/RowSelection.h"

#include <QObject>

#include <functional>
#include <optional>

namespace korvane {

/// What is selected in the log table: rows, or a part of one row's text with a caret. Rows outside the table
/// are not selected. Main thread; belongs to the table.
class LogTableSelection : public QObject {
    Q_OBJECT

public:
    /// A part of one row's text.
    struct Text {
        qint64 row = -1;
        TextRange range;
    };
    /// The caret: the position in one row's text from which keys select.
    struct Caret {
        qint64 row = -1;
        int position = 0;
    };

    explicit LogTableSelection(std::function<qint64()> rowCount);

    const RowSelection& rows() const { return rows_; }
    /// -1 without one.
    qint64 currentRow() const { return currentRow_; }
    const std::optional<Text>& text() const { return text_; }
    const std::optional<Caret>& caret() const { return caret_; }
    /// Selected text takes precedence over selected rows.
    bool showsRow(qint64 row) const { return rows_.contains(row) && !text_; }

    void selectRow(qint64 row);
    /// Selects from the last row selected by itself to this one, which becomes the current row.
    void selectRowsTo(qint64 row);
    /// Adds the row to the selection or removes it; it becomes the current row.
    void toggleRow(qint64 row);
    void selectAll();
    void clear();
    /// An empty range deselects the text.
    void selectText(qint64 row, TextRange range);
    /// Selects between the two positions of a row's text, with the caret at the second one. Any other
    /// selection hides the caret.
    void selectTextToCaret(qint64 row, int anchor, int position);
    /// Restores an earlier selection, as far as its rows exist.
    void restore(const RowSelection& rows, qint64 currentRow);
    /// Drops what is outside a table of these rows, without a signal. If the current row is not shown, the
    /// nearest shown row becomes current.
    void limitTo(const RowMap& map);

Q_SIGNALS:
    /// Rows, text or caret.
    void changed();

private:
    bool isRow(qint64 row) const { return row >= 0 && row < rowCount_(); }
    void dropText();
    /// Selects text of the row and makes it the current row.
    void takeText(qint64 row, TextRange range);

    const std::function<qint64()> rowCount_;
    RowSelection rows_;
    qint64 currentRow_ = -1;
    qint64 anchorRow_ = -1;
    std::optional<Text> text_;
    std::optional<Caret> caret_;
};

} // namespace korvane
