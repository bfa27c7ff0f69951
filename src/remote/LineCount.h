#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QtGlobal>

#include <cstdint>
#include <optional>

namespace korvane {

/// What a count has found of the file, against the last count that succeeded.
enum class FileChange : unsigned char {
    None,
    Grown,
    Replaced, ///< every line may be another one
};

/// How many lines of a file on a server are known, and which of them the rules have been told of. A value
/// without input or output, and not synchronised.
class LineCount {
public:
    /// As far as is known; before the first count those that have been read.
    qint64 lines() const { return lines_; }
    /// Counted, and nothing says that there are others by now.
    bool isFresh() const { return isFresh_; }
    /// A count is to be requested by whoever needs the lines.
    bool isWanted() const { return !isUnwanted_ && (!isFresh_ || lines_ == 0); }
    /// Another one whenever the file has been found empty: counts that began before mean nothing any more.
    std::uint64_t generation() const { return generation_; }

    /// The lines may be others by now.
    void outdate();
    /// The user has given up a count: none is wanted until `outdate`.
    void giveUp() { isUnwanted_ = true; }
    /// All lines are gone without a count. Returns how many there were.
    qint64 empty();

    /// `lines` of the first page are on their way and can be shown. True when those are rows that were not
    /// there.
    bool firstLinesShown(qint64 lines);
    struct FirstPage {
        /// The rows that can be shown now.
        LineRange loaded;
        /// Counted lines of the first page that were appended after it was read.
        LineRange missed;
    };
    /// The first page has been read, and has so many lines. Nothing when that has been known before.
    std::optional<FirstPage> firstPageRead(qint64 lines);

    struct Counted {
        qint64 before;
        /// No rows of the file have been shown before, and its first page is still to come.
        bool isFirst;
    };
    /// Takes over what was counted. Nothing when the count began in another generation.
    std::optional<Counted> take(qint64 counted, std::uint64_t generation);

    /// Appended lines are reported to the rules from now on, or are not.
    void followingBegan();
    void followingEnded() { isFollowed_ = false; }
    /// So many lines have been reported or were there before; nothing while it is not known how many there
    /// were.
    void setReported(std::optional<qint64> lines) { reported_ = lines; }
    /// The appended lines that are to be reported now, once each; empty for none.
    LineRange takeAppended(FileChange change, qint64 counted, std::uint64_t generation);

private:
    qint64 lines_ = 0;
    bool isFresh_ = false;
    bool isUnwanted_ = false;
    bool isFirstPageRead_ = false;
    bool isFollowed_ = false;
    /// Lines of the first page that were shown while it was on its way.
    qint64 shownFirst_ = 0;
    std::uint64_t generation_ = 0;
    std::optional<qint64> reported_;
};

} // namespace korvane
