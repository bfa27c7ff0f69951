#pragma once

#include <QColor>

#include <initializer_list>

namespace korvane {

/// The least contrast at which small text can be read well.
inline constexpr double readableContrast = 4.5;

/// How far the luminances of two colours are apart: 1 for equal ones, 21 for black and white. Alpha is
/// ignored.
double contrast(const QColor& one, const QColor& other);

/// The colour, made lighter or darker as little as needed to be readable on each of the grounds. Where no
/// lightness is, on grounds that are far apart, black or white, whichever reads better.
QColor readableOn(std::initializer_list<QColor> grounds, const QColor& color);

/// Between two colours: `share` 0 is the first, 1 the second.
QColor mixed(const QColor& one, const QColor& other, double share);

} // namespace korvane
