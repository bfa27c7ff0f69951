#include "core/reader/LineSearch.h"

#include "core/reader/ByteSource.h"
#include "core/reader/FileTextDecoder.h"
#include "core/reader/LineIndex.h"

#include <QString>

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>

namespace korvane {
namespace {

/// Bytes read at once; few at first, for matches that follow each other closely.
constexpr std::uint64_t firstBlockSize = 8 << 10;
constexpr std::uint64_t largestBlockSize = 256 << 10;
/// A line with more bytes is decoded in pieces.
constexpr std::uint64_t pieceSize = 1 << 20;

/// Adds the ranges, which count from `base`, except those that lie beyond the range of an int.
void addShifted(std::vector<TextRange>& to, const std::vector<TextRange>& ranges, qint64 base) {
    for (const TextRange& range : ranges)
        if (base + range.end() <= std::numeric_limits<int>::max())
            to.push_back({static_cast<int>(base + range.location), range.length});
}

} // namespace

LineSearch::LineSearch(File file, SearchItem item, std::function<bool()> isCancelled)
    : file_(file), item_(std::move(item)), isCancelled_(std::move(isCancelled)) {}

std::optional<SearchMatch> LineSearch::find(qint64 first, qint64 last) {
    const qint64 lastLine = file_.index.lineCount() - 1;
    const qint64 low = std::max<qint64>(std::min(first, last), 0);
    const qint64 high = std::min(std::max(first, last), lastLine);
    if (item_.searchStr().isEmpty() || low > high)
        return std::nullopt;
    const Direction direction = directionFrom(first, last);
    const auto candidates =
        low < high ? CandidateSearch::create(item_, file_.decoder.fileEncoding()) : std::nullopt;
    if (!candidates)
        return direction == Direction::Forwards ? findLineByLine(low, high) : findLineByLine(high, low);
    const auto range = rangeOf(low, high);
    if (!range)
        return std::nullopt;
    block_ = std::make_unique_for_overwrite<char[]>(largestBlockSize);
    return findInBlocks(*candidates, *range, direction);
}

std::optional<LineSearch::Range> LineSearch::rangeOf(qint64 first, qint64 last) const {
    const LineIndex::View view = file_.index.view();
    const auto begin = view.start(first);
    if (!begin || last >= view.lineCount())
        return std::nullopt;
    std::uint64_t end = view.endOffset();
    if (last + 1 < view.lineCount()) {
        const auto next = view.start(last + 1);
        if (!next)
            return std::nullopt;
        end = *next - view.lineEnd().size;
    }
    return *begin <= end ? std::optional(Range{*begin, end}) : std::nullopt;
}

std::size_t LineSearch::read(std::uint64_t offset, std::span<char> to) {
    std::size_t done = 0;
    while (done < to.size() && readError_ == 0) {
        const std::size_t got = file_.source.read(offset + done, to.subspan(done), &readError_).value_or(0);
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

std::optional<SearchMatch> LineSearch::findLineByLine(qint64 first, qint64 last) {
    const qint64 step = first <= last ? 1 : -1;
    for (qint64 line = first; !isStopped(); line += step) {
        if (const auto range = rangeOf(line, line))
            if (auto match = matchIn(line, *range))
                return match;
        if (line == last)
            break;
    }
    return std::nullopt;
}

std::optional<SearchMatch> LineSearch::findInBlocks(const CandidateSearch& candidates, Range left,
                                                    Direction direction) {
    const bool forwards = direction == Direction::Forwards;
    const std::uint64_t overlap = candidates.overlap();
    std::uint64_t blockSize = firstBlockSize;
    while (left.begin < left.end && !isStopped()) {
        const std::uint64_t size = std::min(blockSize, left.end - left.begin);
        const Range range{forwards ? left.begin : left.end - size, forwards ? left.begin + size : left.end};
        auto searched = findInBlock(candidates, range, direction);
        if (!searched)
            return std::nullopt;
        if (searched->match)
            return std::move(searched->match);
        // An occurrence may lie across the border of two blocks.
        if (forwards)
            left.begin = std::max(searched->from, range.end < left.end ? range.end - overlap : range.end);
        else
            left.end =
                std::min(searched->from, range.begin > left.begin ? range.begin + overlap : range.begin);
        blockSize = std::min(2 * blockSize, largestBlockSize);
    }
    return std::nullopt;
}

std::optional<LineSearch::BlockResult> LineSearch::findInBlock(const CandidateSearch& candidates, Range range,
                                                               Direction direction) {
    const bool forwards = direction == Direction::Forwards;
    const std::span<char> room(block_.get(), static_cast<std::size_t>(range.end - range.begin));
    CandidateSearch::Block block(candidates, direction, room.first(read(range.begin, room)));
    std::uint64_t from = forwards ? range.begin : range.end;
    while ((forwards ? from < range.end : from > range.begin) && !isStopped()) {
        const auto place = block.next(static_cast<std::size_t>(from - range.begin));
        if (!place)
            break;
        auto judged = judge(range.begin + *place);
        if (!judged)
            return std::nullopt;
        if (judged->match)
            return BlockResult{std::move(judged->match), from};
        // The whole line has been matched, also its part beyond the block.
        from = forwards ? judged->line.end + 1 : judged->line.begin;
    }
    return BlockResult{std::nullopt, from};
}

std::optional<LineSearch::Judgement> LineSearch::judge(std::uint64_t place) {
    const qint64 line = file_.index.view().lineAt(place);
    const auto range = rangeOf(line, line);
    // The file is being scanned again: the index has changed during the search.
    if (!range || place < range->begin || place > range->end)
        return std::nullopt;
    return Judgement{matchIn(line, *range), *range};
}

std::optional<SearchMatch> LineSearch::matchIn(qint64 line, Range range) {
    SearchMatch match{line, {}};
    // The last character may not be completely written yet.
    const bool isUnfinished = line + 1 == file_.index.lineCount();
    // The end of the previous piece, in which a match may begin.
    QString text;
    qint64 base = 0;
    for (std::uint64_t offset = range.begin; offset < range.end && !isStopped();) {
        const std::uint64_t size = std::min(range.end - offset, pieceSize);
        const bool isLast = offset + size == range.end;
        QByteArray bytes(static_cast<qsizetype>(size), Qt::Uninitialized);
        bytes.truncate(static_cast<qsizetype>(read(offset, {bytes.data(), static_cast<std::size_t>(size)})));
        const auto piece = file_.decoder.decodeLine({offset, bytes, !isLast || isUnfinished}).text;
        if (piece.usedBytes == 0 && !isLast)
            return std::nullopt;
        text += piece.text;
        if (const auto ranges = item_.matchRanges(text); !ranges.empty()) {
            addShifted(match.results, ranges, base);
            return match;
        }
        const qsizetype kept = std::min(text.size(), item_.searchStr().size() - 1);
        base += text.size() - kept;
        text = text.last(kept);
        offset = isLast ? range.end : offset + piece.usedBytes;
    }
    return std::nullopt;
}

} // namespace korvane
