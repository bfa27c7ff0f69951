#include "documents/ArrivedLinesNotifier.h"

#include "core/RuleEnforcerProtocol.h"
#include "documents/DocumentsLog.h"
#include "documents/TailDataSource.h"
#include "foundation/work/MainThread.h"

#include <algorithm>
#include <utility>

namespace korvane {
namespace {

/// Limits of one piece, and so of the notifications that the main thread delivers at a time.
constexpr qint64 linesOfPiece = 2000;
constexpr std::uint64_t bytesOfPiece = 512 << 10;

qint64 endOf(LineRange lines) {
    return lines.location + lines.length;
}

} // namespace

/// Evaluates pending lines piece by piece. The matches of a piece are delivered before the next piece is
/// read, so that the main thread never has more than one piece's matches to deliver.
class ArrivedLinesNotifier::PassOperation : public Operation {
public:
    explicit PassOperation(std::weak_ptr<ArrivedLinesNotifier> notifier) : notifier_(std::move(notifier)) {}

protected:
    void main() override {
        const auto notifier = notifier_.lock();
        const auto dataSource = notifier ? notifier->dataSource_.lock() : nullptr;
        if (!dataSource)
            return;
        while (!isCancelled()) {
            // Before the lines are taken: an evaluation reports nothing for a later file generation.
            const auto enforcer = notifier->enforcer();
            auto pass = enforcer ? enforcer->makeNotificationPass() : nullptr;
            if (!pass && !notifier->dropWaiting())
                continue;
            const auto piece = pass ? notifier->takePiece() : std::nullopt;
            if (!piece)
                return;
            if (!look(*notifier, *piece, *pass)) {
                notifier->giveBack(*piece);
                return;
            }
            const bool isDelivering = pass->hasFoundAny();
            pass.reset();
            notifier->pieceHasPassed(isDelivering ? Next::AfterDelivery : Next::Piece);
            if (isDelivering)
                return;
        }
    }

private:
    /// False when the lines could not be read.
    bool look(const ArrivedLinesNotifier& notifier, const Piece& piece,
              NotificationPassProtocol& pass) const {
        const DisplayLines read =
            notifier.logReader_->readRows(piece.lines.location + 1, piece.lines.length, RowLength::Shown);
        // For lines beyond the last one the reader returns others.
        if (!notifier.isThere(piece) || static_cast<qint64>(read.lines.size()) != piece.lines.length)
            return false;
        qint64 line = piece.lines.location;
        for (const DisplayLine& text : read.lines) {
            if (isCancelled())
                break;
            pass.look(line++, text.text);
        }
        return true;
    }

    const std::weak_ptr<ArrivedLinesNotifier> notifier_;
};

ArrivedLinesNotifier::ArrivedLinesNotifier(std::weak_ptr<TailDataSource> dataSource,
                                           std::shared_ptr<LogFileReaderProtocol> logReader)
    : dataSource_(std::move(dataSource)), logReader_(std::move(logReader)),
      queue_("Rule notification queue", 1, OperationQueue::Priority::Background) {}

std::shared_ptr<RuleEnforcerProtocol> ArrivedLinesNotifier::enforcer() const {
    const auto dataSource = dataSource_.lock();
    return dataSource ? dataSource->ruleEnforcer() : nullptr;
}

bool ArrivedLinesNotifier::anyRuleTells() const {
    const auto rules = enforcer();
    return rules && rules->makeNotificationPass() != nullptr;
}

// ---- Appended lines ----

void ArrivedLinesNotifier::followingBegan() {
    const MutexLock guard(mutex_);
    taken_ = polled_ = openLine();
    seen_ = std::max<qint64>(taken_.line, 0);
}

void ArrivedLinesNotifier::linesArrived() {
    const MutexLock guard(mutex_);
    takeCompleteLines();
    startPassing();
}

void ArrivedLinesNotifier::filePolled() {
    const MutexLock guard(mutex_);
    takeCompleteLines();
    const OpenLine open = openLine();
    if (std::exchange(polled_, open) == open)
        takeOpenLine(open);
    startPassing();
}

ArrivedLinesNotifier::OpenLine ArrivedLinesNotifier::openLine() const {
    const qint64 line = logReader_->lineCount() - 1;
    return {line, line < 0 ? 0 : logReader_->byteCount(line + 1, 1)};
}

void ArrivedLinesNotifier::takeCompleteLines() {
    // During a scan it is unknown whether the last line is complete.
    const qint64 complete = logReader_->lineCount() - 1;
    if (complete <= seen_)
        return;
    qint64 first = std::exchange(seen_, complete);
    const bool onlyEnded = taken_.line == first &&
                           logReader_->byteCount(first + 1, 1) == taken_.bytes + logReader_->lineEndBytes();
    // An empty line exists only with its newline.
    if (onlyEnded && taken_.bytes > 0)
        ++first;
    if (first < complete && anyRuleTells())
        add({first, complete - first});
}

void ArrivedLinesNotifier::takeOpenLine(const OpenLine& open) {
    if (open.bytes == 0 || open.line < seen_ || open == taken_)
        return;
    taken_ = open;
    if (anyRuleTells())
        add({open.line, 1});
}

void ArrivedLinesNotifier::add(LineRange lines) {
    if (!waiting_.empty() && lines.location >= waiting_.back().location &&
        lines.location <= endOf(waiting_.back())) {
        LineRange& last = waiting_.back();
        last.length = std::max(endOf(last), endOf(lines)) - last.location;
    } else {
        waiting_.push_back(lines);
    }
}

void ArrivedLinesNotifier::contentForgotten() {
    const MutexLock guard(mutex_);
    ++content_;
    seen_ = 0;
    polled_ = taken_ = {};
    if (!waiting_.empty())
        qCInfo(logDocuments, "Lines were gone before the rules could look at them, from line %lld on.",
               waiting_.front().location + 1);
    waiting_.clear();
    hasPassed_.notifyAll();
}

void ArrivedLinesNotifier::fileReadAnew() {
    const MutexLock guard(mutex_);
    const qint64 count = logReader_->lineCount();
    if (count > seen_)
        return;
    seen_ = std::max<qint64>(count - 1, 0);
    taken_ = polled_ = openLine();
    // Lines that no longer exist would block all later ones.
    for (LineRange& lines : waiting_)
        lines.length = std::min(lines.length, count - lines.location);
    std::erase_if(waiting_, [](LineRange lines) { return lines.length <= 0; });
    startPassing();
    hasPassed_.notifyAll();
}

bool ArrivedLinesNotifier::letAllPass(std::chrono::milliseconds limit) {
    MutexLock guard(mutex_);
    takeCompleteLines();
    takeOpenLine(openLine());
    startPassing();
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!waiting_.empty() || isPassing_) {
        if (!hasPassed_.waitUntil(guard, end))
            return waiting_.empty() && !isPassing_;
    }
    return true;
}

