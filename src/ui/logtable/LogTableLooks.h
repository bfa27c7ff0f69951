#pragma once

#include <QColor>
#include <QLatin1StringView>

namespace korvane {

/// A column of the log table: its identifier and its width in device-independent pixels.
struct LogTableColumn {
    QLatin1StringView identifier;
    qreal width = 0;
};

/// The colours that the user chose for the log table.
struct LogTableColors {
    QColor background;
    QColor text;
    QColor lineNumber;
};

} // namespace korvane
