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

    /// Whether the key means something here: Left and Right alone only while the caret is shown.
    [[nodiscard]] bool pressKey(const QKeyEvent& event);
    /// Where the mouse has clicked or ended a selection: keys go on from there. `position` is an end of the
    /// selection, or the place of a click.
    void setStart(qint64 row, int anchor, int position);
    /// Another row is current: keys begin at the first character in view.
    void forget() { row_ = -1; }

private:
    bool isActive() const;
    /// Caret and anchor from what is selected or was clicked last, else the first character in view.
    void begin(qint64 row);
    int firstVisiblePosition(qint64 row) const;

    LogTableView& table_;
    qint64 row_ = -1;
    int anchor_ = 0;
    int position_ = 0;
};

} // namespace korvane
