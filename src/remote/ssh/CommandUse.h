#pragma once

namespace korvane {

/// The purpose of a command. The number of commands at once is limited for each purpose, so that those the
/// user waits for find room.
enum class CommandUse {
    /// Lines to be shown.
    Rows,
    /// Lines for a search, a copy or the rules.
    Reading,
    /// Counting the lines of a whole file.
    Count,
    /// Polling a file for changes.
    Poll,
};

} // namespace korvane
