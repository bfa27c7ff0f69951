#include "ui/logtable/LineLayout.h"

#include "ui/logtable/GridLineLayout.h"
#include "ui/logtable/LineMetrics.h"
#include "ui/logtable/ShapedLineLayout.h"

#include <algorithm>

namespace korvane {
namespace {

bool isDirectionControl(char16_t unit) {
    return (unit >= 0x202A && unit <= 0x202E) || (unit >= 0x2066 && unit <= 0x2069) || unit == 0x200E ||
           unit == 0x200F || unit == 0x061C;
}

bool needsPicture(char16_t unit) {
    return (unit < 0x20 && unit != u'\t') || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 ||
           unit == 0x2029 || isDirectionControl(unit);
}

char16_t pictureOf(char16_t unit) {
    if (unit < 0x20)
        return static_cast<char16_t>(0x2400 + unit);
    if (unit == 0x7F)
        return 0x2421;
    return 0x25AF; // an empty box for what has no picture of its own
}

/// Whether the line can be drawn in a grid: plain ASCII in faces of one width.
bool fitsGrid(const QString& text, const AttributedString& line, const LineMetrics& metrics) {
    if (!metrics.isGrid(false, false))
        return false;
    for (const auto& run : line.runs()) {
        const auto font = run.attributes ? run.attributes->font() : std::nullopt;
        if (font && (font->bold() || font->italic()) && !metrics.isGrid(font->bold(), font->italic()))
            return false;
    }
    // Without a branch in the loop, so that the compiler can take many characters at a time.
    const auto* units = reinterpret_cast<const char16_t*>(text.utf16());
    unsigned other = 0;
    for (qsizetype i = 0; i < text.size(); ++i)
        other |= static_cast<unsigned>((units[i] < 0x20 || units[i] > 0x7E) && units[i] != u'\t');
    return other == 0;
}

} // namespace

QString visibleText(const QString& text) {
    QString visible = text;
    if (visible.endsWith(u'\r'))
        visible.chop(1);
    const auto* units = reinterpret_cast<const char16_t*>(visible.utf16());
    const bool hasControls = std::any_of(units, units + visible.size(), needsPicture);
    if (hasControls) {
        for (QChar& unit : visible) {
            if (needsPicture(unit.unicode()))
                unit = QChar(pictureOf(unit.unicode()));
        }
    }
    return visible;
}

std::unique_ptr<LineLayout> LineLayout::make(const AttributedString& line, const LineMetrics& metrics,
                                             std::optional<qreal> wrapWidth) {
    QString text = visibleText(line.string());
    if (fitsGrid(text, line, metrics))
        return std::make_unique<GridLineLayout>(std::move(text), line, metrics, wrapWidth);
    return std::make_unique<ShapedLineLayout>(std::move(text), line, metrics, wrapWidth);
}

} // namespace korvane
