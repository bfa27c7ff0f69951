#include "remote/LineCount.h"

#include "core/reader/Pages.h"

#include <algorithm>
#include <utility>

namespace korvane {

void LineCount::outdate() {
    isUnwanted_ = false;
    isFresh_ = false;
}

qint64 LineCount::empty() {
    ++generation_;
    return std::exchange(lines_, 0);
}

bool LineCount::firstLinesShown(qint64 lines) {
    if (isFresh_ || isFirstPageRead_ || lines_ > shownFirst_ || lines <= lines_)
        return false;
    shownFirst_ = lines_ = lines;
    return true;
}

std::optional<LineCount::FirstPage> LineCount::firstPageRead(qint64 lines) {
    if (std::exchange(isFirstPageRead_, true))
        return std::nullopt;
    if (isFresh_) {
        const LineRange missed{lines, std::min(lines_, pages::size) - lines};
        return missed.length > 0 ? FirstPage{{}, missed} : FirstPage{{0, lines}, {}};
    }
    if (lines_ > shownFirst_)
        return std::nullopt;
    lines_ = lines;
    return FirstPage{{0, lines}, {}};
}

std::optional<LineCount::Counted> LineCount::take(qint64 counted, std::uint64_t generation) {
    if (generation_ != generation)
        return std::nullopt;
    isFresh_ = true;
    const qint64 before = std::exchange(lines_, counted);
    return Counted{before, before <= shownFirst_ && !isFirstPageRead_};
}

void LineCount::followingBegan() {
    // Lines that were appended while there was no connection are still reported.
    if (!std::exchange(isFollowed_, true) && reported_)
        reported_ = lines_;
}

LineRange LineCount::takeAppended(FileChange change, qint64 counted, std::uint64_t generation) {
    if (generation_ != generation)
        return {};
    if (!isFollowed_) {
        reported_ = counted;
        return {};
    }
    const bool isFirstCount = !reported_;
    if (isFirstCount || (change == FileChange::None && counted < *reported_))
        reported_ = counted;
    // Lines found by another count are reported at the next poll.
    if (isFirstCount || change == FileChange::None)
        return {};
    const bool isReplaced = change == FileChange::Replaced || counted < *reported_;
    const qint64 first = isReplaced ? 0 : *reported_;
    reported_ = counted;
    return {first, counted - first};
}

} // namespace korvane
