#include "ui/logtable/ShapedLineLayout.h"

#include "ui/logtable/LineMetrics.h"
#include "ui/logtable/LineWords.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace korvane {
namespace {

constexpr int segmentLength = 1024;

} // namespace

ShapedLineLayout::ShapedLineLayout(QString text, const AttributedString& line, const LineMetrics& metrics,
                                   std::optional<qreal> wrapWidth)
    : text_(std::move(text)), runs_(line.runs()), metrics_(metrics), wrapWidth_(wrapWidth) {
    makeSegments();
}

void ShapedLineLayout::makeSegments() {
    const int length = static_cast<int>(text_.size());
    if (wrapWidth_) {
        const int shown = std::min(length, longestShapedWrap);
        hiddenUnits_ = length - shown;
        Segment whole{{0, shown}, 0, 0, nullptr};
        whole.layout = shape(whole.range);
        segments_.push_back(std::move(whole));
        measured_ = 1;
        return;
    }
    for (int start = 0; start < length;) {
        int end = std::min(length, start + segmentLength);
        while (end < length && end < start + 2 * segmentLength && !isCharacterBorder(text_, end))
            ++end;
        segments_.push_back({{start, end - start}, 0, 0, nullptr});
        start = end;
    }
    if (segments_.empty())
        segments_.push_back({});
    measureTo(0);
}

std::unique_ptr<QTextLayout> ShapedLineLayout::shape(TextRange range) const {
    auto layout = std::make_unique<QTextLayout>(text_.mid(range.location, range.length), metrics_.font());
    QTextOption option;
    option.setTextDirection(Qt::LeftToRight);
    option.setTabStopDistance(metrics_.cellWidth() * LineMetrics::tabColumns);
    option.setWrapMode(wrapWidth_ ? QTextOption::WrapAtWordBoundaryOrAnywhere : QTextOption::NoWrap);
    layout->setTextOption(option);
    layout->setCacheEnabled(true);
    layout->setFormats(formatsFor(range));
    layout->beginLayout();
    for (int index = 0;; ++index) {
        QTextLine line = layout->createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(wrapWidth_.value_or(1e7));
        line.setPosition({0, index * metrics_.lineHeight() + metrics_.baseline() - line.ascent()});
        if (!wrapWidth_)
            break;
    }
    layout->endLayout();
    return layout;
}

QList<QTextLayout::FormatRange> ShapedLineLayout::formatsFor(TextRange range) const {
    QList<QTextLayout::FormatRange> formats;
    for (const auto& run : runs_) {
        const int start = std::max(run.range.location, range.location);
        const int end = std::min(run.range.end(), range.end());
        if (start >= end)
            continue;
        QTextLayout::FormatRange piece;
        piece.start = start - range.location;
        piece.length = end - start;
        if (const auto& color = run.attributes->foreground)
            piece.format.setForeground(*color);
        if (const auto& color = run.attributes->background)
            piece.format.setBackground(*color);
        piece.format.setFont(metrics_.face(*run.attributes));
        if (run.attributes->underline)
            piece.format.setUnderlineStyle(QTextCharFormat::SingleUnderline);
        formats.append(piece);
    }
    return formats;
}

void ShapedLineLayout::measureTo(std::size_t last) const {
    for (; measured_ <= last && measured_ < segments_.size(); ++measured_) {
        Segment& segment = segments_[measured_];
        const auto layout = shape(segment.range);
        segment.width = layout->lineCount() > 0 ? layout->lineAt(0).naturalTextWidth() : 0;
        segment.x = measured_ == 0 ? 0 : segments_[measured_ - 1].x + segments_[measured_ - 1].width;
    }
}

const ShapedLineLayout::Segment& ShapedLineLayout::segmentOfPosition(int position) const {
    const auto after =
        std::upper_bound(segments_.begin(), segments_.end(), position,
                         [](int wanted, const Segment& segment) { return wanted < segment.range.end(); });
    const auto index =
        std::min<std::size_t>(static_cast<std::size_t>(after - segments_.begin()), segments_.size() - 1);
    measureTo(index);
    return segments_[index];
}

const ShapedLineLayout::Segment& ShapedLineLayout::segmentAt(qreal x) const {
    while (measured_ < segments_.size() && segments_[measured_ - 1].x + segments_[measured_ - 1].width <= x)
        measureTo(measured_);
    const auto end = segments_.begin() + static_cast<std::ptrdiff_t>(measured_);
    const auto after = std::upper_bound(
        segments_.begin(), end, x, [](qreal wanted, const Segment& segment) { return wanted < segment.x; });
    return after == segments_.begin() ? segments_.front() : *(after - 1);
}

