#pragma once

#include <QString>
#include <QtGlobal>

#include <memory>
#include <vector>

namespace korvane {

/// A line that the user has marked. Held by shared pointer; immutable.
class LineMarkEntry {
public:
    inline static const QString KEY_LINE_NUM = QStringLiteral("linenum");
    inline static const QString KEY_LINE = QStringLiteral("line");

    /// Limits the text kept of a line, in UTF-16 units.
    static constexpr int longestText = 1024;

    /// Shortens a longer line to its beginning, in whole characters.
    LineMarkEntry(qint64 lineNum, const QString& line) : lineNum_(lineNum), line_(keptText(line)) {}
    /// The part of a line that is kept.
    static QString keptText(const QString& line);

    /// Zero-based.
    qint64 lineNum() const { return lineNum_; }
    /// The line's text when it was marked, shortened to `longestText`.
    const QString& line() const { return line_; }
    /// The line's number as shown, one-based. An overflow is fatal.
    qint64 lineNumForView() const;
    QString description() const;

private:
    const qint64 lineNum_;
    const QString line_;
};

using LineMarkEntries = std::vector<std::shared_ptr<const LineMarkEntry>>;

} // namespace korvane
