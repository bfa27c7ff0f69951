#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QtGlobal>

#include <cstdint>
#include <optional>

namespace korvane {

/// How the file has changed since the last count that succeeded.
enum class FileChange : unsigned char {
    None,
    Grown,
    Replaced, ///< every line may have changed
};

/// The known line count of a file on a server, and which lines have been reported to the rules. A value
/// without input or output, and not synchronised.
class LineCount {
public:
    /// The last known count; before the first count the number of lines read.
    qint64 lines() const { return lines_; }
    /// Whether the lines have been counted and have not changed since, as far as is known.
    bool isFresh() const { return isFresh_; }
    /// Whether a count should be requested when the lines are needed.
    bool isWanted() const { return !isUnwanted_ && (!isFresh_ || lines_ == 0); }
    /// Incremented whenever the file is found empty: counts begun before are then invalid.
    std::uint64_t generation() const { return generation_; }

    /// Marks the count as possibly outdated.
    void outdate();
    /// The user has cancelled a count: none is wanted until `outdate`.
    void giveUp() { isUnwanted_ = true; }
    /// Removes all lines without a count. Returns how many there were.
    qint64 empty();

    /// `lines` of the first page have been read and can be shown while the rest follows. True if these are
    /// new rows.
    bool firstLinesShown(qint64 lines);
    struct FirstPage {
        /// The rows that can be shown now.
        LineRange loaded;
        /// Counted lines of the first page that were appended after it was read.
        LineRange missed;
    };
    /// The first page has been read and has `lines` lines. Nullopt if that was known before.
    std::optional<FirstPage> firstPageRead(qint64 lines);

    struct Counted {
        qint64 before;
        /// Whether no rows have been shown before and the first page is not complete yet.
        bool isFirst;
    };
    /// Stores a count. Nullopt if it began in another generation.
    std::optional<Counted> take(qint64 counted, std::uint64_t generation);

    /// Whether appended lines are reported to the rules from now on.
    void followingBegan();
    void followingEnded() { isFollowed_ = false; }
    /// Number of lines that have been reported or existed before; nullopt while that is unknown.
    void setReported(std::optional<qint64> lines) { reported_ = lines; }
    /// The appended lines to be reported now, each once; may be empty.
    LineRange takeAppended(FileChange change, qint64 counted, std::uint64_t generation);

private:
    qint64 lines_ = 0;
    bool isFresh_ = false;
    bool isUnwanted_ = false;
    bool isFirstPageRead_ = false;
    bool isFollowed_ = false;
    /// Lines of the first page that were shown before it was complete.
    qint64 shownFirst_ = 0;
    std::uint64_t generation_ = 0;
    std::optional<qint64> reported_;
};

} // namespace korvane
