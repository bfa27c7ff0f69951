#pragma once

#include <QColor>
#include <QLatin1StringView>

#include <vector>

namespace korvane {

/// A column of the log table: its identifier and its width in device-independent pixels.
struct LogTableColumn {
    QLatin1StringView identifier;
    qreal width = 0;
};

/// The colours of the log table. Those that the user chose are painted as they are.
struct LogTableColors {
    QColor background;
    QColor text;
    QColor lineNumber;
    /// Colours of text and line numbers that nobody chose: painted lighter or darker where they could not be
    /// read.
    std::vector<QColor> unchosen = {};
};

} // namespace korvane
