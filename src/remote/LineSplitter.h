#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QByteArray>
#include <QByteArrayView>

#include <cstdint>
#include <vector>

namespace korvane {

/// Splits arriving bytes into lines of UTF-8 text in bounded memory: of a long line the first bytes are kept,
/// and of the rest only the number. Bytes after the last newline do not form a line yet. One thread.
class LineSplitter {
public:
    struct Limits {
        /// Maximum number of lines.
        qint64 lines = 0;
        /// In bytes: how much of one line is kept. Characters are not cut.
        std::uint64_t line = 1 << 20;
        /// In bytes: no line begins after this many, and reading stops there.
        std::uint64_t bytes = 16 << 20;
    };

    explicit LineSplitter(const Limits& limits) : limits_(limits) {}

    /// Call before the first bytes, if a line has already begun. `kept`: its first bytes; `length`: its
    /// length so far, in bytes.
    void resume(const QByteArray& kept, std::uint64_t length);
    /// False once no more bytes are accepted.
    bool take(QByteArrayView bytes);

    std::vector<DisplayLine>& lines() { return lines_; }
    /// In bytes: size of the lines with their newlines.
    std::uint64_t size() const { return size_; }
    /// The last bytes of the lines, at most `markSize`.
    const QByteArray& end() const { return end_; }
    /// The bytes after the last newline, limited like those of a line, and their number.
    const QByteArray& unfinished() const { return kept_; }
    std::uint64_t unfinishedSize() const { return length_; }
    /// Whether the byte limit was reached before the lines were complete.
    bool isFull() const { return isFull_; }

    /// In bytes: how much before a place in a file is compared to recognise it.
    static constexpr qsizetype markSize = 64;

private:
    void finishLine();

    const Limits limits_;
    std::vector<DisplayLine> lines_;
    QByteArray kept_;
    std::uint64_t length_ = 0; // of the unfinished line
    std::uint64_t size_ = 0;
    QByteArray end_;
    QByteArray last_; // last bytes taken, at most `markSize`
    bool isFull_ = false;
};

} // namespace korvane
