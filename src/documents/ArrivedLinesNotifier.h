#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/Mutex.h"
#include "foundation/work/OperationQueue.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>

namespace korvane {

class RuleEnforcerProtocol;
class TailDataSource;

/// Evaluates the notification rules for every line that is appended while a file is followed, once and in
/// order, whether or not the file is shown. Lines are read in the background in small pieces and not kept;
/// only the ranges of pending lines are stored. Without such rules nothing is read; lines appended before a
/// rule is switched on are not evaluated.
///
/// A line is evaluated when its newline has been read. A last line without newline is evaluated when it is
/// unchanged between two polls, or when the file is released; and again only after it has changed.
///
/// Held by shared pointer, by the data source. Any thread.
class ArrivedLinesNotifier : public std::enable_shared_from_this<ArrivedLinesNotifier> {
public:
    ArrivedLinesNotifier(std::weak_ptr<TailDataSource> dataSource,
                         std::shared_ptr<LogFileReaderProtocol> logReader);

    /// Everything indexed so far existed before following began.
    void followingBegan();
    /// The reader may know more lines.
    void linesArrived();
    /// A poll of the file has ended.
    void filePolled();
    /// Starts a new file generation: all lines indexed from now on count as appended. Lines still pending are
    /// dropped.
    void contentForgotten();
    /// The reader has read the file again, which may have fewer lines than before.
    void fileReadAnew();
    /// The file is about to be released. Waits at most `limit`; returns whether all of its lines have been
    /// evaluated.
    bool letAllPass(std::chrono::milliseconds limit);
    /// Stops evaluating. Does not wait.
    void close();

private:
    class PassOperation;

    /// A last line without newline: its number and length.
    struct OpenLine {
        qint64 line = -1;
        std::uint64_t bytes = 0;
        friend bool operator==(const OpenLine&, const OpenLine&) = default;
    };
    /// Lines that are evaluated together.
    struct Piece {
        LineRange lines;
        std::uint64_t content = 0;
    };

    std::shared_ptr<RuleEnforcerProtocol> enforcer() const;
    bool anyRuleTells() const;

    OpenLine openLine() const;
    void takeCompleteLines() REQUIRES(mutex_);
    void takeOpenLine(const OpenLine& open) REQUIRES(mutex_);
    void add(LineRange lines) REQUIRES(mutex_);
    void startPassing() REQUIRES(mutex_);

    // For the operation.
    std::optional<Piece> takePiece();
    bool isThere(const Piece& piece) const;
    /// Makes lines that could not be read pending again.
    void giveBack(const Piece& piece);
    enum class Next { Piece, AfterDelivery };
    void pieceHasPassed(Next next);
    /// Drops pending lines because there are no rules; false when there is one again.
    bool dropWaiting();
    void passOn();

    const std::weak_ptr<TailDataSource> dataSource_;
    const std::shared_ptr<LogFileReaderProtocol> logReader_;

    mutable Mutex mutex_;
    Condition hasPassed_;
    std::uint64_t content_ GUARDED_BY(mutex_) = 0;     // number of the file generation
    qint64 seen_ GUARDED_BY(mutex_) = 0;               // lines before this one are old, or have been taken
    OpenLine polled_ GUARDED_BY(mutex_);               // as it was at the last poll
    OpenLine taken_ GUARDED_BY(mutex_);                // as it was when it was taken
    std::deque<LineRange> waiting_ GUARDED_BY(mutex_); // pending lines, ascending and disjoint
    bool isPassing_ GUARDED_BY(mutex_) = false;        // a piece is being evaluated
    bool isUnderWay_ GUARDED_BY(mutex_) = false;       // an operation is queued, or will be
    bool closed_ GUARDED_BY(mutex_) = false;

    OperationQueue queue_;
};

} // namespace korvane
