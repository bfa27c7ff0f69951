#include "core/reader/InMemoryFileLogReader.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace korvane {
namespace {

void cutLongLines(DisplayLines& rows, StringEncoding number) {
    std::vector<std::uint64_t> lengths;
    lengths.reserve(rows.lines.size());
    for (const DisplayLine& line : rows.lines)
        lengths.push_back(static_cast<std::uint64_t>(line.text.size()));
    const auto longest = static_cast<qsizetype>(LogReader::longestLineAmong(lengths));
    for (DisplayLine& line : rows.lines) {
        if (line.text.size() <= longest)
            continue;
        const qsizetype kept = line.text.at(longest - 1).isHighSurrogate() ? longest - 1 : longest;
        line.cutBytes = encodedSize(QStringView(line.text).sliced(kept), number);
        line.text = line.text.first(kept);
    }
}

} // namespace

std::shared_ptr<LogFileReaderProtocol> InMemoryFileLogReader::create(const QUrl& fileUrl) {
    return std::shared_ptr<InMemoryFileLogReader>(new InMemoryFileLogReader(fileUrl));
}

std::uint64_t InMemoryFileLogReader::expectedMemory(QByteArrayView fileStart, std::uint64_t fileSize) {
    // A text of two bytes a character beside the bytes it is made of, a line that moves when the list grows,
    // and the book-keeping of two pieces of memory.
    constexpr std::uint64_t perByte = 3;
    constexpr std::uint64_t perLine = 3 * sizeof(Line) + 32;
    const auto known = static_cast<std::uint64_t>(std::max<qsizetype>(fileStart.size(), 1));
    const auto newlines = static_cast<std::uint64_t>(std::ranges::count(fileStart, '\n'));
    return perByte * fileSize + perLine * (fileSize / known * newlines + newlines);
}

qint64 InMemoryFileLogReader::heldLines() const {
    return lock_.withReadLock([this] { return static_cast<qint64>(lines_.size()); });
}

void InMemoryFileLogReader::forgetLines() {
    LogReader::forgetLines();
    std::vector<Line> gone;
    lock_.withWriteLock([&] {
        lines_.swap(gone);
        lineCount_.store(0, std::memory_order_release);
    });
    data_ = {};
    dataOffset_ = 0;
    lastLineIsIncomplete_ = false;
}

void InMemoryFileLogReader::takeBytes(std::uint64_t offset, std::span<const char> bytes,
                                      std::span<const std::uint32_t> newlines) {
    LogReader::takeBytes(offset, bytes, newlines);
    if (data_.isEmpty())
        dataOffset_ = offset;
    if (newlines.empty()) {
        data_.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
        return;
    }
    const std::size_t lastNewline = newlines.back();
    data_.append(bytes.data(), static_cast<qsizetype>(lastNewline + 1 - lineEnd().size));
    replaceLastLine(decodeLines({dataOffset_, data_}, newlines.size()), false);
    const auto rest = bytes.subspan(lastNewline + 1);
    data_ = QByteArray(rest.data(), static_cast<qsizetype>(rest.size()));
    dataOffset_ = offset + lastNewline + 1;
}

std::vector<InMemoryFileLogReader::Line> InMemoryFileLogReader::decodeLines(const FileTextDecoder::Part& part,
                                                                            std::size_t count) {
    std::vector<Line> lines;
    lines.reserve(count);
    const auto texts = decoder().decode({&part, 1});
    if (texts) {
        QStringList pieces = texts->front().text.split(u'\n');
        if (static_cast<std::size_t>(pieces.size()) == count) {
            for (QString& piece : pieces)
                lines.push_back({std::move(piece)});
            return lines;
        }
    }
    // Line by line, so that one that is no text does not take the others with it.
    const QByteArrayView bytes = part.bytes;
    for (qsizetype begin = 0; begin <= bytes.size();) {
        const qsizetype newline = lineEnd().find(bytes, begin);
        const qsizetype end = newline < 0 ? bytes.size() : newline;
        FileTextDecoder::Line line = decoder().decodeLine(
            {part.offset + static_cast<std::uint64_t>(begin), bytes.sliced(begin, end - begin)});
        lines.push_back({std::move(line.text.text), line.isInvalid});
        begin = end + lineEnd().size;
    }
    return lines;
}

void InMemoryFileLogReader::replaceLastLine(std::vector<Line> added, bool lastIsIncomplete) {
    lock_.withWriteLock([&] {
        if (lastLineIsIncomplete_)
            lines_.pop_back();
        lines_.insert(lines_.end(), std::move_iterator(added.begin()), std::move_iterator(added.end()));
        lineCount_.store(static_cast<qint64>(lines_.size()), std::memory_order_release);
    });
    lastLineIsIncomplete_ = lastIsIncomplete;
}

void InMemoryFileLogReader::publishAll() {
    LogReader::publishAll();
    if (lastLineIsIncomplete_ && decodedBytes_ == data_.size() && decodedAs_ == encodingChoice())
        return;
    decodedBytes_ = data_.size();
    decodedAs_ = encodingChoice();
    // The file may end within a character, which the next scan completes.
    FileTextDecoder::Line line = decoder().decodeLine({dataOffset_, data_, true});
    replaceLastLine({{std::move(line.text.text), line.isInvalid}}, true);
}

QStringList InMemoryFileLogReader::readLines(qint64 start, qint64 count) {
    if (isCanceled())
        return {};
    return lock_.withReadLock([&] {
        QStringList texts;
        if (const auto numbers = clamp(start, count, static_cast<qint64>(lines_.size()))) {
            for (qint64 number = numbers->first; number <= numbers->last; ++number) {
                const Line& line = lines_[static_cast<std::size_t>(number - 1)];
                texts.append(line.isInvalid ? QString() : line.text);
            }
        }
        return texts;
    });
}

DisplayLines InMemoryFileLogReader::readRows(qint64 start, qint64 count, RowLength length) {
    if (isCanceled())
        return {};
    DisplayLines result = lock_.withReadLock([&] {
        DisplayLines rows;
        if (const auto numbers = clamp(start, count, static_cast<qint64>(lines_.size()))) {
            for (qint64 number = numbers->first; number <= numbers->last; ++number) {
                const Line& line = lines_[static_cast<std::size_t>(number - 1)];
                rows.lines.push_back({line.text, 0, line.isInvalid});
            }
        }
        return rows;
    });
    if (length == RowLength::Shown)
        cutLongLines(result, fileEncoding());
    return result;
}

} // namespace korvane
