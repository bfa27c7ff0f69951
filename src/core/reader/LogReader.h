#pragma once

#include "core/reader/ContentSample.h"
#include "core/reader/FileTextDecoder.h"
#include "core/reader/LineIndex.h"
#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/FileHandle.h"

#include <QByteArray>
#include <QUrl>

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <span>
#include <vector>

namespace korvane {

/// Random access by line number to a local file of any size: keeps where every line starts, never the text.
///
/// The one line terminator is LF: a byte, or a unit where the file is known to be UTF-16 or UTF-32 before its
/// first line ends. Scans run one at a time; reading goes on beside them, up to what they have
/// published. A reader whose file could not be opened stays inert. Delegates are called on the scanning
/// thread and must not start a scan or a reset from there.
class LogReader : public LogFileReaderProtocol {
public:
    static std::shared_ptr<LogFileReaderProtocol> create(const QUrl& fileUrl);
    /// As above, with the operations that the interface lacks.
    static std::shared_ptr<LogReader> createReader(const QUrl& fileUrl);

    std::shared_ptr<LogReaderDelegate> delegate() const override;
    void setDelegate(std::shared_ptr<LogReaderDelegate> delegate) override;
    void cancel() override;
    void cancelScan() override;
    void close() override;
    std::uint64_t fileSize() override;
    LineRange refresh() override;
    LineRange refreshReportingTo(std::shared_ptr<LogReaderDelegate> listener) override;
    bool isBehind() override;
    int scanError() const override { return scanError_.load(std::memory_order_acquire); }
    std::optional<FileHandle::Identity> fileIdentity() const override;
    Status reopen() override;
    void reset() override;
    void startAgain(LogReaderDelegate& listener) override;
    void indexLines() override;
    qint64 lineCount() const override;
    bool isUnread() const override;
    QStringList readLines(qint64 start, qint64 count) override;
    DisplayLines readRows(qint64 start, qint64 count, RowLength length) override;
    std::uint64_t byteCount(qint64 start, qint64 count) const override;
    std::uint64_t lineEndBytes() const override { return index_.view().lineEnd().size; }
    SearchOutcome findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                const std::function<bool()>& isCancelled) override;
    EncodingChoice encodingChoice() const override;
    void setEncodingChoice(EncodingChoice choice) override;
    bool needsNewScan() const override { return decoder_.lineEnd() != index_.view().lineEnd(); }
    StringEncoding fileEncoding() const override;

    /// The first `n` lines, at least one.
    QStringList readFirstLines(qint64 n);
    /// The last line, whatever `n` is.
    QStringList readLastLines(qint64 n);
    /// The encoding of the data, said in the log; UTF-8 when it cannot be told.
    StringEncoding detectEncoding(QByteArrayView data) const;

    /// Bytes of memory that the map of line starts holds.
    std::size_t indexHeapBytes() const { return index_.heapBytes(); }

    /// A line longer than this is cut for the screen…
    static constexpr std::uint64_t longestShownLine = 1 << 20;
    /// …and than this when the lines asked for would still take more than `mostShownBytes` together.
    static constexpr std::uint64_t longestShownLineOfMany = 1 << 14;
    static constexpr std::uint64_t mostShownBytes = 64 << 20;
    /// The longest line that is not cut when lines of these lengths are shown together.
    template <typename Lengths>
    static std::uint64_t longestLineAmong(const Lengths& lengths) {
        std::uint64_t shown = 0;
        for (const std::uint64_t length : lengths)
            shown += std::min(length, longestShownLine);
        return shown <= mostShownBytes ? longestShownLine : longestShownLineOfMany;
    }

protected:
    explicit LogReader(const QUrl& fileUrl);

    bool isCanceled() const { return canceled_.load(std::memory_order_acquire); }
    FileTextDecoder& decoder() { return decoder_; }
    /// What ends the lines that the scan under way finds.
    LineEnd lineEnd() const { return index_.lineEnd(); }

    /// Lines by number after clamping to those there are; both numbers one-based, `first` <= `last`.
    struct LineNumbers {
        qint64 first = 0;
        qint64 last = 0;
    };
    /// Nothing when no line is asked for, or there is none.
    static std::optional<LineNumbers> clamp(qint64 start, qint64 count, qint64 total);

    // What a scan does with what it finds. Called with the scan lock held.

    /// Lines known so far, the last and perhaps incomplete one included.
    virtual qint64 heldLines() const { return index_.entryCount(); }
    virtual void forgetLines();
    /// Takes bytes of the file and the positions of the newlines among them, and publishes what is complete.
    virtual void takeBytes(std::uint64_t offset, std::span<const char> bytes,
                           std::span<const std::uint32_t> newlines);
    /// Publishes everything, after a scan.
    virtual void publishAll();
    /// How far a scan reads that has found the file to be of this size.
    virtual std::uint64_t scanLimit(std::uint64_t /*size*/) const { return ~std::uint64_t{0}; }

private:
    /// Consecutive lines as bytes of the file: without the newline of the last one.
    struct Bytes {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        /// The published lines reach further.
        bool newlineFollows = false;
        LineEnd lineEnd{};
        /// Where each of the lines starts, if asked for.
        std::vector<std::uint64_t> lineStarts;
    };
    enum class Detail { Range, LineStarts };
    std::optional<Bytes> locate(qint64 start, qint64 count, Detail detail) const;
    /// Lines, and the file in which they lie there.
    struct LocatedLines {
        std::optional<Bytes> bytes;
        std::shared_ptr<FileHandle> handle;
    };
    LocatedLines locateInFile(qint64 start, qint64 count, Detail detail) const;

