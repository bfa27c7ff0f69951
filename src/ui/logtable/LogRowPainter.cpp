#include "ui/logtable/LogRowPainter.h"

#include "ui/widgets/SizeText.h"

#include <QCoreApplication>
#include <QPainter>

#include <algorithm>
#include <cmath>
#include <utility>

namespace korvane {
namespace {

constexpr qreal markSize = 14;

QString translated(const char* text) {
    return QCoreApplication::translate("LogRowPainter", text);
}

QColor mixed(const QColor& one, const QColor& other, qreal share) {
    const auto part = [share](float from, float to) {
        return static_cast<float>(from + (to - from) * share);
    };
    return QColor::fromRgbF(part(one.redF(), other.redF()), part(one.greenF(), other.greenF()),
                            part(one.blueF(), other.blueF()));
}

/// The background of a line that has one everywhere: the one that most of it has. It fills the whole row.
std::optional<QColor> lineBackground(const AttributedString& line) {
    std::vector<std::pair<QColor, int>> shares;
    int covered = 0;
    for (const auto& run : line.runs()) {
        const auto background = run.attributes ? run.attributes->color(attribute::background) : std::nullopt;
        if (!background)
            return std::nullopt;
        covered += run.range.length;
        const auto known = std::find_if(shares.begin(), shares.end(),
                                        [&](const auto& share) { return share.first == *background; });
        if (known == shares.end())
            shares.emplace_back(*background, run.range.length);
        else
            known->second += run.range.length;
    }
    if (shares.empty() || covered != line.length())
        return std::nullopt;
    return std::max_element(shares.begin(), shares.end(),
                            [](const auto& one, const auto& other) { return one.second < other.second; })
        ->first;
}

} // namespace

LogRowPainter::LogRowPainter(QPainter& painter, LogTableViewDelegate& delegate,
                             const std::vector<LogTableColumn>& columns, Style style)
    : painter_(painter), delegate_(delegate), columns_(columns), style_(std::move(style)) {
    for (const LogTableColumn& column : columns_) {
        if (column.identifier == cell::line)
            break;
        lineX_ += column.width;
    }
}

void LogRowPainter::paint(const RowPlaces::VisibleRow& row, const RowState& state) {
    const QRectF area(0, row.y, style_.viewSize.width(), row.height);
    const auto group = style_.isActive ? QPalette::Active : QPalette::Inactive;
    const QColor highlight = style_.palette.color(group, QPalette::Highlight);
    if (state.isSelected)
        painter_.fillRect(area, highlight);
    else if (state.isCurrent)
        painter_.fillRect(area, mixed(style_.colors.background, highlight, 0.10));

    painter_.save();
    const QRectF lineArea(lineX_, row.y, style_.viewSize.width() - lineX_, row.height);
    painter_.setClipRect(lineArea);
    paintLine(row, lineArea, state);
    painter_.restore();

    qreal right = 0;
    for (const LogTableColumn& column : columns_) {
        if (column.identifier == cell::lineMark)
            paintMark(row, {right, row.y, column.width, row.height});
        right += column.width;
        if (column.identifier == cell::lineNum)
            paintNumber(row, right, state.isSelected);
    }
}

void LogRowPainter::paintMark(const RowPlaces::VisibleRow& row, const QRectF& place) {
    if (!delegate_.viewForTableColumn(cell::lineMark, row.row).isMarked)
        return;
    // Beside the first of several lines.
    const qreal size = std::min({place.width(), delegate_.metrics().lineHeight(), markSize});
    const QRectF image(place.center().x() - size / 2,
                       place.top() + (delegate_.metrics().lineHeight() - size) / 2, size, size);
    style_.markImage.paint(&painter_, image.toAlignedRect());
}

void LogRowPainter::paintNumber(const RowPlaces::VisibleRow& row, qreal right, bool isSelected) {
    const QString number = QString::number(delegate_.viewForTableColumn(cell::lineNum, row.row).lineNumber);
    painter_.setFont(delegate_.metrics().font());
    painter_.setPen(isSelected ? style_.palette.color(QPalette::HighlightedText) : style_.colors.lineNumber);
    const qreal width = QFontMetricsF(painter_.font()).horizontalAdvance(number);
    painter_.drawText(QPointF(right - textMargin - width, row.y + delegate_.metrics().baseline()), number);
}

void LogRowPainter::paintLine(const RowPlaces::VisibleRow& row, const QRectF& area, const RowState& state) {
    const CellView view = delegate_.viewForTableColumn(cell::line, row.row);
    const QPointF baseline(area.left() + textMargin, row.y + delegate_.metrics().baseline());
    if (view.identifier == cell::loading) {
        hasMetUnloadedRow_ = true;
        if (style_.showsLoading)
            paintNotice(baseline, loadingText());
        return;
    }
    if (view.identifier == cell::filtered) {
        paintNotice(baseline, filteredText());
        return;
    }
    const auto background = lineBackground(view.row->line);
    // The view's own background leaves the current row its tint.
    if (background && !state.isSelected && *background != style_.colors.background)
        painter_.fillRect(area, *background);
    const QRectF visible = area.intersected(QRectF(QPointF(0, 0), QSizeF(style_.viewSize)));
    const QPointF origin(area.left() + textMargin - style_.horizontalOffset, row.y);
    view.layout->paint(painter_, origin, visible, state.selectedText, state.isSelected,
                       {.text = style_.colors.text,
                        .selectedText = style_.palette.color(QPalette::HighlightedText),
                        .selectedBackground = style_.palette.color(QPalette::Highlight),
                        .lineBackground = background});
    widestLine_ = std::max(widestLine_, view.layout->width());
    paintCutBadge(area, view);
    paintGivenUpBar(area, view);
}

void LogRowPainter::paintNotice(const QPointF& baseline, const QString& text) {
    QFont font = delegate_.metrics().font();
    font.setItalic(true);
    painter_.setFont(font);
    painter_.setPen(mixed(style_.colors.background, style_.colors.lineNumber, 0.7));
    painter_.drawText(baseline, text);
}

QString LogRowPainter::loadingText() {
    return translated("Loading…");
}

QString LogRowPainter::filteredText() {
    return translated("Filtered");
}

QString LogRowPainter::cutText(const CellView& view) {
    if (!view.layout)
        return {};
    if (view.row->cutBytes > 0)
        return translated("Line cut for display: %1 more").arg(sizeText(view.row->cutBytes));
    return view.layout->hiddenUnits() > 0 ? translated("Line cut for display: unwrap to see the rest")
                                          : QString();
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
    painter_.setBrush(QColor(0xB2, 0x5E, 0x00));
    painter_.drawRoundedRect(badge, badge.height() / 2, badge.height() / 2);
    painter_.setPen(Qt::white);
    painter_.setFont(small);
    painter_.drawText(badge, Qt::AlignCenter, text);
}

void LogRowPainter::paintGivenUpBar(const QRectF& area, const CellView& view) {
    const Attributes* const first = view.row->line.attributesAt(0);
    if (first && first->isMarked(attribute::givenUpLine))
        painter_.fillRect(QRectF(area.left() + 1, area.top() + 1, 3, area.height() - 2),
                          QColor(0xB2, 0x5E, 0x00));
}

void LogRowPainter::paintSeparators(const std::vector<RowPlaces::VisibleRow>& rows) {
    if (columns_.size() == 3) {
        painter_.setPen(mixed(style_.colors.background, style_.colors.lineNumber, 0.35));
        const qreal x = std::floor(lineX_) - 0.5;
        painter_.drawLine(QPointF(x, 0), QPointF(x, style_.viewSize.height()));
    }
    if (!delegate_.isWrapping())
        return;
    // Where one line ends and the next begins would be hard to see otherwise.
    painter_.setPen(mixed(style_.colors.background, style_.colors.lineNumber, 0.18));
    for (const RowPlaces::VisibleRow& row : rows) {
        const qreal y = std::floor(row.y + row.height) - 0.5;
        painter_.drawLine(QPointF(0, y), QPointF(style_.viewSize.width(), y));
    }
}

} // namespace korvane
