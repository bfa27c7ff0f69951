#include "bookmarks/LineMarkEntry.h"

#include "foundation/FatalError.h"

#include <QCoreApplication>

namespace korvane {

QString LineMarkEntry::keptText(const QString& line) {
    if (line.size() <= longestText)
        return line;
    const bool isTorn = line[longestText].isLowSurrogate() && line[longestText - 1].isHighSurrogate();
    return line.left(isTorn ? longestText - 1 : longestText);
}

qint64 LineMarkEntry::lineNumForView() const {
    qint64 number = 0;
    if (__builtin_add_overflow(lineNum_, 1, &number))
        fatalError("The number of a marked line is too large");
    return number;
}

QString LineMarkEntry::description() const {
    return QCoreApplication::translate("LineMarkEntry", "Line#: %1 - ").arg(lineNumForView()) + line_;
}

} // namespace korvane