    std::shared_ptr<FileHandle> openHandle() const;
    bool isStopped() const { return isCanceled() || closed_.load(std::memory_order_acquire); }
    bool isScanStopped() const { return isStopped() || scanCanceled_.load(std::memory_order_acquire); }

    /// Looks at the start of the file for what ends its lines, as long as none is known to have ended.
    void learnLineEnd(const FileHandle& handle);
    /// Of the newlines in a block, those whose lines the index does not have yet. What an earlier scan found
    /// beyond its limit is known; where the block says otherwise, the index forgets the lines from there on.
    std::span<const std::uint32_t> unknownNewlines(std::uint64_t offset, std::size_t size,
                                                   std::span<const std::uint32_t> newlines);
    /// Forgets lines that a file which was cut short does not hold any more.
    void forgetLinesBeyond(std::uint64_t offset);

    /// The body of `refresh`, with the scan lock held.
    LineRange bringUpToDate(LogReaderDelegate* delegate);
    enum class ScanEnd { Complete, Stopped };
    ScanEnd scan(LogReaderDelegate* delegate);
    bool holdsOtherContent(const FileHandle& handle) const;
    /// Replaces the file, and forgets what is known of the old one. With the scan lock held; false once
    /// closed.
    bool takeFile(std::shared_ptr<FileHandle> handle);
    /// Reports a block step by step; returns how many of its bytes and newlines were reported before a stop.
    std::pair<std::size_t, std::size_t> reportSteps(LogReaderDelegate& delegate, std::uint64_t offset,
                                                    std::size_t size,
                                                    std::span<const std::uint32_t> newlines) const;

    std::optional<QByteArray> readBytes(const FileHandle& handle, std::uint64_t begin,
                                        std::uint64_t end) const;
    /// Some of the bytes to be shown: consecutive whole lines, or the beginning of one.
    struct ShownPart {
        std::uint64_t begin = 0;
        std::uint64_t end = 0;
        std::uint64_t cutBytes = 0;
        qsizetype lineCount = 1;
        /// Ends where the writer has got to, which may lie inside a character.
        bool isUnfinished = false;
        LineEnd lineEnd{};
        bool isCut() const { return cutBytes > 0 || isUnfinished; }
    };
    static std::vector<ShownPart> partsToShow(const Bytes& lines, RowLength length);
    /// Lines as bytes: the parts to show, and what was read of them.
    struct ReadParts {
        std::vector<ShownPart> shown;
        std::vector<QByteArray> bytes;
    };
    /// Nothing when there are no lines, or they cannot be read.
    std::optional<ReadParts> readParts(qint64 start, qint64 count, RowLength length) const;
    DisplayLines decodeRows(const ReadParts& read);
    /// False when the part does not decode as a whole.
    bool addLinesAtOnce(DisplayLines& to, const ShownPart& shown, const FileTextDecoder::Part& part);
    void addLinesOneByOne(DisplayLines& to, const ShownPart& shown, const FileTextDecoder::Part& part);

    /// Where and why reading has failed.
    struct ReadFault {
        std::uint64_t offset = 0;
        int error = 0;
        friend bool operator==(const ReadFault&, const ReadFault&) = default;
    };
    /// Says so in the log, unless the last fault of that kind was the same.
    void warnOfReadError(const ReadFault& fault, ReadFault& last) const;
    void forgetFault(ReadFault& last) const;
    void learnEncoding();

    /// Bytes, not the address: the last to let go of the reader may be any thread, and must share nothing
    /// with those who opened the file.
    const QByteArray path_;
    LineIndex index_; // written under scanMutex_
    FileTextDecoder decoder_;
    std::atomic<bool> canceled_{false};
    std::atomic<bool> scanCanceled_{false}; // counts for the scan under way
    std::atomic<bool> closed_{false};
    std::atomic<int> scanError_{0}; // written under scanMutex_
    std::atomic<bool> isUnread_{true};

    mutable std::shared_mutex stateMutex_;
    // Guarded by stateMutex_. Another file and an empty index come together.
    std::shared_ptr<FileHandle> handle_;
    std::optional<FileHandle::Identity> identity_;
    std::shared_ptr<LogReaderDelegate> delegate_;

    mutable std::mutex faultMutex_;
    // Guarded by faultMutex_. What the log has been told; without an error when reading went well since.
    mutable ReadFault scanFault_;
    mutable ReadFault readFault_;

    std::mutex scanMutex_;
    // Guarded by scanMutex_.
    /// Up to where the file has been indexed; the next scan starts there.
    std::uint64_t currentFileLimit_ = 0;
    /// Up to where scans have read the file, perhaps beyond the limit. The published lines end here.
    std::uint64_t coveredEnd_ = 0;
    /// Of what has been indexed.
    ContentSample sample_;
    /// The file as it was when it was last found to hold what has been indexed.
    std::optional<FileHandle::Stamp> comparedStamp_;
};

} // namespace korvane
