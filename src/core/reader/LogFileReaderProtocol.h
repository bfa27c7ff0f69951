#pragma once

#include "core/search/LineFilter.h"
#include "core/search/MatchBudget.h"
#include "core/search/SearchMatch.h"
#include "foundation/FileHandle.h"
#include "foundation/Result.h"
#include "foundation/text/StringEncoding.h"

#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace korvane {

class SearchItem;

/// Lines by zero-based index: the first one, and how many from there.
struct LineRange {
    qint64 location = 0;
    qint64 length = 0;
    friend bool operator==(const LineRange&, const LineRange&) = default;
};

/// Receives the progress of a scan, on the scanning thread.
class LogReaderDelegate {
public:
    virtual ~LogReaderDelegate() = default;
    virtual void readerDidStart(std::uint64_t /*fileSize*/) {}
    virtual void readerDidReadBytes(std::uint64_t /*count*/) {}
    virtual void readerDidIndexLines(qint64 /*count*/) {}
    /// The file holds a new generation: the scan starts again at its first byte.
    virtual void readerDidForgetLines() {}
    virtual void readerDidFinish() {}
    virtual void readerDidCancel() {}
};

/// How the bytes of a file are decoded.
struct EncodingChoice {
    enum class Kind {
        Automatic,   ///< detected once, from the first bytes read
        Fixed,       ///< `encoding`, strictly
        LenientUtf8, ///< UTF-8, invalid bytes shown as U+FFFD
    };
    Kind kind = Kind::Automatic;
    StringEncoding encoding = encoding::unknown;
    friend bool operator==(const EncodingChoice&, const EncodingChoice&) = default;
};

/// How much of a line a row shows.
enum class RowLength {
    Shown, ///< a line too long to show is cut, so that memory stays bounded for any file
    Whole,
};

/// One line of a file as text.
struct DisplayLine {
    QString text;
    /// Bytes of the line that the text does not show; 0 for a whole line.
    std::uint64_t cutBytes = 0;
    /// Some bytes are invalid in the file's encoding; the text has U+FFFD instead.
    bool isInvalid = false;
};

/// Consecutive lines of a file.
struct DisplayLines {
    std::vector<DisplayLine> lines;
    /// Fewer lines than counted: the file has been truncated since.
    bool isShort = false;
};

/// The lines that match each item of a filter.
struct FilteredLines {
    struct Item {
        /// By zero-based index, ascending.
        std::vector<qint64> lines;
        /// Lines that would have cost too many steps: whether they match is unknown.
        std::vector<qint64> givenUp;
    };
    std::vector<Item> items;
    /// How many lines were filtered, from the first requested one on.
    qint64 lineCount = 0;
};

/// Random access by line number to a log file that may grow. Any thread, any number of calls at once. Line
/// counts published during a scan cover only lines that can be read.
class LogFileReaderProtocol {
public:
    virtual ~LogFileReaderProtocol() = default;

    virtual std::shared_ptr<LogReaderDelegate> delegate() const = 0;
    virtual void setDelegate(std::shared_ptr<LogReaderDelegate> delegate) = 0;

    /// Makes scans stop and later calls return empty results, until `reset`.
    virtual void cancel() = 0;
    /// Makes the scan under way stop and report a cancel. Lines found so far stay readable; the next
    /// `refresh` continues. Without a scan under way nothing happens.
    virtual void cancelScan() { cancel(); }
    /// Closes the file for good; reads under way end by themselves.
    virtual void close() = 0;
    /// Size in bytes now; 0 when cancelled or not open.
    virtual std::uint64_t fileSize() = 0;
    /// Brings the index up to date with the file and returns the new or changed lines.
    virtual LineRange refresh() = 0;
    /// As above, reporting to this delegate, which may be null, instead of the reader's own.
    virtual LineRange refreshReportingTo(std::shared_ptr<LogReaderDelegate> listener) {
        setDelegate(std::move(listener));
        const LineRange changed = refresh();
        setDelegate(nullptr);
        return changed;
    }
    /// Whether a `refresh` would find new or changed lines. Waits for a scan under way.
    virtual bool isBehind() { return fileSize() != byteCount(1, lineCount()); }

    /// The system's error that ended the last scan before the end of the file; 0 when it read everything.
    virtual int scanError() const { return 0; }

    /// The open file; absent when the reader has no local file open.
    virtual std::optional<FileHandle::Identity> fileIdentity() const { return std::nullopt; }
    /// Opens the file that is at the path now, and forgets the index. On failure nothing changes.
    virtual Status reopen() { return success(); }
    /// Forgets the index, and a cancel.
    virtual void reset() = 0;
    /// `reopen` and `reset` in one step; a file that cannot be opened leaves the old one open. Calls
    /// `readerDidForgetLines` for a new file generation.
    virtual void startAgain(LogReaderDelegate& /*listener*/) {
        [[maybe_unused]] const Status opened = reopen();
        reset();
    }
    /// Scans the bytes that have not been indexed yet.
    virtual void indexLines() = 0;
    virtual qint64 lineCount() const = 0;
    /// The file is open but has not been scanned: the one empty line that is counted may not exist.
    virtual bool isUnread() const { return false; }
    /// The text of `count` lines from the one-based number `start`, clamped to the lines there are.
    virtual QStringList readLines(qint64 start, qint64 count) = 0;

    /// The same lines as rows, for display, copying, search and rules. A line with invalid bytes changes no
    /// other line. Fewer lines, or none, when they cannot be read. Does not log invalid bytes.
    virtual DisplayLines readRows(qint64 start, qint64 count, RowLength length) = 0;
    /// Bytes that the lines take in the file, their newlines included; 0 when unknown.
    virtual std::uint64_t byteCount(qint64 start, qint64 count) const = 0;
    /// Bytes of a newline.
    virtual std::uint64_t lineEndBytes() const { return 1; }

    /// The first line with a match from the zero-based line `first` to `last`, both included, forwards or
    /// backwards; lines that do not exist are skipped. Polls `isCancelled` often; empty once that is true. In
    /// a line too long to show, only the first match need be reported.
    virtual SearchOutcome findNextMatch(qint64 first, qint64 last, const SearchItem& item,
                                        const std::function<bool()>& isCancelled);

    /// Filters `count` lines from the zero-based line `first`; fewer lines once `isCancelled` returns true,
    /// when they do not exist or cannot be read. `budgets`: the steps that each item may take, counted down.
    virtual FilteredLines filterLines(qint64 first, qint64 count, LineFilter::Pass& pass,
                                      std::span<MatchBudget::Steps> budgets,
                                      const std::function<bool()>& isCancelled);
    virtual EncodingChoice encodingChoice() const = 0;
    /// Applies to later reads.
    virtual void setEncodingChoice(EncodingChoice choice) = 0;
    /// The line terminator of the index differs from that of the chosen encoding: needs `reset` and a scan.
    virtual bool needsNewScan() const { return false; }
    /// The detected or chosen encoding; `encoding::unknown` before the first read.
    virtual StringEncoding fileEncoding() const = 0;
};

} // namespace korvane
