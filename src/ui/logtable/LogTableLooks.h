#pragma once

#include <QColor>

#include <vector>

namespace korvane {

/// The colours of the log table. Colours that the user chose are painted unchanged.
struct LogTableColors {
    QColor background;
    QColor text;
    QColor lineNumber;
    /// Default colours of text and line numbers: painted lighter or darker where they would be unreadable.
    std::vector<QColor> unchosen = {};
};

} // namespace korvane
