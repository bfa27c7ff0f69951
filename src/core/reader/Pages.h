#pragma once

#include <QtGlobal>

/// Lines are loaded in pages. Page numbers are one-based, line indexes zero-based.
namespace korvane::pages {

inline constexpr qint64 size = 5000;

inline constexpr qint64 pageOfLine(qint64 lineIndex) {
    return lineIndex / size + 1;
}
inline constexpr qint64 firstLine(qint64 page) {
    return (page - 1) * size;
}

} // namespace korvane::pages
