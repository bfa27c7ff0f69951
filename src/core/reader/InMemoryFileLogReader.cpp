#include "core/reader/InMemoryFileLogReader.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace korvane {

std::shared_ptr<LogFileReaderProtocol> InMemoryFileLogReader::create(const QUrl& fileUrl) {
    return std::shared_ptr<InMemoryFileLogReader>(new InMemoryFileLogReader(fileUrl));
}

qint64 InMemoryFileLogReader::heldLines() const {
    return lock_.withReadLock([this] { return static_cast<qint64>(lines_.size()); });
}

void InMemoryFileLogReader::forgetLines() {
    LogReader::forgetLines();
    std::vector<QString> gone;
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
    data_.append(bytes.data(), static_cast<qsizetype>(lastNewline));
    replaceLastLine(decodeLines({dataOffset_, data_}, newlines.size()), false);
    const auto rest = bytes.subspan(lastNewline + 1);
    data_ = QByteArray(rest.data(), static_cast<qsizetype>(rest.size()));
    dataOffset_ = offset + lastNewline + 1;
}

std::vector<QString> InMemoryFileLogReader::decodeLines(const FileTextDecoder::Part& part,
                                                        std::size_t count) {
    const auto texts = decoder().decode({&part, 1});
    if (texts) {
        QStringList pieces = texts->front().text.split(u'\n');
        if (static_cast<std::size_t>(pieces.size()) == count)
            return {std::move_iterator(pieces.begin()), std::move_iterator(pieces.end())};
    }
    // Line by line, so that one that is no text does not take the others with it.
    std::vector<QString> lines;
    lines.reserve(count);
    const QByteArrayView bytes = part.bytes;
    for (qsizetype begin = 0; begin <= bytes.size();) {
        const qsizetype newline = bytes.indexOf('\n', begin);
        const qsizetype end = newline < 0 ? bytes.size() : newline;
        const auto text = decoder().decodeSilently(
            {part.offset + static_cast<std::uint64_t>(begin), bytes.sliced(begin, end - begin)});
        lines.push_back(text ? text->text : QString());
        begin = end + 1;
    }
    return lines;
}

void InMemoryFileLogReader::replaceLastLine(std::vector<QString> added, bool lastIsIncomplete) {
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
    // The file may end within a character, which the next scan completes.
    const FileTextDecoder::Part part{dataOffset_, data_, true};
    const auto texts = decoder().decode({&part, 1});
    replaceLastLine({texts ? texts->front().text : QString()}, true);
}

QStringList InMemoryFileLogReader::readLines(qint64 start, qint64 count) {
    if (isCanceled())
        return {};
    return lock_.withReadLock([&]() -> QStringList {
        const auto numbers = clamp(start, count, static_cast<qint64>(lines_.size()));
        if (!numbers)
            return {};
        return {lines_.begin() + numbers->first - 1, lines_.begin() + numbers->last};
    });
}

DisplayLines InMemoryFileLogReader::readLinesForDisplay(qint64 start, qint64 count) {
    DisplayLines result;
    const std::uint64_t bytes = byteCount(start, count);
    const auto longest = static_cast<qsizetype>(longestLineAmong(bytes));
    const StringEncoding number = fileEncoding();
    for (QString& line : readLines(start, count)) {
        if (line.size() <= longest) {
            result.lines.push_back({std::move(line), 0});
            continue;
        }
        qsizetype kept = longest;
        if (line.at(kept - 1).isHighSurrogate())
            --kept;
        result.lines.push_back({line.first(kept), encodedSize(QStringView(line).sliced(kept), number)});
    }
    return result;
}

} // namespace korvane
