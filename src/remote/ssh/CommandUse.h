#pragma once

namespace korvane {

/// What a command is for: of each only so many run at once, so that those the user waits for find room.
enum class CommandUse {
    /// Lines that are to be shown.
    Rows,
    /// Lines for a search, a copy or the rules.
    Reading,
    /// The lines of a whole file are counted.
    Count,
    /// A look whether a file has changed.
    Poll,
};

} // namespace korvane
