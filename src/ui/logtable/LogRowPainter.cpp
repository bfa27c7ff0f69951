#include "ui/logtable/LogRowPainter.h"

#include "foundation/text/Translations.h"
#include "ui/widgets/Contrast.h"
#include "ui/widgets/SizeText.h"

#include <QCoreApplication>
#include <QLocale>
#include <QPainter>
#include <QPolygonF>

#include <algorithm>
#include <cmath>
#include <utility>

namespace korvane {
namespace {

constexpr qreal markSize = 14;
constexpr qreal caretWidth = 2;
const QColor warningColor(0xB2, 0x5E, 0x00);

struct RowTexts {
    Q_DECLARE_TR_FUNCTIONS(LogRowPainter)
};

/// A ribbon in a square with sides of 1.
const QPolygonF ribbon({{0.2, 0.12}, {0.8, 0.12}, {0.8, 0.9}, {0.5, 0.66}, {0.2, 0.9}});

/// The background that most of a line has, to fill the whole row; nullopt unless all of the line has a
/// background.
std::optional<QColor> lineBackground(const AttributedString& line) {
    std::vector<std::pair<QColor, int>> shares;
    for (const auto& run : line.runs()) {
        const auto& background = run.attributes->background;
        if (!background)
            return std::nullopt;
        const auto known = std::find_if(shares.begin(), shares.end(),
                                        [&](const auto& share) { return share.first == *background; });
        if (known == shares.end())
            shares.emplace_back(*background, run.range.length);
        else
            known->second += run.range.length;
    }
    if (shares.empty())
        return std::nullopt;
    return std::max_element(shares.begin(), shares.end(),
                            [](const auto& one, const auto& other) { return one.second < other.second; })
        ->first;
}

} // namespace

LogRowPainter::LogRowPainter(QPainter& painter, LogTableViewDelegate& delegate,
                             const LogTableColumns& columns, Style style)
    : painter_(painter), delegate_(delegate), columns_(columns), style_(std::move(style)),
      colors_(style_.grounds.colors()) {
    for (const LogTableColumn& column : columns_.all()) {
        if (column.identifier == cell::line)
            break;
        lineX_ += column.width;
    }
}

void LogRowPainter::paint(const RowPlaces::VisibleRow& row, const RowState& state) {
    const QRectF area(0, row.y, style_.viewSize.width(), row.height);
    if (state.isSelected || state.isCurrent)
        painter_.fillRect(area, groundOf(state));

    painter_.save();
    const QRectF lineArea(lineX_, row.y, style_.viewSize.width() - lineX_, row.height);
    painter_.setClipRect(lineArea);
    paintLine(row, lineArea, state);
    painter_.restore();

    qreal right = 0;
    for (const LogTableColumn& column : columns_.all()) {
        if (column.identifier == cell::lineMark)
            paintMark(row, {right, row.y, column.width, row.height}, groundOf(state));
        right += column.width;
        if (column.identifier != cell::lineNum)
            continue;
        paintNumber(row, right, state);
        if (state.followsGap)
            paintTick(row, right - column.width, right);
    }
}

void LogRowPainter::paintGap(const RowPlaces::VisibleRow& gap) {
    const QRectF area(0, gap.y, style_.viewSize.width(), gap.height);
    painter_.fillRect(area, mixed(colors_.background, colors_.lineNumber, 0.08));
    paintNotice({lineX_ + textMargin, gap.y + delegate_.metrics().baseline()}, gapText(gap.hiddenRows),
                colors_.background);
}

void LogRowPainter::paintTick(const RowPlaces::VisibleRow& row, qreal left, qreal right) {
    painter_.fillRect(QRectF(left, std::floor(row.y), right - left - textMargin / 2, 1),
                      mixed(colors_.background, colors_.lineNumber, 0.35));
}

const QColor& LogRowPainter::groundOf(const RowState& state) const {
    return state.isSelected  ? style_.grounds.selection()
           : state.isCurrent ? style_.grounds.currentRow()
                             : colors_.background;
}

void LogRowPainter::paintMark(const RowPlaces::VisibleRow& row, const QRectF& place, const QColor& ground) {
    if (!delegate_.viewForTableColumn(cell::lineMark, row.row).isMarked)
        return;
    // Only as high as the first visual line.
    const qreal size = std::min({place.width(), delegate_.metrics().lineHeight(), markSize});
    const QPointF corner(place.center().x() - size / 2,
                         place.top() + (delegate_.metrics().lineHeight() - size) / 2);
    painter_.save();
    painter_.setRenderHint(QPainter::Antialiasing);
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(style_.grounds.mark(ground));
    painter_.translate(corner);
    painter_.scale(size, size);
    painter_.drawPolygon(ribbon);
    painter_.restore();
}

void LogRowPainter::paintNumber(const RowPlaces::VisibleRow& row, qreal right, const RowState& state) {
    const QString number = QString::number(delegate_.viewForTableColumn(cell::lineNum, row.row).lineNumber);
    painter_.setFont(delegate_.metrics().font());
    painter_.setPen(state.isSelected ? style_.grounds.selectedText()
                                     : style_.grounds.shown(colors_.lineNumber, groundOf(state)));
    const qreal width = QFontMetricsF(painter_.font()).horizontalAdvance(number);
    painter_.drawText(QPointF(right - textMargin - width, row.y + delegate_.metrics().baseline()), number);
}

void LogRowPainter::paintLine(const RowPlaces::VisibleRow& row, const QRectF& area, const RowState& state) {
    const CellView view = delegate_.viewForTableColumn(cell::line, row.row);
    const QPointF baseline(area.left() + textMargin, row.y + delegate_.metrics().baseline());
    if (view.identifier == cell::loading) {
        hasMetUnloadedRow_ = true;
        if (style_.showsLoading)
            paintNotice(baseline, loadingText(), groundOf(state));
        return;
    }
    if (view.identifier == cell::filtered) {
        paintNotice(baseline, filteredText(), groundOf(state));
        return;
    }
    const auto background = lineBackground(view.row->line);
    // Do not fill with the view's own background, which would hide the tint of the current row.
    if (background && !state.isSelected && *background != colors_.background)
        painter_.fillRect(area, *background);
    const QRectF visible = area.intersected(QRectF(QPointF(0, 0), QSizeF(style_.viewSize)));
    const QPointF origin(area.left() + textMargin - style_.horizontalOffset, row.y);
    view.layout->paint(painter_, origin, visible, state.selectedText, state.isSelected,
                       {.text = colors_.text,
                        .selectedText = style_.grounds.selectedText(),
                        .selectedBackground = style_.grounds.selection(),
                        .lineBackground = background});
    const QColor ground = state.isSelected ? groundOf(state) : background.value_or(groundOf(state));
    if (state.caret)
        paintCaret(view.layout->characterRect(*state.caret).translated(origin),
                   state.isSelected ? style_.grounds.selectedText() : readableOn({ground}, colors_.text));
    widestLine_ = std::max(widestLine_, view.layout->width());
    paintCutBadge(area, view);
    if (isGivenUp(view))
        painter_.fillRect(QRectF(area.left() + 1, area.top() + 1, 3, area.height() - 2),
                          readableOn({ground}, warningColor));
}

void LogRowPainter::paintCaret(const QRectF& character, const QColor& color) {
    painter_.fillRect(
        QRectF(character.left() - caretWidth / 2, character.top(), caretWidth, character.height()), color);
}

void LogRowPainter::paintNotice(const QPointF& baseline, const QString& text, const QColor& ground) {
    QFont font = delegate_.metrics().font();
    font.setItalic(true);
    painter_.setFont(font);
    painter_.setPen(style_.grounds.notice(ground));
    painter_.drawText(baseline, text);
}

QString LogRowPainter::loadingText() {
    return RowTexts::tr("Loading…");
}

QString LogRowPainter::filteredText() {
    return RowTexts::tr("Filtered");
}

QString LogRowPainter::cutText(const CellView& view) {
    if (!view.layout)
        return {};
    if (view.row->cutBytes > 0)
        return RowTexts::tr("Line cut for display: %1 more").arg(sizeText(view.row->cutBytes));
    return view.layout->hiddenUnits() > 0 ? RowTexts::tr("Line cut for display: unwrap to see the rest")
                                          : QString();
}

QString LogRowPainter::gapText(qint64 hiddenRows) {
    return RowTexts::tr("%1 line(s) hidden", nullptr, translations::pluralOf(hiddenRows))
        .arg(QLocale().toString(hiddenRows));
}

void LogRowPainter::paintCutBadge(const QRectF& area, const CellView& view) {
    const QString text = cutText(view);
    if (text.isEmpty())
        return;
    QFont small = style_.labelFont;
    small.setPointSizeF(small.pointSizeF() * 0.85);
    const qreal width = QFontMetricsF(small).horizontalAdvance(text) + 16;
    const QRectF badge(area.right() - width - 6, area.top() + 1, width, delegate_.metrics().lineHeight() - 2);
    painter_.setRenderHint(QPainter::Antialiasing);
    painter_.setPen(Qt::NoPen);
    painter_.setBrush(warningColor);
    painter_.drawRoundedRect(badge, badge.height() / 2, badge.height() / 2);
    painter_.setPen(Qt::white);
    painter_.setFont(small);
    painter_.drawText(badge, Qt::AlignCenter, text);
}

bool LogRowPainter::isGivenUp(const CellView& view) {
    return view.row && view.row->marks.givenUp;
}

void LogRowPainter::paintSeparators(const std::vector<RowPlaces::VisibleRow>& rows) {
    if (columns_.count() == 3) {
        painter_.setPen(mixed(colors_.background, colors_.lineNumber, 0.35));
        const qreal x = std::floor(lineX_) - 0.5;
        painter_.drawLine(QPointF(x, 0), QPointF(x, style_.viewSize.height()));
    }
    if (!delegate_.isWrapping())
        return;
    // Without these lines the borders between wrapped rows would be hard to see.
    painter_.setPen(mixed(colors_.background, colors_.lineNumber, 0.18));
    for (const RowPlaces::VisibleRow& row : rows) {
        const qreal y = std::floor(row.y + row.height) - 0.5;
        painter_.drawLine(QPointF(0, y), QPointF(style_.viewSize.width(), y));
    }
}

void LogRowPainter::paintFocus(const std::vector<RowPlaces::VisibleRow>& rows, qint64 currentRow) {
    QRectF area(QPointF(0, 0), QSizeF(style_.viewSize));
    for (const RowPlaces::VisibleRow& row : rows) {
        if (row.row == currentRow)
            area = area.intersected(QRectF(0, row.y, area.width(), row.height));
    }
    painter_.setRenderHint(QPainter::Antialiasing, false);
    painter_.setPen(style_.grounds.focus());
    painter_.setBrush(Qt::NoBrush);
    painter_.drawRect(area.toAlignedRect().adjusted(0, 0, -1, -1));
}

} // namespace korvane
