#pragma once

#include "core/reader/FileTextDecoder.h"
#include "core/reader/IndexedFile.h"
#include "core/reader/LogFileReaderProtocol.h"

#include <QByteArray>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace korvane {

class ReadFaultLog;

/// Reads lines of an indexed file as text. Any thread; the other parts must outlive it.
class RowReader {
public:
    RowReader(const IndexedFile& file, FileTextDecoder& decoder, ReadFaultLog& faults)
        : file_(file), decoder_(decoder), faults_(faults) {}

    // As in LogFileReaderProtocol.
    QStringList readLines(qint64 start, qint64 count);
    DisplayLines readRows(qint64 start, qint64 count, RowLength length);
    SearchOutcome findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                const std::function<bool()>& isCancelled);

    /// A line with more bytes than this is cut for the screen…
    static constexpr std::uint64_t longestShownLine = 1 << 20;
    /// …and one with more than this when the requested lines would still take more than `mostShownBytes`
    /// together.
    static constexpr std::uint64_t longestShownLineOfMany = 1 << 14;
    static constexpr std::uint64_t mostShownBytes = 64 << 20;

private:
    /// The first line from `first` to `last`, in either direction, that matches a pattern or cannot be read;
    /// `last` without one.
    qint64 firstHit(qint64 first, qint64 last, const SearchItem& item,
                    const std::function<bool()>& isCancelled);
    /// Some of the requested bytes: consecutive whole lines, or the beginning of one.
    struct Part {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        std::uint64_t cutBytes = 0;
        qsizetype lineCount = 1;
        /// The file ends here, perhaps inside a character that is still being written.
        bool isUnfinished = false;
        LineEnd lineEnd{};
        QByteArray bytes{};
        FileTextDecoder::Part text() const { return {begin, bytes, cutBytes > 0 || isUnfinished}; }
    };
    static std::uint64_t longestLineToShow(const std::vector<std::uint64_t>& lengths);
    /// The parts to read; lines that are not cut are joined.
    static std::vector<Part> partsOf(const IndexedFile::Lines& lines, RowLength length);
    /// Empty when there are no lines, or they cannot be read.
    std::vector<Part> readParts(qint64 start, qint64 count, RowLength length);
    std::optional<QByteArray> readBytes(const ByteSource& source, std::uint64_t begin, std::uint64_t end);
    DisplayLines decodeRows(const std::vector<Part>& parts);
    /// False when the part does not decode as a whole.
    bool addLinesAtOnce(DisplayLines& to, const Part& part);
    void addLinesOneByOne(DisplayLines& to, const Part& part);
    /// The first page decides the encoding, whichever page is read first.
    void learnEncoding();

    const IndexedFile& file_;
    FileTextDecoder& decoder_;
    ReadFaultLog& faults_;
};

} // namespace korvane
