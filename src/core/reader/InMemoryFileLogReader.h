#pragma once

#include "core/reader/LogReader.h"
#include "foundation/work/NativeLock.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace korvane {

/// A reader that holds the text of the whole file, for users who trade memory for speed. Lines are decoded
/// while they are scanned; another encoding needs a reset and a new scan.
class InMemoryFileLogReader final : public LogReader {
public:
    static std::shared_ptr<LogFileReaderProtocol> create(const QUrl& fileUrl);

    /// Bytes of memory that a file takes whose first bytes these are, and whose size this is: the text, and
    /// what comes on top for every line, as long as lines go on as they begin.
    static std::uint64_t expectedMemory(QByteArrayView fileStart, std::uint64_t fileSize);

    qint64 lineCount() const override { return lineCount_.load(std::memory_order_acquire); }
    QStringList readLines(qint64 start, qint64 count) override;
    DisplayLines readRows(qint64 start, qint64 count, RowLength length) override;
    /// What is held was decoded in the encoding before.
    bool needsNewScan() const override { return true; }
    /// Searches the text that is held, not the file.
    SearchOutcome findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override {
        // NOLINTNEXTLINE(bugprone-parent-virtual-call): not the search of the index
        return LogFileReaderProtocol::findNextMatch(first, last, item, isCancelled);
    }

private:
    using LogReader::LogReader;

    qint64 heldLines() const override;
    void forgetLines() override;
    void takeBytes(std::uint64_t offset, std::span<const char> bytes,
                   std::span<const std::uint32_t> newlines) override;
    void publishAll() override;
    /// Nothing beyond: what is held cannot be dropped again.
    std::uint64_t scanLimit(std::uint64_t size) const override { return size; }

    struct Line {
        QString text;
        /// U+FFFD stands for bytes that are not valid.
        bool isInvalid = false;
    };
    /// The text of complete lines, as many as `count`.
    std::vector<Line> decodeLines(const FileTextDecoder::Part& part, std::size_t count);
    /// Puts lines behind the complete ones, in place of the incomplete one.
    void replaceLastLine(std::vector<Line> added, bool lastIsIncomplete);

    NativeLock lock_;
    // Guarded by lock_.
    std::vector<Line> lines_;
    std::atomic<qint64> lineCount_{0}; // changes with lines_

    // For the scan only.
    /// The bytes of the last, incomplete line.
    QByteArray data_;
    std::uint64_t dataOffset_ = 0;
    bool lastLineIsIncomplete_ = false;
    /// How many of its bytes the last of the lines shows, and in which encoding.
    qsizetype decodedBytes_ = 0;
    EncodingChoice decodedAs_;
};

} // namespace korvane
