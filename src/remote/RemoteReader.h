#pragma once

#include "core/reader/LogFileReaderProtocol.h"

#include <QByteArray>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace korvane {

class RemoteFile;

/// The lines of a file on a server, by number. Knows where lines begin that have been met before, and where
/// the counted lines end, so that growth costs what has grown. What it knows of places it verifies with each
/// use: bytes that have changed before a place mean another content.
///
/// Any thread; calls that ask the server wait for it. Those that count or grow come one after the other.
class RemoteReader {
public:
    using IsCancelled = std::function<bool()>;
    using SoFar = std::function<void(const std::vector<DisplayLine>& lines)>;

    explicit RemoteReader(std::shared_ptr<RemoteFile> file);

    /// Called when lines were to be read and the file turned out to hold another content; before any other
    /// call.
    void setOnOtherContent(std::function<void()> report) { onOtherContent_ = std::move(report); }

    enum class LineLimit {
        Shown, ///< a line is cut behind 1 MiB
        Long,  ///< a line is cut behind 16 MiB, of which a piece has one at most
    };
    struct Piece {
        std::vector<DisplayLine> lines;
        /// There are more of them, which are too many bytes for one piece.
        bool isPartial = false;
    };
    /// Lines from `first` on, at most `count`, as far as they end with a newline. Nothing when they cannot be
    /// read, or once cancelled.
    /// While they come slowly, `soFar` gets those that are there, on the thread of the connection.
    std::optional<Piece> lines(qint64 first, qint64 count, LineLimit limit, const IsCancelled& isCancelled,
                               const SoFar& soFar = nullptr);

    /// Whether so many lines would take more than a second, by the last that have come. Does not wait.
    bool isSlow(qint64 lineCount) const;
    /// What was known belongs to another content.
    void forget();
    /// How many lines there are, by the whole file. Nothing without an answer, or once cancelled.
    std::optional<qint64> count(const IsCancelled& isCancelled);
    /// What the file's size was when the last count began; nothing where the server did not tell.
    std::optional<quint64> sizeBeforeCount() const;
    /// After a count: finds out up to which byte it holds, and with it what growth begins from. The count for
    /// that byte; nothing when it stays unknown.
    std::optional<qint64> findEnd(const IsCancelled& isCancelled);
    bool knowsEnd() const;
    /// The bytes that are known; 0 while the end is not known. Does not wait.
    quint64 knownSize() const;

    struct Growth {
        /// Otherwise it is another file.
        bool isSameFile = false;
        qint64 lineCount = 0;
    };
    /// Where the end is known: what has come behind it. `size`: of the file, where it is known; it may have
    /// grown since. Nothing when it cannot be asked for, or once cancelled.
    std::optional<Growth> growth(std::optional<quint64> size, const IsCancelled& isCancelled);

private:
    /// Where a line begins.
    struct Place {
        quint64 offset = 0;
        QByteArray before; // the last bytes before it
    };
    /// Where the counted lines end.
    struct End {
        QByteArray identity; // empty where the server does not tell
        qint64 lineCount = 0;
        quint64 size = 0; // all bytes up to here are known
        QByteArray last;  // bytes up to there, to be found again
        /// What stands behind the last newline, as far as a line is kept, and how long it is. Nothing when
        /// its start is not known.
        std::optional<QByteArray> unfinished;
        quint64 unfinishedSize = 0;
    };

    /// So many lines have come since then.
    void notePace(std::chrono::steady_clock::time_point begun, std::size_t lineCount);
    std::optional<std::vector<DisplayLine>> keptLines(qint64 first, qint64 count) const;
    /// The file is another one than was thought when that was the content; once for each.
    void reportOtherContent(std::uint64_t content);
    /// Bytes of the file, and which file it is.
    struct Mark {
        quint64 fileSize = 0;
        QByteArray identity;
        QByteArray bytes;
    };
    std::optional<Mark> readMark(const QString& command, const IsCancelled& isCancelled) const;
    enum class Size { Unchanged, Any };
    /// Sets the end to `size` bytes with so many lines, where its bytes can be read and the file is as large
    /// as is expected.
    bool setEnd(qint64 lineCount, quint64 size, Size expected, const IsCancelled& isCancelled);
    std::optional<Growth> countGrowth(const End& end, quint64 size, const IsCancelled& isCancelled);
    std::optional<Growth> readGrowth(End end, std::uint64_t content, const IsCancelled& isCancelled);
    /// `bytes` stand at the offset. Of the first of them, `known`, lines have been counted.
    void notePlaces(qint64 lineCount, quint64 offset, const QByteArray& bytes, qsizetype known);
    /// Adds lines to those that are kept.
    void keep(qint64 first, std::vector<DisplayLine> lines);

    const std::shared_ptr<RemoteFile> file_;
    std::function<void()> onOtherContent_;

    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::uint64_t content_ = 0; // goes on with each content
    double secondsPerLine_ = 0;
    std::map<qint64, Place> places_;
    int refuted_ = 0; // places of files of the identity, since one that was right
    QByteArray refutedIdentity_;
    std::optional<End> end_;
    /// The last lines, up to those counted. They share their texts with the rows.
    qint64 firstKept_ = 0;
    std::vector<DisplayLine> kept_;
    std::optional<Mark> beforeCount_; // without bytes
    qint64 counted_ = 0;
};

} // namespace korvane