void ArrivedLinesNotifier::close() {
    {
        const MutexLock guard(mutex_);
        closed_ = true;
        waiting_.clear();
        hasPassed_.notifyAll();
    }
    queue_.cancelAllOperations();
}

// ---- Evaluation ----

void ArrivedLinesNotifier::startPassing() {
    if (waiting_.empty() || closed_ || std::exchange(isUnderWay_, true))
        return;
    queue_.addOperation(std::make_shared<PassOperation>(weak_from_this()));
}

std::optional<ArrivedLinesNotifier::Piece> ArrivedLinesNotifier::takePiece() {
    const MutexLock guard(mutex_);
    // Lines that are not indexed are being read again; the next poll starts the evaluation.
    if (waiting_.empty() || endOf(waiting_.front()) > logReader_->lineCount()) {
        isUnderWay_ = false;
        return std::nullopt;
    }
    LineRange& lines = waiting_.front();
    qint64 count = std::min(lines.length, linesOfPiece);
    while (count > 1 && logReader_->byteCount(lines.location + 1, count) > bytesOfPiece)
        count /= 2;
    const Piece piece{{lines.location, count}, content_};
    lines.location += count;
    lines.length -= count;
    if (lines.length == 0)
        waiting_.pop_front();
    isPassing_ = true;
    return piece;
}

bool ArrivedLinesNotifier::isThere(const Piece& piece) const {
    const MutexLock guard(mutex_);
    return piece.content == content_ && endOf(piece.lines) <= logReader_->lineCount();
}

void ArrivedLinesNotifier::pieceHasPassed(Next next) {
    {
        const MutexLock guard(mutex_);
        isPassing_ = false;
        hasPassed_.notifyAll();
    }
    if (next == Next::AfterDelivery)
        MainThread::shared().post([weak = weak_from_this()] {
            if (const auto self = weak.lock())
                self->passOn();
        });
}

void ArrivedLinesNotifier::giveBack(const Piece& piece) {
    const MutexLock guard(mutex_);
    isPassing_ = false;
    isUnderWay_ = false;
    if (piece.content == content_)
        waiting_.push_front(piece.lines);
    else
        startPassing(); // lines of the new file generation
    hasPassed_.notifyAll();
}

void ArrivedLinesNotifier::passOn() {
    const MutexLock guard(mutex_);
    isUnderWay_ = false;
    startPassing();
}

bool ArrivedLinesNotifier::dropWaiting() {
    const MutexLock guard(mutex_);
    if (anyRuleTells())
        return false;
    waiting_.clear();
    isUnderWay_ = false;
    hasPassed_.notifyAll();
    return true;
}

} // namespace korvane
