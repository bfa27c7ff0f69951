#include "ui/logtable/LineLayout.h"

#include "foundation/text/VisibleText.h"
#include "ui/logtable/GridLineLayout.h"
#include "ui/logtable/LineMetrics.h"
#include "ui/logtable/ShapedLineLayout.h"

namespace korvane {
namespace {

/// Whether the line can be drawn in a grid: plain ASCII in font styles of equal width.
bool fitsGrid(const QString& text, const AttributedString& line, const LineMetrics& metrics) {
    if (!metrics.isGrid(false, false))
        return false;
    for (const auto& run : line.runs()) {
        const auto& font = run.attributes->font;
        if (font && (font->bold() || font->italic()) && !metrics.isGrid(font->bold(), font->italic()))
            return false;
    }
    // No branch in the loop, so that the compiler can vectorise it.
    const auto* units = reinterpret_cast<const char16_t*>(text.utf16());
    unsigned other = 0;
    for (qsizetype i = 0; i < text.size(); ++i)
        other |= static_cast<unsigned>((units[i] < 0x20 || units[i] > 0x7E) && units[i] != u'\t');
    return other == 0;
}

} // namespace

std::unique_ptr<LineLayout> LineLayout::make(const AttributedString& line, const LineMetrics& metrics,
                                             std::optional<qreal> wrapWidth) {
    QString text = visibleText(line.string());
    if (fitsGrid(text, line, metrics))
        return std::make_unique<GridLineLayout>(std::move(text), line, metrics, wrapWidth);
    return std::make_unique<ShapedLineLayout>(std::move(text), line, metrics, wrapWidth);
}

} // namespace korvane
