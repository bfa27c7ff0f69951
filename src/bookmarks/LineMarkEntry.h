#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>
#include <vector>

namespace korvane {

/// A line that the user wants to find again. Held by shared pointer; never changes.
class LineMarkEntry {
public:
    inline static const QString KEY_LINE_NUM = QStringLiteral("linenum");
    inline static const QString KEY_LINE = QStringLiteral("line");

    LineMarkEntry(qint64 lineNum, QString line) : lineNum_(lineNum), line_(std::move(line)) {}

    /// Zero-based.
    qint64 lineNum() const { return lineNum_; }
    /// The line's text when it was marked.
    const QString& line() const { return line_; }
    /// The line's number as shown, one-based. An overflow is fatal.
    qint64 lineNumForView() const;
    QString description() const;

private:
    const qint64 lineNum_;
    const QString line_;
};

/// The marks of one file, in the order of adding.
using LineMarkList = std::vector<std::shared_ptr<const LineMarkEntry>>;

} // namespace korvane
