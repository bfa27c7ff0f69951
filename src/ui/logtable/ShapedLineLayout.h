#pragma once

#include "ui/logtable/LineLayout.h"

#include <QList>
#include <QTextLayout>

#include <memory>
#include <vector>

namespace korvane {

/// Layout of text of any script, or in a proportional font, shaped in segments as they become visible.
class ShapedLineLayout : public LineLayout {
public:
    ShapedLineLayout(QString text, const AttributedString& line, const LineMetrics& metrics,
                     std::optional<qreal> wrapWidth);

    int visualLineCount() const override;
    qreal width() const override;
    int positionAt(QPointF point) const override;
    QRectF characterRect(int position) const override;
    int hiddenUnits() const override { return hiddenUnits_; }
    void paint(QPainter& painter, QPointF origin, const QRectF& clip, TextRange selection, bool isRowSelected,
               const Colors& colors) const override;

private:
    /// A part of the text that is shaped as a unit.
    struct Segment {
        TextRange range;
        /// Left edge; known up to `measured_`. Always 0 when wrapped.
        qreal x = 0;
        qreal width = 0;
        /// Shaped when it is first needed.
        mutable std::unique_ptr<QTextLayout> layout;
    };

    void makeSegments();
    std::unique_ptr<QTextLayout> shape(TextRange range) const;
    /// Shapes segments until the left edges of all up to `last` are known.
    void measureTo(std::size_t last) const;
    const Segment& segmentOfPosition(int position) const;
    /// The segment drawn at x, measuring as far as needed.
    const Segment& segmentAt(qreal x) const;
    const QTextLayout& layoutOf(const Segment& segment) const;
    QList<QTextLayout::FormatRange> formatsFor(TextRange range) const;

    const QString text_;
    const std::vector<AttributedString::Run> runs_;
    const LineMetrics& metrics_;
    const std::optional<qreal> wrapWidth_;
    int hiddenUnits_ = 0;
    mutable std::vector<Segment> segments_;
    /// The left edges of segments before this one are known.
    mutable std::size_t measured_ = 0;
};

} // namespace korvane
