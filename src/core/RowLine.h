#pragma once

#include "core/RuleMarks.h"
#include "foundation/text/AttributedString.h"

namespace korvane {

/// The value of one table cell.
struct RowLine {
    /// One-based line number.
    qint64 rowNum = 0;
    /// The text; empty for the columns without one.
    AttributedString line;
    /// Whether the line has been read; an unread one shows as loading.
    bool isLoaded = false;
    /// Bytes of a very long line that the text leaves out.
    quint64 cutBytes = 0;
    RuleMarks marks{};
    /// Rules hide the line, but a search has found it.
    bool isShownAnyway = false;

    QString description() const;
};

} // namespace korvane