const QTextLayout& ShapedLineLayout::layoutOf(const Segment& segment) const {
    if (!segment.layout) {
        // Keep only a few segments shaped; otherwise scrolling through a long line would keep them all.
        const auto shaped = std::count_if(segments_.begin(), segments_.end(),
                                          [](const Segment& known) { return known.layout != nullptr; });
        if (shaped > 32) {
            for (Segment& known : segments_)
                known.layout.reset();
        }
        segment.layout = shape(segment.range);
    }
    return *segment.layout;
}

int ShapedLineLayout::visualLineCount() const {
    return wrapWidth_ ? std::max(1, segments_.front().layout->lineCount()) : 1;
}

qreal ShapedLineLayout::width() const {
    if (wrapWidth_) {
        qreal widest = 0;
        for (int i = 0; i < segments_.front().layout->lineCount(); ++i)
            widest = std::max(widest, segments_.front().layout->lineAt(i).naturalTextWidth());
        return widest;
    }
    const Segment& last = segments_[measured_ - 1];
    const qreal known = last.x + last.width;
    const int shapedUnits = last.range.end();
    if (shapedUnits == 0 || measured_ == segments_.size())
        return known;
    return known / shapedUnits * static_cast<qreal>(text_.size());
}

int ShapedLineLayout::positionAt(QPointF point) const {
    const Segment& segment = wrapWidth_ ? segments_.front() : segmentAt(std::max(0.0, point.x()));
    const QTextLayout& layout = layoutOf(segment);
    if (layout.lineCount() == 0)
        return segment.range.location;
    const int index = std::clamp(static_cast<int>(std::floor(point.y() / metrics_.lineHeight())), 0,
                                 layout.lineCount() - 1);
    return segment.range.location + layout.lineAt(index).xToCursor(point.x() - segment.x);
}

QRectF ShapedLineLayout::characterRect(int position) const {
    const int at = std::clamp(position, 0, static_cast<int>(text_.size()) - hiddenUnits_);
    const Segment& segment = segmentOfPosition(at);
    const QTextLayout& layout = layoutOf(segment);
    if (layout.lineCount() == 0)
        return {0, 0, metrics_.cellWidth(), metrics_.lineHeight()};
    const QTextLine line =
        layout.lineForTextPosition(std::min(at, segment.range.end()) - segment.range.location);
    const int index = line.isValid() ? line.lineNumber() : layout.lineCount() - 1;
    const QTextLine found = layout.lineAt(index);
    const qreal left = found.cursorToX(at - segment.range.location);
    const qreal right = found.cursorToX(std::min(at + 1, segment.range.end()) - segment.range.location);
    return {segment.x + std::min(left, right), index * metrics_.lineHeight(),
            std::max(std::abs(right - left), metrics_.cellWidth() / 2), metrics_.lineHeight()};
}

void ShapedLineLayout::paint(QPainter& painter, QPointF origin, const QRectF& clip, TextRange selection,
                             bool isRowSelected, const Colors& colors) const {
    if (text_.isEmpty())
        return;
    const auto index = static_cast<std::size_t>(&segmentAt(clip.left() - origin.x()) - segments_.data());
    for (std::size_t i = index; i < segments_.size(); ++i) {
        measureTo(i);
        const Segment& segment = segments_[i];
        if (origin.x() + segment.x > clip.right())
            break;
        QList<QTextLayout::FormatRange> overlays;
        const auto overlay = [&](TextRange range, std::optional<QColor> foreground,
                                 const QBrush& background) {
            const int start = std::max(range.location, segment.range.location);
            const int end = std::min(range.end(), segment.range.end());
            if (start >= end)
                return;
            QTextLayout::FormatRange piece;
            piece.start = start - segment.range.location;
            piece.length = end - start;
            if (foreground)
                piece.format.setForeground(*foreground);
            piece.format.setBackground(background);
            overlays.append(piece);
        };
        for (const auto& run : runs_) {
            const auto& background = run.attributes->background;
            const bool isOnLine = !background || background == colors.lineBackground;
            if (isOnLine && (background || isRowSelected))
                overlay(run.range, isRowSelected ? std::optional(colors.selectedText) : std::nullopt,
                        Qt::NoBrush);
        }
        overlay(selection, colors.selectedText, colors.selectedBackground);
        painter.setPen(colors.text);
        layoutOf(segment).draw(&painter, origin + QPointF(segment.x, 0), overlays, clip);
    }
}

} // namespace korvane
