#pragma once

#include <QColor>

#include <initializer_list>

namespace korvane {

/// Minimum contrast at which small text is readable.
inline constexpr double readableContrast = 4.5;

/// The contrast ratio of the luminances of two colours: 1 (equal) to 21 (black and white). Alpha is
/// ignored.
double contrast(const QColor& one, const QColor& other);

/// The colour, made lighter or darker as little as needed to be readable on each of the grounds. Where no
/// lightness is, on grounds that are far apart, black or white, whichever reads better.
QColor readableOn(std::initializer_list<QColor> grounds, const QColor& color);

/// Between two colours: `share` 0 is the first, 1 the second.
QColor mixed(const QColor& one, const QColor& other, double share);

} // namespace korvane
