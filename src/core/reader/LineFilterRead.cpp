#include "core/reader/LineFilterRead.h"

#include "core/reader/ByteSource.h"
#include "core/reader/FileTextDecoder.h"
#include "core/reader/LineSearch.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "core/reader/RowReader.h"

#include <algorithm>
#include <utility>

namespace korvane {

namespace {

/// Small enough for the cache of a core; a longer line is read up to `longestLine`.
constexpr std::uint64_t mostBlockBytes = 512 << 10;
constexpr qint64 mostBlockLines = 8192;
constexpr std::uint64_t longestLine = RowReader::longestShownLine;

} // namespace

LineFilterRead::LineFilterRead(const IndexedFile& file, FileTextDecoder& decoder, LineFilter::Pass& pass,
                               std::function<bool()> isCancelled)
    : file_(file), decoder_(decoder), pass_(pass), isCancelled_(std::move(isCancelled)),
      bytes_(std::make_unique_for_overwrite<char[]>(longestLine)) {}

FilteredLines LineFilterRead::filter(qint64 first, qint64 count, std::span<MatchBudget::Steps> budgets) {
    FilteredLines result;
    result.items.resize(pass_.filter().itemCount());
    while (result.lineCount < count && !isCancelled_()) {
        const qint64 firstOfBlock = first + result.lineCount;
        const qint64 asked = std::min(count - result.lineCount, linesThatMayFit_);
        const auto lines = locateBlock(firstOfBlock, asked);
        if (!lines || !read(*lines))
            break;
        const LineFilter::Block block{.bytes = {bytes_.get(), byteCount_},
                                      .lines = starts_,
                                      .lineEndBytes = lines->lineEnd.size,
                                      .text = [&](std::size_t line) { return text(*lines, line); },
                                      .isCancelled = isCancelled_};
        auto hits = pass_.find(block, budgets);
        if (lines->end - lines->begin > longestLine)
            searchLongLine(*lines, firstOfBlock, hits);
        if (isCancelled_())
            break;
        for (std::size_t i = 0; i < hits.size(); ++i) {
            for (const std::uint32_t line : hits[i].lines)
                result.items[i].lines.push_back(firstOfBlock + line);
            for (const std::uint32_t line : hits[i].givenUp)
                result.items[i].givenUp.push_back(firstOfBlock + line);
        }
        const auto lineCount = static_cast<qint64>(lines->starts.size());
        result.lineCount += lineCount;
        // Not many more than fit: each costs a look into the index.
        linesThatMayFit_ =
            std::min(lineCount < asked ? lineCount + lineCount / 8 + 1 : 2 * asked, mostBlockLines);
    }
    return result;
}

std::optional<IndexedFile::Lines> LineFilterRead::locateBlock(qint64 first, qint64 count) const {
    auto lines = file_.locate(first + 1, count, IndexedFile::Detail::LineStarts);
    if (!lines || !lines->source || lines->starts.empty())
        return std::nullopt;
    if (lines->end - lines->begin <= mostBlockBytes)
        return lines;
    const auto fits = std::ranges::upper_bound(lines->starts, lines->begin + mostBlockBytes);
    const auto number = std::max<std::ptrdiff_t>(fits - lines->starts.begin() - 1, 1);
    if (const auto kept = static_cast<std::size_t>(number); kept < lines->starts.size()) {
        lines->end = lines->starts[kept] - lines->lineEnd.size;
        lines->newlineFollows = true;
        lines->starts.resize(kept);
    }
    return lines;
}

bool LineFilterRead::read(const IndexedFile::Lines& lines) {
    starts_.clear();
    for (const std::uint64_t start : lines.starts)
        starts_.push_back(static_cast<std::uint32_t>(start - lines.begin));
    // With the newline of the last line, if there is one and the line is whole.
    std::uint64_t size = lines.end - lines.begin + (lines.newlineFollows ? lines.lineEnd.size : 0U);
    size = std::min(size, longestLine);
    byteCount_ = 0;
    while (byteCount_ < size) {
        int error = 0;
        const std::size_t got =
            lines.source
                ->read(lines.begin + byteCount_,
                       {bytes_.get() + byteCount_, static_cast<std::size_t>(size) - byteCount_}, &error)
                .value_or(0);
        if (got == 0)
            return false;
        byteCount_ += got;
    }
    starts_.push_back(static_cast<std::uint32_t>(byteCount_));
    return true;
}

QString LineFilterRead::text(const IndexedFile::Lines& lines, std::size_t line) const {
    const bool isLast = line + 1 == lines.starts.size();
    const std::uint64_t end = std::min<std::uint64_t>(
        isLast ? lines.end - lines.begin : starts_[line + 1] - lines.lineEnd.size, byteCount_);
    const bool isCut = isLast && (!lines.newlineFollows || end < lines.end - lines.begin);
    const QByteArrayView bytes(bytes_.get() + starts_[line], static_cast<qsizetype>(end - starts_[line]));
    return decoder_.decodeLine({lines.begin + starts_[line], bytes, isCut}).text.text;
}

void LineFilterRead::searchLongLine(const IndexedFile::Lines& lines, qint64 line,
                                    std::vector<LineFilter::Hits>& hits) const {
    for (std::size_t i = 0; i < hits.size(); ++i) {
        const SearchItem& item = pass_.filter().item(i);
        if (item.regex() || !hits[i].lines.empty())
            continue;
        LineSearch search({file_.index(), *lines.source, decoder_}, item, isCancelled_);
        if (search.find(line, line))
            hits[i].lines.push_back(0);
    }
}

} // namespace korvane
