#pragma once

#include "core/reader/LogFileReaderProtocol.h"
#include "foundation/work/OperationQueue.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

namespace korvane {

class RuleEnforcerProtocol;
class TailDataSource;

/// Lets every line that arrives while a file is followed pass the rules that tell the user of lines, once and
/// in order, whether or not anyone looks at it. Lines are read in the background, a small piece at a time and
/// kept by nobody; only which ones are still to pass is remembered. Without such rules nothing is read, and
/// what has arrived by the time that one is switched on does not pass.
///
/// A line passes when its newline is there. A last line without one passes as it is when it has stood
/// unchanged from one look at the file to the next, or when the file is let go of; and again only with
/// another text.
///
/// Held by shared pointer, by the data source. Any thread.
class ArrivedLinesNotifier : public std::enable_shared_from_this<ArrivedLinesNotifier> {
public:
    ArrivedLinesNotifier(std::weak_ptr<TailDataSource> dataSource,
                         std::shared_ptr<LogFileReaderProtocol> logReader);

    /// What the reader knows by now was there before.
    void followingBegan();
    /// The reader may know more lines.
    void linesArrived();
    /// A look at the file is over.
    void filePolled();
    /// No line that was known is there any more; all that come next have arrived. What has not passed by now
    /// never will.
    void contentForgotten();
    /// The reader has read the file anew, which may have fewer lines than before.
    void fileReadAnew();
    /// The file is about to be let go of. Returns whether all of its lines have passed, after waiting for
    /// that no longer than `limit`.
    bool letAllPass(std::chrono::milliseconds limit);
    /// Nothing passes any more. Does not wait.
    void close();

private:
    class PassOperation;

    /// The last line as it was seen when it had no newline.
    struct OpenLine {
        qint64 line = -1;
        std::uint64_t bytes = 0;
        friend bool operator==(const OpenLine&, const OpenLine&) = default;
    };
    /// Lines that pass together.
    struct Piece {
        LineRange lines;
        std::uint64_t content = 0;
    };

    std::shared_ptr<RuleEnforcerProtocol> enforcer() const;
    bool anyRuleTells() const;

    // With mutex_ held.
    OpenLine openLine() const;
    void takeCompleteLines();
    void takeOpenLine(const OpenLine& open);
    void add(LineRange lines);
    void startPassing();

    // For the operation.
    std::optional<Piece> takePiece();
    bool isThere(const Piece& piece) const;
    /// For lines that could not be read now.
    void giveBack(const Piece& piece);
    enum class Next { Piece, AfterDelivery };
    void pieceHasPassed(Next next);
    /// For want of rules; false when there is one again.
    bool dropWaiting();
    void passOn();

    const std::weak_ptr<TailDataSource> dataSource_;
    const std::shared_ptr<LogFileReaderProtocol> logReader_;

    mutable std::mutex mutex_;
    std::condition_variable hasPassed_;
    // Guarded by mutex_.
    std::uint64_t content_ = 0;     // counts the contents of the file
    qint64 seen_ = 0;               // lines before this one were there, or have been taken
    OpenLine polled_;               // as it was at the last look
    OpenLine taken_;                // as it was when it was taken
    std::deque<LineRange> waiting_; // to pass, ascending and apart
    bool isPassing_ = false;        // a piece is under way
    bool isUnderWay_ = false;       // an operation is queued, or will be
    bool closed_ = false;

    OperationQueue queue_;
};

} // namespace korvane
