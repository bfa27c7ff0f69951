#include "ui/logtable/GridLineLayout.h"

#include "ui/logtable/LineMetrics.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace korvane {
namespace {

/// Minimum wrap width, in columns. Lines wrap after a blank in their last half, otherwise after punctuation.
constexpr int shortestWrap = 8;
constexpr QStringView punctuation = u",;:/\\-|&?=.)]}";

} // namespace

GridLineLayout::GridLineLayout(QString text, const AttributedString& line, const LineMetrics& metrics,
                               std::optional<qreal> wrapWidth)
    : text_(std::move(text)), runs_(line.runs()), metrics_(metrics) {
    if (text_.contains(u'\t')) {
        columns_.reserve(static_cast<std::size_t>(text_.size()) + 1);
        int column = 0;
        for (const QChar unit : text_) {
            columns_.push_back(column);
            column += unit == u'\t' ? LineMetrics::tabColumns - column % LineMetrics::tabColumns : 1;
        }
        columns_.push_back(column);
    }
    if (wrapWidth)
        wrap(std::max(shortestWrap, static_cast<int>(*wrapWidth / metrics_.cellWidth())));
}

void GridLineLayout::wrap(int columns) {
    const int length = static_cast<int>(text_.size());
    for (int start = 0;;) {
        const int limit = positionOfColumn(columnOf(start) + columns);
        if (limit >= length)
            return;
        int next = std::max(limit, start + 1);
        const int earliest = start + (limit - start) / 2;
        int afterPunctuation = 0;
        for (int i = next; i > earliest; --i) {
            const QChar before = text_[i - 1];
            if (before == u' ' || before == u'\t') {
                afterPunctuation = i;
                break;
            }
            if (afterPunctuation == 0 && punctuation.contains(before))
                afterPunctuation = i;
        }
        if (afterPunctuation > 0)
            next = afterPunctuation;
        starts_.push_back(next);
        start = next;
    }
}

int GridLineLayout::positionOfColumn(int column) const {
    const int length = static_cast<int>(text_.size());
    if (columns_.empty())
        return std::clamp(column, 0, length);
    const auto after = std::upper_bound(columns_.begin(), columns_.end(), column);
    return std::clamp(static_cast<int>(after - columns_.begin()) - 1, 0, length);
}

int GridLineLayout::visualLineOf(int position) const {
    const auto after = std::upper_bound(starts_.begin(), starts_.end(), position);
    return std::max(0, static_cast<int>(after - starts_.begin()) - 1);
}

TextRange GridLineLayout::visualLine(int index) const {
    const auto at = static_cast<std::size_t>(index);
    const int end = at + 1 < starts_.size() ? starts_[at + 1] : static_cast<int>(text_.size());
    return {starts_[at], end - starts_[at]};
}

qreal GridLineLayout::width() const {
    int widest = 0;
    for (int i = 0; i < visualLineCount(); ++i) {
        const TextRange range = visualLine(i);
        widest = std::max(widest, columnOf(range.end()) - columnOf(range.location));
    }
    return widest * metrics_.cellWidth();
}

int GridLineLayout::positionAt(QPointF point) const {
    const int index =
        std::clamp(static_cast<int>(std::floor(point.y() / metrics_.lineHeight())), 0, visualLineCount() - 1);
    const TextRange range = visualLine(index);
    const qreal column = std::max(0.0, point.x()) / metrics_.cellWidth() + columnOf(range.location);
    const int before = positionOfColumn(static_cast<int>(std::min(column, 1e9)));
    int nearest = before;
    if (before < range.end() && column - columnOf(before) > columnOf(before + 1) - column)
        nearest = before + 1;
    return std::clamp(nearest, range.location, range.end());
}

QRectF GridLineLayout::characterRect(int position) const {
    const int at = std::clamp(position, 0, static_cast<int>(text_.size()));
    const int index = visualLineOf(at);
    const int column = columnOf(at) - columnOf(visualLine(index).location);
    const int next = at < text_.size() ? columnOf(at + 1) - columnOf(at) : 1;
    return {column * metrics_.cellWidth(), index * metrics_.lineHeight(), next * metrics_.cellWidth(),
            metrics_.lineHeight()};
}

void GridLineLayout::paint(QPainter& painter, QPointF origin, const QRectF& clip, TextRange selection,
                           bool isRowSelected, const Colors& colors) const {
    const qreal height = metrics_.lineHeight();
    const int firstLine = std::max(0, static_cast<int>(std::floor((clip.top() - origin.y()) / height)));
    const int lastLine =
        std::min(visualLineCount() - 1, static_cast<int>(std::floor((clip.bottom() - origin.y()) / height)));
    for (int index = firstLine; index <= lastLine; ++index) {
        const TextRange line = visualLine(index);
        const int base = columnOf(line.location);
        const auto columnAt = [&](qreal x) {
            return base + static_cast<int>(std::floor((x - origin.x()) / metrics_.cellWidth()));
        };
        const int from = std::max(line.location, positionOfColumn(std::max(base, columnAt(clip.left()))));
        const int to = std::min(line.end(), positionOfColumn(std::max(base, columnAt(clip.right()))) + 1);
        auto run =
            std::upper_bound(runs_.begin(), runs_.end(), from, [](int position, const auto& candidate) {
                return position < candidate.range.end();
            });
        for (int at = from; at < to;) {
            while (run->range.end() <= at)
                ++run;
            int end = std::min(to, run->range.end());
            const bool isSelected = at >= selection.location && at < selection.end();
            if (isSelected)
                end = std::min(end, selection.end());
            else if (selection.length > 0 && selection.location > at)
                end = std::min(end, selection.location);
            const QPointF topLeft(origin.x() + (columnOf(at) - base) * metrics_.cellWidth(),
                                  origin.y() + index * height);
            paintPiece(painter, topLeft, {at, end - at}, *run->attributes, isSelected, isRowSelected, colors);
            at = end;
        }
    }
}

void GridLineLayout::paintPiece(QPainter& painter, QPointF topLeft, TextRange piece,
                                const Attributes& attributes, bool isSelected, bool isRowSelected,
                                const Colors& colors) const {
    const qreal width = (columnOf(piece.end()) - columnOf(piece.location)) * metrics_.cellWidth();
    auto background = attributes.background;
    if (background == colors.lineBackground)
        background.reset();
    const QRectF area(topLeft, QSizeF(width, metrics_.lineHeight()));
    if (isSelected)
        painter.fillRect(area, colors.selectedBackground);
    else if (background)
        painter.fillRect(area, *background);
    const bool takesSelectionColor = isSelected || (isRowSelected && !background);
    painter.setPen(takesSelectionColor ? colors.selectedText : attributes.foreground.value_or(colors.text));
    QFont face = metrics_.face(attributes);
    face.setUnderline(attributes.underline);
    painter.setFont(face);

    // Tabs are gaps between pieces of text.
    int from = piece.location;
    while (from < piece.end()) {
        const auto tab = columns_.empty() ? -1 : text_.indexOf(u'\t', from);
        const int end = tab < 0 || tab >= piece.end() ? piece.end() : static_cast<int>(tab);
        if (end > from) {
            const qreal x = topLeft.x() + (columnOf(from) - columnOf(piece.location)) * metrics_.cellWidth();
            painter.drawText(QPointF(x, topLeft.y() + metrics_.baseline()), text_.mid(from, end - from));
        }
        from = end + 1;
    }
}

} // namespace korvane
