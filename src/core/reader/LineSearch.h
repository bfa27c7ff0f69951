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

/// One search through the lines of a file, from either end, with a few blocks of memory. Blocks are read at
/// positions; only lines that may hold the text are decoded, and judged by the item itself. One thread; what
/// it refers to must outlive it.
class LineSearch {
public:
    struct File {
        const LineIndex& index;
        const ByteSource& source;
        FileTextDecoder& decoder;
    };
    LineSearch(File file, SearchItem item, std::function<bool()> isCancelled);

    /// The first line with a match on the way from line `first` to line `last`, both zero-based and included;
    /// those that are not there are passed over. Nothing once cancelled.
    std::optional<SearchMatch> find(qint64 first, qint64 last);
    /// The system's error that ended the search early; 0 for none.
    int readError() const { return readError_; }

private:
    struct Range {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
    };
    /// Consecutive lines as bytes of the file, without the last newline; nothing while the index lacks them.
    std::optional<Range> rangeOf(qint64 first, qint64 last) const;
    /// Reads to the end of the range, or of the file; less also before a place that cannot be read.
    std::size_t read(std::uint64_t offset, std::span<char> to);
    bool isStopped() const { return readError_ != 0 || isCancelled_(); }

    std::optional<SearchMatch> findLineByLine(qint64 first, qint64 last);
    std::optional<SearchMatch> findForwards(const CandidateSearch& candidates, Range range);
    std::optional<SearchMatch> findBackwards(const CandidateSearch& candidates, Range range);
    /// What came of looking at the line at a place: its match, or where it lies.
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
