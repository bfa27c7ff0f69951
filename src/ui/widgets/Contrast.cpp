#include "ui/widgets/Contrast.h"

#include <algorithm>
#include <cmath>

namespace korvane {
namespace {

/// Steps between black and white in which a lightness is looked for.
constexpr int lightnessSteps = 256;

double linear(float part) {
    return part <= 0.03928F ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double luminance(const QColor& color) {
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) + 0.0722 * linear(color.blueF());
}

double leastContrast(std::initializer_list<QColor> grounds, const QColor& color) {
    double least = 21;
    for (const QColor& ground : grounds)
        least = std::min(least, contrast(ground, color));
    return least;
}

} // namespace

double contrast(const QColor& one, const QColor& other) {
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

QColor readableOn(std::initializer_list<QColor> grounds, const QColor& color) {
    if (leastContrast(grounds, color) >= readableContrast)
        return color;
    float hue = 0;
    float saturation = 0;
    float lightness = 0;
    color.getHslF(&hue, &saturation, &lightness);
    for (int step = 1; step <= lightnessSteps; ++step) {
        const float change = static_cast<float>(step) / lightnessSteps;
        for (const float changed : {lightness - change, lightness + change}) {
            if (changed < 0 || changed > 1)
                continue;
            // As it is painted, in whole parts of 255.
            const QColor candidate =
                QColor::fromRgb(QColor::fromHslF(std::max(hue, 0.0F), saturation, changed).rgb());
            if (leastContrast(grounds, candidate) >= readableContrast)
                return candidate;
        }
    }
    const QColor black(Qt::black);
    const QColor white(Qt::white);
    return leastContrast(grounds, black) > leastContrast(grounds, white) ? black : white;
}

QColor mixed(const QColor& one, const QColor& other, double share) {
    const auto part = [share](float from, float to) {
        return static_cast<float>(from + (to - from) * share);
    };
    return QColor::fromRgbF(part(one.redF(), other.redF()), part(one.greenF(), other.greenF()),
                            part(one.blueF(), other.blueF()));
}

} // namespace korvane
