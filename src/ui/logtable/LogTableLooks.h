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

/// The colours of the log table. Colours that the user chose are painted unchanged.
struct LogTableColors {
    QColor background;
    QColor text;
    QColor lineNumber;
    /// Default colours of text and line numbers: painted lighter or darker where they would be unreadable.
    std::vector<QColor> unchosen = {};
};

} // namespace korvane
