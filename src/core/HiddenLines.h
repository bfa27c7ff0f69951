#pragma once

#include <array>

namespace korvane {

/// What a table does with the lines that the rules hide. Stored by number.
enum class HiddenLines {
    AsFiltered, ///< their rows stay, without text
    LeftOut,
    LeftOutWith2Around,
    LeftOutWith5Around,
    LeftOutWith10Around,
};

inline constexpr std::array allHiddenLines{HiddenLines::AsFiltered, HiddenLines::LeftOut,
                                           HiddenLines::LeftOutWith2Around, HiddenLines::LeftOutWith5Around,
                                           HiddenLines::LeftOutWith10Around};

/// Lines shown before and after each line that is not hidden.
constexpr int linesAround(HiddenLines mode) {
    switch (mode) {
    case HiddenLines::LeftOutWith2Around:
        return 2;
    case HiddenLines::LeftOutWith5Around:
        return 5;
    case HiddenLines::LeftOutWith10Around:
        return 10;
    case HiddenLines::AsFiltered:
    case HiddenLines::LeftOut:
        break;
    }
    return 0;
}

} // namespace korvane
