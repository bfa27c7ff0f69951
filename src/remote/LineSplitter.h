#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <vector>

namespace korvane {

/// Makes lines of UTF-8 text from bytes while they arrive, in bounded memory: a line keeps its first bytes,
/// and of the rest only the number. What stands behind the last newline is no line yet. One thread.
class LineSplitter {
public:
    struct Limits {
        /// So many lines are made.
        qint64 lines = 0;
        /// In bytes: what is kept of one line. A character is not cut.
        std::uint64_t line = 1 << 20;
        /// In bytes: no line is begun behind so many, and none is read further.
        std::uint64_t bytes = 16 << 20;
    };

    explicit LineSplitter(const Limits& limits) : limits_(limits) {}

    /// Before the first bytes: those of a line that has begun, of which only the first may be there.
    void resume(const QByteArray& kept, std::uint64_t length);
    /// False once nothing more is taken.
    bool take(QByteArrayView bytes);

    std::vector<DisplayLine>& lines() { return lines_; }
    /// In bytes: the lines with their newlines.
    std::uint64_t size() const { return size_; }
    /// The last bytes of the lines, at most so many as a place is known by.
    const QByteArray& end() const { return end_; }
    /// What stands behind the last line: as many bytes of it as a line keeps, and how many there are.
    const QByteArray& unfinished() const { return kept_; }
    std::uint64_t unfinishedSize() const { return length_; }
    /// It stopped for the number of bytes before the lines were complete.
    bool isFull() const { return isFull_; }

    /// By so many bytes before it a place in a file is known again.
    static constexpr qsizetype markSize = 64;

private:
    void finishLine();

    const Limits limits_;
    std::vector<DisplayLine> lines_;
    QByteArray kept_;
    std::uint64_t length_ = 0; // of the line that has begun
    std::uint64_t size_ = 0;
    QByteArray end_;
    QByteArray last_; // bytes taken, at most `markSize`
    bool isFull_ = false;
};

} // namespace korvane
