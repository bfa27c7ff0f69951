#pragma once

#include "ui/logtable/RowSelection.h"

#include <QString>

#include <vector>

namespace korvane {

/// How lines stand in the clipboard. A value; any thread.
class CopyFormat {
public:
    enum class Kind : unsigned char {
        Plain,
        Numbered, ///< each line after its number
        Markdown, ///< a block of code with line numbers, headed by where the lines are from
    };

    CopyFormat() = default;
    /// `lastLine`: the largest zero-based index to come. `place`: what is said of where the lines are from.
    CopyFormat(Kind kind, qint64 lastLine, QString place);

    /// Adds a line by its zero-based index, and a line feed.
    void append(QString& text, qint64 line, const QString& content) const;
    /// The whole text, without a line feed at its end for `Plain` and `Numbered`. `lines`: those in the text,
    /// ascending.
    QString finish(QString text, const std::vector<RowSelection::Range>& lines) const;

    /// Where the lines of a file are from, as Markdown. `server` may be empty.
    static QString placeInMarkdown(const QString& path, const QString& server);

private:
    Kind kind_ = Kind::Plain;
    qsizetype digits_ = 0;
    QString place_;
};

} // namespace korvane
