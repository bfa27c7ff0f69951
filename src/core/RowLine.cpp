#include "core/RowLine.h"

namespace korvane {

QString RowLine::description() const {
    return QStringLiteral("[Row #: %1, Line: %2]").arg(QString::number(rowNum), line.string());
}

} // namespace korvane
