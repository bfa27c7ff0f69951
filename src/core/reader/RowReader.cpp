#include "core/reader/RowReader.h"

#include "core/reader/LineFilterRead.h"
#include "core/reader/LineSearch.h"
#include "core/reader/Pages.h"
#include "core/reader/ReadFaultLog.h"
#include "core/search/Direction.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstring>
#include <utility>

namespace korvane {

namespace {

/// Lines that are filtered at once for a pattern: few at first, since the next match is often near.
constexpr qint64 fewestFilteredLines = 4096;
constexpr qint64 mostFilteredLines = 1 << 17;

} // namespace

std::optional<QByteArray> RowReader::readBytes(const ByteSource& source, std::uint64_t begin,
                                               std::uint64_t end) {
    QByteArray bytes(static_cast<qsizetype>(end - begin), Qt::Uninitialized);
    int error = 0;
    const auto got = source.read(begin, {bytes.data(), static_cast<std::size_t>(bytes.size())}, &error);
    if (!got) {
        faults_.report(ReadFaultLog::Task::Rows, begin, error);
        return std::nullopt;
    }
    bytes.truncate(static_cast<qsizetype>(*got));
    return bytes;
}

QStringList RowReader::readLines(qint64 start, qint64 count) {
    const auto lines = file_.locate(start, count, IndexedFile::Detail::Range);
    if (!lines || !lines->source)
        return {};
    const auto bytes = readBytes(*lines->source, lines->begin, lines->end);
    if (!bytes)
        return {};
    const FileTextDecoder::Part part{lines->begin, *bytes, !lines->newlineFollows};
    const auto texts = decoder_.decode({&part, 1});
    return texts ? texts->front().text.split(u'\n') : QStringList();
}

DisplayLines RowReader::readRows(qint64 start, qint64 count, RowLength length) {
    learnEncoding();
    return decodeRows(readParts(start, count, length));
}

std::uint64_t RowReader::longestLineToShow(const std::vector<std::uint64_t>& lengths) {
    std::uint64_t shown = 0;
    for (const std::uint64_t length : lengths)
        shown += std::min(length, longestShownLine);
    return shown <= mostShownBytes ? longestShownLine : longestShownLineOfMany;
}

std::vector<RowReader::Part> RowReader::partsOf(const IndexedFile::Lines& lines, RowLength length) {
    std::vector<std::uint64_t> lengths;
    lengths.reserve(lines.starts.size());
    for (std::size_t i = 0; i < lines.starts.size(); ++i) {
        const std::uint64_t end =
            i + 1 < lines.starts.size() ? lines.starts[i + 1] - lines.lineEnd.size : lines.end;
        lengths.push_back(std::max(end, lines.starts[i]) - lines.starts[i]);
    }
    const std::uint64_t longest = length == RowLength::Shown ? longestLineToShow(lengths) : ~std::uint64_t{0};
    std::vector<Part> parts;
    bool joinNext = false;
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        const std::uint64_t begin = lines.starts[i];
        const bool isTooLong = lengths[i] > longest;
        if (joinNext && !isTooLong) {
            parts.back().end = begin + lengths[i];
            ++parts.back().lineCount;
        } else {
            const std::uint64_t size = std::min(lengths[i], longest);
            parts.push_back({begin, begin + size, lengths[i] - size, 1, false, lines.lineEnd});
        }
        joinNext = !isTooLong;
    }
    if (!parts.empty())
        parts.back().isUnfinished = !lines.newlineFollows;
    return parts;
}

std::vector<RowReader::Part> RowReader::readParts(qint64 start, qint64 count, RowLength length) {
    const auto lines = file_.locate(start, count, IndexedFile::Detail::LineStarts);
    if (!lines || !lines->source)
        return {};
    std::vector<Part> parts = partsOf(*lines, length);
    for (Part& part : parts) {
        auto bytes = readBytes(*lines->source, part.begin, part.end);
        if (!bytes)
            return {};
        part.bytes = std::move(*bytes);
    }
    return parts;
}

