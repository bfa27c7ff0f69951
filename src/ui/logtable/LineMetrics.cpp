#include "ui/logtable/LineMetrics.h"

#include <cmath>

namespace korvane {
namespace {

constexpr qreal linePadding = 2;
constexpr int probeLength = 64;
constexpr unsigned boldFace = 1;
constexpr unsigned italicFace = 2;

qreal averageAdvance(const QFontMetricsF& metrics, QChar unit) {
    return metrics.horizontalAdvance(QString(probeLength, unit)) / probeLength;
}

} // namespace

LineMetrics::LineMetrics(const QFont& font) : font_(font) {
    for (unsigned style = 0; style < faces_.size(); ++style) {
        faces_[style] = font;
        if (style & boldFace)
            faces_[style].setBold(true);
        if (style & italicFace)
            faces_[style].setItalic(true);
    }
    const QFontMetricsF metrics(font_);
    lineHeight_ = std::ceil(metrics.height()) + linePadding;
    baseline_ = std::ceil(metrics.ascent()) + linePadding / 2;
    cellWidth_ = averageAdvance(metrics, u'0');
}

bool LineMetrics::isGrid(bool bold, bool italic) const {
    const unsigned style = (bold ? boldFace : 0U) | (italic ? italicFace : 0U);
    std::optional<bool>& known = grid_[style];
    if (!known) {
        const QFontMetricsF metrics(faces_[style]);
        known = true;
        for (const char16_t unit : {u'i', u'W', u' ', u'.', u'0', u'm'}) {
            if (std::abs(averageAdvance(metrics, unit) - cellWidth_) > 0.01)
                known = false;
        }
    }
    return *known;
}

const QFont& LineMetrics::face(const Attributes& attributes) const {
    const auto& font = attributes.font;
    return font ? faces_[(font->bold() ? boldFace : 0U) | (font->italic() ? italicFace : 0U)] : font_;
}

} // namespace korvane
