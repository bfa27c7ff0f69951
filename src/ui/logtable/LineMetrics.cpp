#include "ui/logtable/LineMetrics.h"

#include <cmath>

namespace korvane {
namespace {

constexpr qreal linePadding = 2;
constexpr int probeLength = 64;

qreal averageAdvance(const QFontMetricsF& metrics, QChar unit) {
    return metrics.horizontalAdvance(QString(probeLength, unit)) / probeLength;
}

} // namespace

LineMetrics::LineMetrics(const QFont& font) : font_(font) {
    const QFontMetricsF metrics(font_);
    lineHeight_ = std::ceil(metrics.height()) + linePadding;
    baseline_ = std::ceil(metrics.ascent()) + linePadding / 2;
    cellWidth_ = averageAdvance(metrics, u'0');
}

bool LineMetrics::isGrid(bool bold, bool italic) const {
    std::optional<bool>& known = grid_[(bold ? 1U : 0U) + (italic ? 2U : 0U)];
    if (!known) {
        QFont face = font_;
        if (bold)
            face.setBold(true);
        if (italic)
            face.setItalic(true);
        const QFontMetricsF metrics(face);
        known = true;
        for (const char16_t unit : {u'i', u'W', u' ', u'.', u'0', u'm'}) {
            if (std::abs(averageAdvance(metrics, unit) - cellWidth_) > 0.01)
                known = false;
        }
    }
    return *known;
}

} // namespace korvane
