#pragma once

namespace korvane {

/// Relation of a followed file to its path.
enum class FileStatus : unsigned char {
    Present,    ///< the file at the path is the one shown
    Rotated,    ///< another file was found at the path and is shown now, from its first line
    Deleted,    ///< there is no file at the path; the rows of the old file stay
    Unreadable, ///< the file at the path cannot be read; the rows read before stay
    Truncated,  ///< the file was truncated or rewritten: it is shown from its first line
};

} // namespace korvane
