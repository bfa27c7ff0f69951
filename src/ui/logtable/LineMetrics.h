#pragma once

#include "foundation/text/AttributedString.h"

#include <QFont>
#include <QFontMetricsF>

#include <array>
#include <optional>

namespace korvane {

/// The measures of the log view's font, computed once. Main thread.
class LineMetrics {
public:
    explicit LineMetrics(const QFont& font);

    const QFont& font() const { return font_; }
    /// Height of one visual line in device-independent pixels; the same for every line, whatever glyphs it
    /// holds.
    qreal lineHeight() const { return lineHeight_; }
    /// Distance from the top of a visual line to its baseline.
    qreal baseline() const { return baseline_; }
    /// Advance of one character of the font; an average when the font is proportional.
    qreal cellWidth() const { return cellWidth_; }
    /// Columns between tab stops.
    static constexpr int tabColumns = 8;

    /// Whether plain ASCII text in this style of the font is a grid of `cellWidth()` cells.
    bool isGrid(bool bold, bool italic) const;
    /// The font for a piece of a line: only the style of the attributes counts; family and size are those of
    /// all lines.
    const QFont& face(const Attributes& attributes) const;

private:
    const QFont font_;
    std::array<QFont, 4> faces_; // by bold and italic
    qreal lineHeight_ = 0;
    qreal baseline_ = 0;
    qreal cellWidth_ = 0;
    mutable std::array<std::optional<bool>, 4> grid_;
};

} // namespace korvane