DisplayLines RowReader::decodeRows(const std::vector<Part>& parts) {
    DisplayLines result;
    for (const Part& part : parts)
        if (!addLinesAtOnce(result, part))
            addLinesOneByOne(result, part);
    return result;
}

bool RowReader::addLinesAtOnce(DisplayLines& to, const Part& part) {
    auto text = decoder_.decodeSilently(part.text());
    if (!text)
        return false;
    if (part.lineCount == 1) {
        const std::uint64_t unused = part.cutBytes > 0 ? part.end - part.begin - text->usedBytes : 0;
        to.lines.push_back({std::move(text->text), part.cutBytes + unused});
        return true;
    }
    QStringList lines = text->text.split(u'\n');
    // The file may have been truncated or rewritten since it was indexed.
    if (lines.size() != part.lineCount)
        return false;
    for (QString& line : lines)
        to.lines.push_back({std::move(line)});
    return true;
}

void RowReader::addLinesOneByOne(DisplayLines& to, const Part& part) {
    const FileTextDecoder::Part whole = part.text();
    for (qsizetype begin = 0; begin <= part.bytes.size();) {
        const qsizetype newline = part.lineEnd.find(part.bytes, begin);
        const qsizetype end = newline < 0 ? part.bytes.size() : newline;
        FileTextDecoder::Line line =
            decoder_.decodeLine({part.begin + static_cast<std::uint64_t>(begin),
                                 whole.bytes.sliced(begin, end - begin), whole.isCut && newline < 0});
        const std::uint64_t unused =
            part.cutBytes > 0 ? static_cast<std::uint64_t>(end - begin) - line.text.usedBytes : 0;
        to.lines.push_back({std::move(line.text.text), part.cutBytes + unused, line.isInvalid});
        begin = end + part.lineEnd.size;
    }
}

void RowReader::learnEncoding() {
    if (decoder_.fileEncoding() == encoding::unknown)
        decodeRows(readParts(1, pages::size, RowLength::Shown));
}

qint64 RowReader::firstHit(qint64 first, qint64 last, const SearchItem& item,
                           const std::function<bool()>& isCancelled) {
    const Direction direction = directionFrom(first, last);
    const qint64 low = std::max<qint64>(std::min(first, last), 0);
    const qint64 high = std::min(std::max(first, last), file_.index().lineCount() - 1);
    const LineFilter filter({item}, decoder_.fileEncoding());
    LineFilter::Pass pass(filter);
    LineFilterRead lines(file_, decoder_, pass, isCancelled);
    qint64 most = fewestFilteredLines;
    for (qint64 left = high - low + 1; left > 0;) {
        const qint64 count = std::min(most, left);
        const qint64 begin = direction == Direction::Forwards ? high + 1 - left : low + left - count;
        MatchBudget::Steps steps = MatchBudget::mostPerLine * count;
        const FilteredLines found = lines.filter(begin, count, {&steps, 1});
        const auto& hits = found.items.front().lines;
        const bool isWhole = found.lineCount == count;
        if (!hits.empty() && (isWhole || direction == Direction::Forwards))
            return direction == Direction::Forwards ? hits.front() : hits.back();
        if (!isWhole)
            return direction == Direction::Forwards ? begin + found.lineCount : begin + count - 1;
        left -= count;
        most = std::min(2 * most, mostFilteredLines);
    }
    return last;
}

SearchOutcome RowReader::findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                       const std::function<bool()>& isCancelled) {
    const auto source = file_.source();
    if (!source)
        return {};
    learnEncoding();
    LineSearch search({file_.index(), *source, decoder_}, item, isCancelled);
    if (item.regex())
        first = firstHit(first, last, item, isCancelled);
    SearchOutcome outcome(search.find(first, last));
    if (!outcome && search.readError() != 0)
        outcome.fault = QCoreApplication::translate("LogReader", "The search has stopped, reading failed: %1")
                            .arg(QString::fromLocal8Bit(std::strerror(search.readError())));
    return outcome;
}

} // namespace korvane
