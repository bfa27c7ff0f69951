#pragma once

#include <QByteArray>

namespace korvane::test {

/// The lines "line 1" … or another range of numbers, each with its line end.
inline QByteArray numberedLines(qint64 first, qint64 count) {
    QByteArray lines;
    for (qint64 i = 0; i < count; ++i)
        lines += "line " + QByteArray::number(first + i) + '\n';
    return lines;
}
/// Without a line end after the last.
inline QByteArray numberedLines(qint64 count) {
    return numberedLines(1, count).chopped(count > 0 ? 1 : 0);
}

} // namespace korvane::test
