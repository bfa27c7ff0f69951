#include "remote/RemoteReader.h"

#include "core/reader/Pages.h"
#include "remote/LineSplitter.h"
#include "remote/RemoteCommands.h"
#include "remote/RemoteFile.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

namespace korvane {
namespace {

/// In bytes: how much before the end is compared to recognise the file.
constexpr quint64 endMarkSize = 1024;
/// In bytes: growth up to this size is read as text; larger growth is only counted.
constexpr quint64 mostGrowthRead = 1 << 20;
/// In bytes: maximum read in one poll; the rest is left to the next poll.
constexpr qsizetype growthBudget = 4 << 20;
/// Maximum number of last lines kept, and of their characters.
constexpr std::size_t mostKept = 2 * static_cast<std::size_t>(pages::size);
constexpr qsizetype mostKeptText = 8 << 20;
constexpr std::uint64_t longestLongLine = 16 << 20;
/// Maximum number of consecutive wrong places: a server may count bytes differently.
constexpr int mostRefuted = 3;

/// Interval at which lines are shown while the rest is being read.
constexpr std::chrono::seconds soFarInterval(1);

/// Minimum number of lines for measuring the speed.
constexpr std::size_t linesForPace = 200;

std::optional<quint64> numberIn(const QByteArray& answer) {
    bool isNumber = false;
    const quint64 number = answer.trimmed().toULongLong(&isNumber);
    return isNumber ? std::optional(number) : std::nullopt;
}

/// The line that the splitter has cut off, of which it keeps up to `limit` bytes; `length`: in bytes, with
/// the newline, if the server told it.
DisplayLine cutLine(const LineSplitter& splitter, std::uint64_t limit, std::optional<quint64> length) {
    LineSplitter last({1, limit, std::numeric_limits<std::uint64_t>::max()});
    last.take(splitter.unfinished());
    last.take(QByteArrayView("\n"));
    DisplayLine line = std::move(last.lines().front());
    const std::uint64_t whole = length.value_or(splitter.unfinishedSize() + 1) - 1;
    line.cutBytes +=
        std::max(whole, splitter.unfinishedSize()) - static_cast<quint64>(splitter.unfinished().size());
    return line;
}

} // namespace

/// Compares the first arriving bytes with the expected ones, and passes on the rest.
class RemoteReader::MarkCheck {
public:
    explicit MarkCheck(QByteArray mark) : left_(std::move(mark)) {}

