#pragma once

#include "ui/logtable/LineLayout.h"

#include <vector>

namespace korvane {

/// Layout of plain ASCII in a fixed-pitch font: every position is known without shaping.
class GridLineLayout : public LineLayout {
public:
    GridLineLayout(QString text, const AttributedString& line, const LineMetrics& metrics,
                   std::optional<qreal> wrapWidth);

    int visualLineCount() const override { return static_cast<int>(starts_.size()); }
    qreal width() const override;
    int positionAt(QPointF point) const override;
    QRectF characterRect(int position) const override;
    void paint(QPainter& painter, QPointF origin, const QRectF& clip, TextRange selection, bool isRowSelected,
               const Colors& colors) const override;

private:
    void wrap(int columns);
    /// Column of a position from the start of the line.
    int columnOf(int position) const {
        return columns_.empty() ? position : columns_[static_cast<std::size_t>(position)];
    }
    /// The last position at or before a column.
    int positionOfColumn(int column) const;
    int visualLineOf(int position) const;
    TextRange visualLine(int index) const;
    void paintPiece(QPainter& painter, QPointF topLeft, TextRange piece, const Attributes& attributes,
                    bool isSelected, bool isRowSelected, const Colors& colors) const;

    const QString text_;
    const std::vector<AttributedString::Run> runs_;
    const LineMetrics& metrics_;
    /// Start of every visual line.
    std::vector<int> starts_{0};
    /// The column of every position, one more than there are characters; only for text with tabs.
    std::vector<int> columns_;
};

} // namespace korvane
