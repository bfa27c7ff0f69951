#include "ui/page/OverviewStrip.h"

#include "foundation/text/Translations.h"

#include <QHelpEvent>
#include <QLocale>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

constexpr int stripWidth = 10;
/// A click so near to a match or a mark means it.
constexpr int reach = 3;
const QColor matchColor(0xe5, 0xa5, 0x0a);
const QColor markedColor(0x35, 0x84, 0xe4);

} // namespace

OverviewStrip::OverviewStrip(QWidget* parent) : QWidget(parent) {
    setFixedWidth(stripWidth);
    setAccessibleName(tr("Where matches and marked lines are"));
}

void OverviewStrip::setContent(Content content) {
    content_ = std::move(content);
    update();
}

LineRange OverviewStrip::linesAt(int top, int bottom) const {
    const qint64 rows = std::max(height(), 1);
    const auto lineOf = [&](qint64 y) {
        // In two parts, so that the product of lines and pixels does not overflow.
        const qint64 each = content_.lines.length / rows;
        const qint64 rest = content_.lines.length % rows;
        return each * y + rest * y / rows;
    };
    const qint64 first = lineOf(std::clamp<qint64>(top, 0, rows));
    const qint64 end = lineOf(std::clamp<qint64>(qint64{bottom} + 1, 0, rows));
    return {content_.lines.location + first, end - first};
}

qint64 OverviewStrip::matchesIn(LineRange lines) const {
    return content_.matches.rank(lines.location + lines.length) - content_.matches.rank(lines.location);
}

qint64 OverviewStrip::marksIn(LineRange lines) const {
    const auto first = std::ranges::lower_bound(content_.marked, lines.location);
    return std::ranges::lower_bound(content_.marked, lines.location + lines.length) - first;
}

qint64 OverviewStrip::lineAt(int y) const {
    const LineRange near = linesAt(y - reach, y + reach);
    if (marksIn(near) > 0)
        return *std::ranges::lower_bound(content_.marked, near.location);
    if (matchesIn(near) > 0)
        return content_.matches.select(content_.matches.rank(near.location));
    return std::min(linesAt(y, y).location, content_.lines.location + content_.lines.length - 1);
}

void OverviewStrip::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.fillRect(rect(), palette().color(QPalette::Window));
    // Few lines take several pixels each, of which the first is enough.
    qint64 last = -1;
    for (int y = 0; y < height(); ++y) {
        const LineRange lines = linesAt(y, y);
        if (lines.length > 0 && std::exchange(last, lines.location) != lines.location && matchesIn(lines) > 0)
            painter.fillRect(0, y, width(), 2, matchColor);
    }
    for (int y = 0; y < height(); ++y)
        if (marksIn(linesAt(y, y)) > 0)
            painter.fillRect(width() / 2, y - 1, width() / 2, 3, markedColor);
}

void OverviewStrip::mousePressEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && content_.lines.length > 0)
        Q_EMIT lineChosen(lineAt(qRound(event->position().y())));
}

bool OverviewStrip::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QWidget::event(event);
    const auto* help = static_cast<QHelpEvent*>(event);
    QToolTip::showText(help->globalPos(), toolTipAt(help->pos().y()), this);
    return true;
}

QString OverviewStrip::toolTipAt(int y) const {
    const auto number = [](qint64 value) { return QLocale().toString(value); };
    const LineRange near = linesAt(y - reach, y + reach);
    QStringList texts = {
        tr("Lines %1 to %2").arg(number(near.location + 1), number(near.location + near.length))};
    if (const qint64 matches = matchesIn(near); matches > 0)
        texts << tr("%1 line(s) with a match", nullptr, translations::pluralOf(matches)).arg(number(matches));
    if (const qint64 marks = marksIn(near); marks > 0)
        texts << tr("%1 marked line(s)", nullptr, translations::pluralOf(marks)).arg(number(marks));
    return texts.join(u'\n');
}

} // namespace korvane
