#pragma once

#include "core/search/CandidateSearch.h"
#include "core/search/SearchItem.h"
#include "core/search/SearchMatch.h"

#include <QByteArray>

#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace korvane {

class ByteSource;
class FileTextDecoder;
class LineIndex;

/// One search through the lines of a file, in either direction. Reads blocks of bytes and decodes only lines
/// that may contain the text; the item itself decides. One thread; the file and its parts must outlive it.
class LineSearch {
public:
    struct File {
        const LineIndex& index;
        const ByteSource& source;
        FileTextDecoder& decoder;
    };
    LineSearch(File file, SearchItem item, std::function<bool()> isCancelled);

    /// The first line with a match from line `first` to line `last`, both zero-based and included; lines that
    /// do not exist are skipped. Empty once cancelled.
    std::optional<SearchMatch> find(qint64 first, qint64 last);
    /// The errno that ended the search early; 0 for none.
    int readError() const { return readError_; }

private:
    struct Range {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    /// Consecutive lines as bytes, without the last newline; empty while the index lacks them.
    std::optional<Range> rangeOf(qint64 first, qint64 last) const;
    /// Returns fewer bytes at the end of the file and before a place that cannot be read.
    std::size_t read(std::uint64_t offset, std::span<char> to);
    bool isStopped() const { return readError_ != 0 || isCancelled_(); }

    std::optional<SearchMatch> findLineByLine(qint64 first, qint64 last);
    std::optional<SearchMatch> findInBlocks(const CandidateSearch& candidates, Range left,
                                            Direction direction);
    struct BlockResult {
        std::optional<SearchMatch> match;
        /// Without a match: where the lines begin, or backwards end, that have not been matched.
        std::uint64_t from = 0;
    };
    /// Reads the range, a block at most, and searches it. Nullopt if the index has changed.
    std::optional<BlockResult> findInBlock(const CandidateSearch& candidates, Range range,
                                           Direction direction);
    /// The match of one line, if any, and where the line lies.
    struct Judgement {
        std::optional<SearchMatch> match;
        Range line;
    };
    std::optional<Judgement> judge(std::uint64_t place);
    std::optional<SearchMatch> matchIn(qint64 line, Range range);

    const File file_;
    const SearchItem item_;
    const std::function<bool()> isCancelled_;
    std::unique_ptr<char[]> block_;
    int readError_ = 0;
};

} // namespace korvane
