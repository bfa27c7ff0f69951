#pragma once

namespace korvane {

/// The direction in which lines, or the bytes of a block, are searched.
enum class Direction {
    Forwards,  ///< towards the end
    Backwards, ///< towards the beginning
};

/// The direction from one line to another.
template <typename Line>
constexpr Direction directionFrom(Line first, Line last) {
    return first <= last ? Direction::Forwards : Direction::Backwards;
}

constexpr Direction opposite(Direction direction) {
    return direction == Direction::Forwards ? Direction::Backwards : Direction::Forwards;
}

} // namespace korvane
