#pragma once

#include "foundation/text/AttributedString.h"

#include <QtGlobal>

class QKeyEvent;

namespace korvane {

class LogTableView;

/// Selects text inside the current row by keys: Ctrl with an arrow moves by words, Shift selects. The table
/// draws the place. Main thread; belongs to the table's input.
class LineCaret {
public:
    explicit LineCaret(LogTableView& table) : table_(table) {}

    /// Handles a key; false if it has no meaning here. Left and Right without modifiers count only while the
    /// caret is shown.
    [[nodiscard]] bool pressKey(const QKeyEvent& event);
    /// Sets where keys continue after the mouse has clicked or selected. `position` is an end of the
    /// selection, or the place of the click.
    void setStart(qint64 row, int anchor, int position);
    /// Another row is current: keys start at the first visible character.
    void forget() { row_ = -1; }

private:
    bool isActive() const;
    /// Places caret and anchor at the last selection or click, otherwise at the first visible character.
    void begin(qint64 row);
    int firstVisiblePosition(qint64 row) const;

    LogTableView& table_;
    qint64 row_ = -1;
    int anchor_ = 0;
    int position_ = 0;
};

} // namespace korvane
