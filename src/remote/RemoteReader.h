#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/Mutex.h"
#include "remote/ssh/CommandUse.h"

#include <QByteArray>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

namespace korvane {

class LineSplitter;
class RemoteFile;

/// The lines of a file on a server, by number. Remembers where known lines begin and where the counted lines
/// end, so that the cost of growth depends on the growth only. Every remembered place is verified when it is
/// used: different bytes before it mean another file generation.
///
/// Any thread; calls that request something wait for the server. Calls of `count`, `findEnd` and `growth`
/// must not overlap.
class RemoteReader {
public:
    using IsCancelled = std::function<bool()>;
    using SoFar = std::function<void(const std::vector<DisplayLine>& lines)>;

    explicit RemoteReader(std::shared_ptr<RemoteFile> file);

    /// `report` is called when reading lines shows another file generation. Set before any other call.
    void setOnOtherContent(std::function<void()> report) { onOtherContent_ = std::move(report); }

    enum class LineLimit {
        Shown, ///< a line is cut after 1 MiB
        Long,  ///< a line is cut after 16 MiB; a piece has at most one such line
    };
    struct Piece {
        std::vector<DisplayLine> lines;
        /// More lines follow, too large for one piece.
        bool isPartial = false;
    };
    /// At most `count` lines from `first` on, those complete with a newline. Nullopt if they cannot be read,
    /// or once cancelled. If they arrive slowly, `soFar` receives the lines read so far, on the thread of the
    /// connection.
    std::optional<Piece> lines(qint64 first, qint64 count, LineLimit limit, const IsCancelled& isCancelled,
                               const SoFar& soFar = nullptr);

    /// Whether reading this many lines would take more than a second, at the speed of the last ones. Does not
    /// wait.
    bool isSlow(qint64 lineCount) const;
    /// Drops everything known: the file has another generation.
    void forget();
    /// Counts the lines of the whole file. Nullopt without an answer, or once cancelled.
    std::optional<qint64> count(const IsCancelled& isCancelled);
    /// The file's size when the last count began; nullopt if the server did not tell.
    std::optional<quint64> sizeBeforeCount() const;
    /// After a count: finds the byte up to which it is valid, from which growth is measured. Returns the
    /// count for that byte; nullopt if it cannot be found.
    std::optional<qint64> findEnd(const IsCancelled& isCancelled);
    bool knowsEnd() const;
    /// In bytes: the part of the file that is known; 0 while the end is unknown. Does not wait.
    quint64 knownSize() const;

    struct Growth {
        /// False if it is another file.
        bool isSameFile = false;
        qint64 lineCount = 0;
    };
    /// With a known end: the lines appended after it. `size`: of the file, if known; the file may have grown
    /// since. Nullopt if it cannot be requested, or once cancelled.
    std::optional<Growth> growth(std::optional<quint64> size, const IsCancelled& isCancelled);

private:
    /// Where a line begins.
    struct Place {
        quint64 offset = 0;
        QByteArray before; // the last bytes before it
    };
    /// Where the counted lines end.
    struct End {
        QByteArray identity; // empty if the server does not tell
        qint64 lineCount = 0;
        quint64 size = 0; // all bytes up to here are known
        QByteArray last;  // last bytes up to `size`, to recognise the file
        /// The bytes after the last newline, limited like those of a line, and their number. Nullopt if the
        /// start of the line is unknown.
        std::optional<QByteArray> unfinished;
        quint64 unfinishedSize = 0;
    };

    /// `lineCount` lines have been read since `begun`.
    void notePace(std::chrono::steady_clock::time_point begun, std::size_t lineCount);
    /// Kept lines from `first` on; empty if none of them is kept, or if the limit allows more of a line.
    std::optional<std::vector<DisplayLine>> keptLines(qint64 first, qint64 count, LineLimit limit) const
        REQUIRES(mutex_);
    class MarkCheck;
    struct Command {
        QString text;
        CommandUse use;
    };
    /// Passes what the command prints, after the mark, to the splitter. False if it cannot be read.
    bool readInto(LineSplitter& splitter, MarkCheck& check, const Command& command,
                  const IsCancelled& isCancelled, const SoFar& soFar);
    /// The file turned out different from the generation `content`; reported once for each.
    void reportOtherContent(std::uint64_t content);
    /// Bytes of the file, and its identity.
    struct Mark {
        quint64 fileSize = 0;
        QByteArray identity;
        QByteArray bytes;
    };
    std::optional<Mark> readMark(const QString& command, const IsCancelled& isCancelled) const;
    enum class Size { Unchanged, Any };
    /// Sets the end to `size` bytes and `lineCount` lines, if its bytes can be read and the file has the
    /// expected size.
    bool setEnd(qint64 lineCount, quint64 size, Size expected, const IsCancelled& isCancelled);
    std::optional<Growth> countGrowth(const End& end, quint64 size, const IsCancelled& isCancelled);
    std::optional<Growth> readGrowth(End end, std::uint64_t content, const IsCancelled& isCancelled);
    /// Remembers places in `bytes`, which begin at `offset`. The lines of the first `known` bytes have been
    /// counted.
    void notePlaces(qint64 lineCount, quint64 offset, const QByteArray& bytes, qsizetype known)
        REQUIRES(mutex_);
    /// Keeps the lines of the piece, `count` of them requested, if they are the last of the file or join
    /// those.
    void keepIfLast(qint64 first, qint64 count, const Piece& piece) REQUIRES(mutex_);
    /// Adds lines to the kept ones.
    void keep(qint64 first, std::vector<DisplayLine> lines) REQUIRES(mutex_);

    const std::shared_ptr<RemoteFile> file_;
    std::function<void()> onOtherContent_;

    mutable Mutex mutex_;
    std::uint64_t content_ GUARDED_BY(mutex_) = 0; // incremented with each file generation
    double secondsPerLine_ GUARDED_BY(mutex_) = 0;
    std::map<qint64, Place> places_ GUARDED_BY(mutex_);
    int refuted_ GUARDED_BY(mutex_) = 0; // consecutive wrong places in files of refutedIdentity_
    QByteArray refutedIdentity_ GUARDED_BY(mutex_);
    std::optional<End> end_ GUARDED_BY(mutex_);
    /// The last lines, up to the counted end. They share their texts with the rows.
    qint64 firstKept_ GUARDED_BY(mutex_) = 0;
    std::vector<DisplayLine> kept_ GUARDED_BY(mutex_);
    std::optional<Mark> beforeCount_ GUARDED_BY(mutex_); // without bytes
    qint64 counted_ GUARDED_BY(mutex_) = 0;
};

} // namespace korvane