    /// The bytes after the mark; nullopt once a byte differs.
    std::optional<QByteArrayView> take(QByteArrayView bytes) {
        const qsizetype count = std::min(left_.size(), bytes.size());
        hasFailed_ |= !bytes.startsWith(QByteArrayView(left_).first(count));
        if (hasFailed_)
            return std::nullopt;
        left_.remove(0, count);
        return bytes.sliced(count);
    }
    bool isPassed() const { return !hasFailed_ && left_.isEmpty(); }

private:
    QByteArray left_;
    bool hasFailed_ = false;
};

RemoteReader::RemoteReader(std::shared_ptr<RemoteFile> file) : file_(std::move(file)) {}

// ---- Lines

std::optional<std::vector<DisplayLine>> RemoteReader::keptLines(qint64 first, qint64 count,
                                                                LineLimit limit) const {
    const auto last = std::min(first + count, firstKept_ + std::ssize(kept_));
    if (!end_ || first < firstKept_ || first >= last)
        return std::nullopt;
    const auto at = [this](qint64 line) REQUIRES(mutex_) { return kept_.begin() + (line - firstKept_); };
    const bool isCut =
        std::any_of(at(first), at(last), [](const DisplayLine& line) { return line.cutBytes > 0; });
    if (isCut && limit == LineLimit::Long)
        return std::nullopt;
    return std::vector<DisplayLine>(at(first), at(last));
}

std::optional<RemoteReader::Piece> RemoteReader::lines(qint64 first, qint64 count, LineLimit limit,
                                                       const IsCancelled& isCancelled, const SoFar& soFar) {
    std::optional<Place> place;
    std::uint64_t content = 0;
    {
        const MutexLock guard(mutex_);
        if (auto kept = keptLines(first, count, limit))
            return Piece{*std::move(kept), false};
        if (const auto known = places_.find(first); known != places_.end() && refuted_ < mostRefuted)
            place = known->second;
        content = content_;
    }
    LineSplitter::Limits limits;
    limits.lines = count;
    if (limit == LineLimit::Long)
        limits.line = longestLongLine;
    LineSplitter splitter(limits);
    const QByteArray mark = place ? place->before : QByteArray();
    MarkCheck check(mark);
    const CommandUse use = limit == LineLimit::Shown ? CommandUse::Rows : CommandUse::Reading;
    const QString command =
        place ? remotecommands::linesFrom(file_->path(), place->offset - static_cast<quint64>(mark.size()),
                                          count + mark.count('\n'))
              : remotecommands::lines(file_->path(), first, count);
    if (!readInto(splitter, check, {command, use}, isCancelled, soFar))
        return std::nullopt;
    if (!check.isPassed()) {
        reportOtherContent(content);
        return std::nullopt;
    }
    Piece piece{std::move(splitter.lines()), splitter.isFull()};
    // A line longer than a piece ends the piece; the server then gives its length.
    const bool isCutOff = splitter.isFull() && splitter.unfinishedSize() > 0;
    if (isCutOff) {
        const auto length = file_->answer(
            remotecommands::lengthOfLine(file_->path(), first + std::ssize(piece.lines)), use, isCancelled);
        if (!length)
            return std::nullopt;
        piece.lines.push_back(cutLine(splitter, limits.line, numberIn(*length)));
        piece.isPartial = std::ssize(piece.lines) < count;
    }
    const MutexLock guard(mutex_);
    if (place)
        refuted_ = 0;
    if (content != content_)
        return piece;
    // From a known place, or from the start of the file, the next place is known without a search.
    if ((place || first == 0) && !isCutOff && !piece.lines.empty())
        places_[first + std::ssize(piece.lines)] = {(place ? place->offset : 0) + splitter.size(),
                                                    splitter.end()};
    if (limit == LineLimit::Shown)
        keepIfLast(first, count, piece);
    return piece;
}

bool RemoteReader::readInto(LineSplitter& splitter, MarkCheck& check, const Command& command,
                            const IsCancelled& isCancelled, const SoFar& soFar) {
    auto soFarDue = std::chrono::steady_clock::now() + soFarInterval;
    std::optional<std::chrono::steady_clock::time_point> begun; // excludes the time in which the server seeks
    const bool isRead = file_->read(
        command.text, command.use,
        [&](QByteArrayView bytes) {
            if (!begun)
                begun = std::chrono::steady_clock::now();
            const auto rest = check.take(bytes);
            const bool goesOn = rest && splitter.take(*rest);
            if (goesOn && soFar && std::chrono::steady_clock::now() >= soFarDue) {
                notePace(*begun, splitter.lines().size());
                soFar(splitter.lines());
                soFarDue = std::chrono::steady_clock::now() + soFarInterval;
            }
            return goesOn;
        },
        isCancelled);
    if (isRead && begun)
        notePace(*begun, splitter.lines().size());
    return isRead;
}

void RemoteReader::keepIfLast(qint64 first, qint64 count, const Piece& piece) {
    const std::vector<DisplayLine>& lines = piece.lines;
    if (!end_ && std::ssize(lines) < count && !piece.isPartial) {
        // Kept for when the end is found.
        kept_ = lines;
        firstKept_ = first;
    }
    if (end_ && first <= firstKept_ && first + std::ssize(lines) >= firstKept_ &&
        end_->lineCount - first <= static_cast<qint64>(mostKept)) {
        // Lines appended since then belong to the next growth.
        const auto known = std::min<qint64>(std::ssize(lines), end_->lineCount - first);
        keep(first, std::vector<DisplayLine>(lines.begin(), lines.begin() + known));
    }
}

void RemoteReader::keep(qint64 first, std::vector<DisplayLine> lines) {
    if (first < firstKept_) {
        lines.resize(static_cast<std::size_t>(firstKept_ - first));
        lines.insert(lines.end(), std::make_move_iterator(kept_.begin()),
                     std::make_move_iterator(kept_.end()));
        kept_ = std::move(lines);
        firstKept_ = first;
    } else if (kept_.empty()) {
        kept_ = std::move(lines);
        firstKept_ = first;
    } else {
        const qint64 known = firstKept_ + std::ssize(kept_) - first;
        if (known < std::ssize(lines))
            kept_.insert(kept_.end(), std::make_move_iterator(lines.begin() + std::max<qint64>(known, 0)),
                         std::make_move_iterator(lines.end()));
    }
    // Trimmed to whole pages, because pages are requested.
    qsizetype text = 0;
    for (const DisplayLine& line : kept_)
        text += line.text.size();
    if (kept_.size() <= mostKept && text <= mostKeptText)
        return;
    const qint64 end = firstKept_ + std::ssize(kept_);
    const qint64 from =
        text <= mostKeptText ? std::max(firstKept_, pages::firstLine(pages::pageOfLine(end - 1))) : end;
    kept_.erase(kept_.begin(), kept_.begin() + (from - firstKept_));
    firstKept_ = from;
}

void RemoteReader::notePace(std::chrono::steady_clock::time_point begun, std::size_t lineCount) {
    if (lineCount < linesForPace)
        return;
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begun;
    const MutexLock guard(mutex_);
    secondsPerLine_ = time.count() / static_cast<double>(lineCount);
}

bool RemoteReader::isSlow(qint64 lineCount) const {
    const MutexLock guard(mutex_);
    return secondsPerLine_ * static_cast<double>(lineCount) > 1;
}

// ---- Counting

void RemoteReader::forget() {
    const MutexLock guard(mutex_);
    ++content_;
    places_.clear();
    end_.reset();
    kept_.clear();
    firstKept_ = 0;
}

void RemoteReader::reportOtherContent(std::uint64_t content) {
    {
        const MutexLock guard(mutex_);
        if (content != content_)
            return; // another thread has reported it
        ++refuted_;
        refutedIdentity_ = end_ ? end_->identity : QByteArray();
    }
    forget();
    if (onOtherContent_)
        onOtherContent_();
}

std::optional<qint64> RemoteReader::count(const IsCancelled& isCancelled) {
    auto before = readMark(remotecommands::sizeAndIdentity(file_->path()), isCancelled);
    if (isCancelled && isCancelled())
        return std::nullopt;
    const std::optional<qint64> counted = file_->lineCount(isCancelled);
    const MutexLock guard(mutex_);
    beforeCount_ = std::move(before);
    counted_ = counted.value_or(0);
    return counted;
}

std::optional<qint64> RemoteReader::findEnd(const IsCancelled& isCancelled) {
    std::optional<Mark> before;
    qint64 counted = 0;
    std::uint64_t content = 0;
    {
        const MutexLock guard(mutex_);
        before = beforeCount_;
        counted = counted_;
        content = content_;
    }
    if (!before || before->fileSize == 0 || counted == 0)
        return std::nullopt;
    if (setEnd(counted, before->fileSize, Size::Unchanged, isCancelled))
        return counted;
    // The file has probably grown during the count.
    const auto now = readMark(remotecommands::sizeAndIdentity(file_->path()), isCancelled);
    const auto within = now && now->fileSize > 0
                            ? file_->answer(remotecommands::countWithin(file_->path(), now->fileSize),
                                            CommandUse::Count, isCancelled)
                            : std::nullopt;
    const auto number = within ? numberIn(*within) : std::nullopt;
    if (!number)
        return std::nullopt;
    const auto lines = static_cast<qint64>(*number);
    if (now->fileSize < before->fileSize || now->identity != before->identity) {
        reportOtherContent(content);
        return std::nullopt;
    }
    // The server's commands may behave differently.
    if (lines < counted || !setEnd(lines, now->fileSize, Size::Any, isCancelled))
        return std::nullopt;
    return lines;
}

std::optional<quint64> RemoteReader::sizeBeforeCount() const {
    const MutexLock guard(mutex_);
    return beforeCount_ ? std::optional(beforeCount_->fileSize) : std::nullopt;
}

bool RemoteReader::knowsEnd() const {
    const MutexLock guard(mutex_);
    return end_.has_value();
}

quint64 RemoteReader::knownSize() const {
    const MutexLock guard(mutex_);
    return end_ ? end_->size : 0;
}

std::optional<RemoteReader::Mark> RemoteReader::readMark(const QString& command,
                                                         const IsCancelled& isCancelled) const {
    auto answer = file_->answer(command, CommandUse::Poll, isCancelled);
    const qsizetype sizeEnd = answer ? answer->indexOf('\n') : -1;
    const auto size = sizeEnd > 0 ? numberIn(answer->first(sizeEnd)) : std::nullopt;
    if (!size)
        return std::nullopt;
    answer->remove(0, sizeEnd + 1);
    Mark mark;
    mark.fileSize = *size;
    mark.identity = remotecommands::takeIdentity(*answer, file_->path());
    mark.bytes = std::move(*answer);
    return mark;
}

bool RemoteReader::setEnd(qint64 lineCount, quint64 size, Size expected, const IsCancelled& isCancelled) {
    std::uint64_t content = 0;
    QByteArray identity;
    {
        const MutexLock guard(mutex_);
        content = content_;
        identity = end_ ? end_->identity : beforeCount_ ? beforeCount_->identity : QByteArray();
    }
    const quint64 count = std::min(size, endMarkSize);
    std::optional<Mark> mark =
        readMark(remotecommands::sizeIdentityAndBytes(file_->path(), size - count, count), isCancelled);
    if (!mark || mark->identity != identity || mark->bytes.size() != static_cast<qsizetype>(count) ||
        (expected == Size::Unchanged && mark->fileSize != size))
        return false;
    End end;
    end.identity = std::move(mark->identity);
    end.lineCount = lineCount;
    end.size = size;
    end.last = std::move(mark->bytes);
    if (const qsizetype newline = end.last.lastIndexOf('\n'); newline >= 0) {
        end.unfinished = end.last.sliced(newline + 1);
        end.unfinishedSize = static_cast<quint64>(end.unfinished->size());
    }
    const MutexLock guard(mutex_);
    if (content != content_)
        return false;
    notePlaces(lineCount, size - count, end.last, end.last.size());
    if (end.identity != refutedIdentity_)
        refuted_ = 0;
    end_ = std::move(end);
    if (firstKept_ > lineCount || firstKept_ + std::ssize(kept_) < lineCount) {
        kept_.clear();
        firstKept_ = lineCount;
    }
    kept_.resize(static_cast<std::size_t>(lineCount - firstKept_));
    return true;
}

void RemoteReader::notePlaces(qint64 lineCount, quint64 offset, const QByteArray& bytes, qsizetype known) {
    const auto note = [&](qint64 line, qsizetype position) REQUIRES(mutex_) {
        const qsizetype start = std::max<qsizetype>(position - LineSplitter::markSize, 0);
        places_[line] = {offset + static_cast<quint64>(position), bytes.sliced(start, position - start)};
    };
    qsizetype last = bytes.first(known).lastIndexOf('\n');
    for (qsizetype newline = bytes.indexOf('\n', known); newline >= 0;
         newline = bytes.indexOf('\n', newline + 1)) {
        last = newline;
        if (++lineCount % pages::size == 0)
            note(lineCount, newline + 1);
    }
    if (last >= 0)
        note(lineCount, last + 1);
}

std::optional<RemoteReader::Growth> RemoteReader::growth(std::optional<quint64> size,
                                                         const IsCancelled& isCancelled) {
    std::optional<End> end;
    std::uint64_t content = 0;
    {
        const MutexLock guard(mutex_);
        end = end_;
        content = content_;
    }
    if (!end)
        return std::nullopt;
    // The size may be older than the known end.
    if (!size || *size < end->size) {
        const auto now = readMark(remotecommands::sizeAndIdentity(file_->path()), isCancelled);
        if (!now)
            return std::nullopt;
        size = now->fileSize;
    }
    std::optional<Growth> found = Growth{};
    if (*size >= end->size)
        found = *size - end->size > mostGrowthRead ? countGrowth(*end, *size, isCancelled)
                                                   : readGrowth(*std::move(end), content, isCancelled);
    const MutexLock guard(mutex_);
    return content == content_ ? found : std::nullopt;
}

std::optional<RemoteReader::Growth> RemoteReader::countGrowth(const End& end, quint64 size,
                                                              const IsCancelled& isCancelled) {
    const auto markSize = static_cast<quint64>(end.last.size());
    const auto mark = readMark(
        remotecommands::sizeIdentityAndBytes(file_->path(), end.size - markSize, markSize), isCancelled);
    if (!mark)
        return std::nullopt;
    if (mark->identity != end.identity || mark->bytes != end.last)
        return Growth{};
    const auto answer = file_->answer(remotecommands::countWithin(file_->path(), end.size, size - end.size),
                                      CommandUse::Count, isCancelled);
    const auto lines = answer ? numberIn(*answer) : std::nullopt;
    if (!lines)
        return std::nullopt;
    const qint64 lineCount = end.lineCount + static_cast<qint64>(*lines);
    return setEnd(lineCount, size, Size::Any, isCancelled) ? std::optional(Growth{true, lineCount})
                                                           : std::nullopt;
}

std::optional<RemoteReader::Growth> RemoteReader::readGrowth(End end, std::uint64_t content,
                                                             const IsCancelled& isCancelled) {
    QByteArray bytes;
    const bool isRead = file_->read(
        remotecommands::identityAndRest(file_->path(), end.size - static_cast<quint64>(end.last.size())),
        CommandUse::Poll,
        [&bytes](QByteArrayView more) {
            bytes.append(more);
            return bytes.size() < growthBudget;
        },
        isCancelled);
    if (!isRead)
        return std::nullopt;
    const QByteArray identity = remotecommands::takeIdentity(bytes, file_->path());
    if (identity != end.identity || !bytes.startsWith(end.last))
        return Growth{};

    const qsizetype known = end.last.size();
    constexpr auto unlimited = std::numeric_limits<qint64>::max();
    LineSplitter splitter({unlimited, LineSplitter::Limits().line, unlimited});
    if (end.unfinished)
        splitter.resume(*end.unfinished, end.unfinishedSize);
    splitter.take(QByteArrayView(bytes).sliced(known));
    std::vector<DisplayLine> lines = std::move(splitter.lines());
    const qint64 first = end.lineCount;
    const quint64 offset = end.size - static_cast<quint64>(known);
    end.lineCount += std::ssize(lines);
    end.size = offset + static_cast<quint64>(bytes.size());
    end.last = bytes.last(std::min(bytes.size(), static_cast<qsizetype>(endMarkSize)));
    const bool isFirstWhole = end.unfinished.has_value();
    if (isFirstWhole || !lines.empty()) {
        end.unfinished = splitter.unfinished();
        end.unfinishedSize = splitter.unfinishedSize();
    }
    const MutexLock guard(mutex_);
    if (content != content_)
        return std::nullopt;
    if (!lines.empty()) {
        // Only starts of pages are requested repeatedly.
        if (first % pages::size != 0)
            places_.erase(first);
        notePlaces(first, offset, bytes, known);
        if (isFirstWhole) {
            keep(first, std::move(lines));
        } else {
            lines.erase(lines.begin());
            kept_ = std::move(lines);
            firstKept_ = first + 1;
        }
    }
    const qint64 lineCount = end.lineCount;
    end_ = std::move(end);
    return Growth{true, lineCount};
}

} // namespace korvane
