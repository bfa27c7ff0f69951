#include "ui/page/CopyFormat.h"

#include "foundation/text/Translations.h"

#include <QCoreApplication>
#include <QLocale>
#include <QStringList>

#include <algorithm>
#include <utility>

namespace korvane {

namespace {

struct CopyFormatTexts {
    Q_DECLARE_TR_FUNCTIONS(CopyFormat)
};

/// Ranges of lines named one by one; of more only the first and the last line.
constexpr std::size_t mostNamedRanges = 5;

qsizetype longestRunOfBackticks(QStringView text) {
    qsizetype longest = 0;
    qsizetype run = 0;
    for (const QChar character : text) {
        run = character == u'`' ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    return longest;
}

QString codeSpan(const QString& text) {
    const QString fence(longestRunOfBackticks(text) + 1, u'`');
    const QString space = text.startsWith(u'`') || text.endsWith(u'`') ? QStringLiteral(" ") : QString();
    return fence + space + text + space + fence;
}

QString numberOf(qint64 line) {
    return QLocale().toString(line + 1);
}

QString nameOf(const RowSelection::Range& range) {
    return range.first == range.last ? numberOf(range.first)
                                     : numberOf(range.first) + u'–' + numberOf(range.last);
}

QString linesText(const std::vector<RowSelection::Range>& lines) {
    qint64 count = 0;
    QStringList names;
    for (const RowSelection::Range& range : lines) {
        count += range.last - range.first + 1;
        if (lines.size() <= mostNamedRanges)
            names += nameOf(range);
    }
    if (names.isEmpty())
        return CopyFormatTexts::tr("%1 line(s) from %2 to %3", nullptr, translations::pluralOf(count))
            .arg(QLocale().toString(count), numberOf(lines.front().first), numberOf(lines.back().last));
    return CopyFormatTexts::tr("line(s) %1", nullptr, translations::pluralOf(count))
        .arg(names.join(QStringLiteral(", ")));
}

} // namespace

CopyFormat::CopyFormat(Kind kind, qint64 lastLine, QString place)
    : kind_(kind), digits_(QString::number(lastLine + 1).size()), place_(std::move(place)) {}

void CopyFormat::append(QString& text, qint64 line, const QString& content) const {
    if (kind_ != Kind::Plain) {
        text += QString::number(line + 1).rightJustified(digits_);
        text += QStringLiteral("  ");
    }
    text += content;
    text += u'\n';
}

QString CopyFormat::finish(QString text, const std::vector<RowSelection::Range>& lines) const {
    if (lines.empty())
        return {};
    if (kind_ != Kind::Markdown) {
        text.chop(1);
        return text;
    }
    constexpr qsizetype shortestFence = 3;
    const QString fence(std::max(shortestFence, longestRunOfBackticks(text) + 1), u'`');
    return place_ + QStringLiteral(", ") + linesText(lines) + QStringLiteral(":\n\n") + fence +
           QStringLiteral("text\n") + text + fence + u'\n';
}

QString CopyFormat::placeInMarkdown(const QString& path, const QString& server) {
    return server.isEmpty() ? codeSpan(path)
                            : CopyFormatTexts::tr("%1 on %2").arg(codeSpan(path), codeSpan(server));
}

} // namespace korvane
