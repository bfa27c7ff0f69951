#include "filtering/LineSetScan.h"

#include "core/reader/LogFileReaderProtocol.h"
#include "core/search/LineFilter.h"
#include "filtering/LineRanges.h"
#include "foundation/Mutex.h"
#include "foundation/work/MainThread.h"
#include "foundation/work/ScanPool.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <list>
#include <optional>
#include <utility>

namespace korvane {

namespace {

using Clock = std::chrono::steady_clock;
using Steps = MatchBudget::Steps;

constexpr std::size_t mostWorkers = 2;
constexpr auto publishInterval = std::chrono::milliseconds(33);

/// Lines that are examined in one step: as many as take about this long.
constexpr auto stepTime = std::chrono::milliseconds(15);
constexpr qint64 fewestLines = 256;
constexpr qint64 mostLines = 1 << 18;

/// Steps that an item may take for so many lines; a tenth once it has exceeded them.
constexpr Steps mostSteps = 15'000'000;
constexpr qint64 linesOfMostSteps = 5000;
constexpr Steps slowPart = 10;

} // namespace

struct LineSetScan::State {
    State(std::shared_ptr<LogFileReaderProtocol> source, std::vector<SearchItem> searches,
          std::function<void(const Sets&)> receiver)
        : reader(std::move(source)), items(std::move(searches)), publish(std::move(receiver)) {}

    const std::shared_ptr<LogFileReaderProtocol> reader;
    const std::vector<SearchItem> items;
    /// Main thread; empty once the scan has been destroyed.
    std::function<void(const Sets&)> publish;

    /// Lines that a worker is examining.
    struct Taken {
        LineRange lines;
        /// They have changed meanwhile.
        bool isStale = false;
    };
    struct Writers {
        LineSetWriter lines;
        LineSetWriter givenUp;
        bool isTooSlow = false;
    };

    Mutex mutex;
    bool isRunning GUARDED_BY(mutex) = true;
    qint64 focus GUARDED_BY(mutex) = 0;
    qint64 lineCount GUARDED_BY(mutex) = 0;
    LineRanges left GUARDED_BY(mutex);
    /// Lines that could not be read: they are tried again when the file changes.
    LineRanges unreadable GUARDED_BY(mutex);
    std::list<Taken> taken GUARDED_BY(mutex);
    LineSetWriter examined GUARDED_BY(mutex);
    std::vector<Writers> writers GUARDED_BY(mutex) = std::vector<Writers>(items.size());
    std::shared_ptr<const LineFilter> filter GUARDED_BY(mutex);
    StringEncoding filterEncoding GUARDED_BY(mutex) = encoding::unknown;
    std::array<bool, mostWorkers> isWorking GUARDED_BY(mutex){};
    bool isPublishing GUARDED_BY(mutex) = false;
    /// Counts the contents of the file: sets of an earlier one are not published.
    std::uint64_t content GUARDED_BY(mutex) = 0;
    /// Two workers may hand over their sets in another order than they made them: of each set the number, and
    /// that of the last one published.
    std::uint64_t lastMade GUARDED_BY(mutex) = 0;
    std::uint64_t lastTaken GUARDED_BY(mutex) = 0;
    Clock::time_point lastPublished GUARDED_BY(mutex);

    std::array<ScanPool::Scan, mostWorkers> scans; // main thread

    Sets sets() REQUIRES(mutex) {
        Sets result{
            .items = {}, .examined = examined.set(), .lineCount = lineCount, .linesLeft = left.lineCount()};
        for (const Taken& range : taken)
            result.linesLeft += range.lines.length;
        for (Writers& item : writers)
            result.items.push_back({item.lines.set(), item.givenUp.set()});
        return result;
    }
};

/// Examines lines on a thread of the pool, range by range.
class LineSetScan::Worker {
public:
    Worker(std::shared_ptr<State> state, std::size_t number) : state_(std::move(state)), number_(number) {}

    /// Examines the next range. False when there is none.
    bool step(const std::stop_token& stop) {
        const auto taken = take();
        if (!taken)
            return false;
        const auto begin = Clock::now();
        const LineRange range = (*taken)->lines;
        const auto& filter = pass_->filter();
        std::vector<Steps> budgets = budgetsFor(range.length);
        const std::vector<Steps> before = budgets;
        FilteredLines found = state_->reader->filterLines(range.location, range.length, *pass_, budgets,
                                                          [&] { return stop.stop_requested(); });
        found.items.resize(filter.itemCount());
        for (std::size_t i = 0; i < budgets.size(); ++i)
            isTooSlow_[i] = budgets[i] <= 0 && before[i] > 0;
        store(*taken, found, stop.stop_requested());
        const auto duration = Clock::now() - begin;
        if (duration > stepTime && lines_ > fewestLines)
            lines_ /= 2;
        else if (duration < stepTime / 2 && lines_ < mostLines)
            lines_ *= 2;
        return true;
    }

private:
    using Place = std::list<State::Taken>::iterator;

    std::optional<Place> take() {
        prepareFilter();
        const MutexLock guard(state_->mutex);
        const auto range = state_->isRunning ? state_->left.takeNear(state_->focus, lines_) : std::nullopt;
        if (!range) {
            // Under the lock: code that adds lines later finds this worker idle and starts another.
            state_->isWorking[number_] = false;
            return std::nullopt;
        }
        return state_->taken.insert(state_->taken.end(), {*range});
    }

    /// The filter depends on the encoding, which may become known or change at any time.
    void prepareFilter() {
        StringEncoding encoding = state_->reader->fileEncoding();
        if (encoding == encoding::unknown) {
            state_->reader->readRows(1, 1, RowLength::Shown);
            encoding = state_->reader->fileEncoding();
        }
        const MutexLock guard(state_->mutex);
        if (!state_->filter || state_->filterEncoding != encoding) {
            state_->filter = std::make_shared<const LineFilter>(state_->items, encoding);
            state_->filterEncoding = encoding;
        }
        if (filter_ != state_->filter) {
            pass_.reset();
            filter_ = state_->filter;
            pass_.emplace(*filter_);
        }
    }

    std::vector<Steps> budgetsFor(qint64 lineCount) {
        const Steps steps =
            std::max<Steps>(mostSteps * lineCount / linesOfMostSteps, MatchBudget::mostPerLine);
        std::vector<Steps> budgets(state_->items.size(), steps);
        isTooSlow_.assign(budgets.size(), false);
        const MutexLock guard(state_->mutex);
        for (std::size_t i = 0; i < budgets.size(); ++i)
            if (state_->writers[i].isTooSlow)
                budgets[i] = std::max(steps / slowPart, MatchBudget::mostPerLine);
        return budgets;
    }

    void store(Place taken, const FilteredLines& found, bool isCancelled) {
        std::optional<Sets> toPublish;
        std::uint64_t content = 0;
        std::uint64_t number = 0;
        {
            const MutexLock guard(state_->mutex);
            const State::Taken range = *taken;
            state_->taken.erase(taken);
            const LineRange rest{range.lines.location + found.lineCount,
                                 range.lines.length - found.lineCount};
            if (range.isStale) {
                state_->left.add(range.lines);
                state_->left.truncate(state_->lineCount);
                return;
            }
            (isCancelled ? state_->left : state_->unreadable).add(rest);
            const LineRange done{range.lines.location, found.lineCount};
            state_->examined.fill(done);
            for (std::size_t i = 0; i < found.items.size(); ++i) {
                state_->writers[i].lines.assign(done, found.items[i].lines);
                state_->writers[i].givenUp.assign(done, found.items[i].givenUp);
                state_->writers[i].isTooSlow |= isTooSlow_[i];
            }
            const bool isComplete = state_->left.isEmpty() && state_->taken.empty();
            if (!isComplete &&
                (state_->isPublishing || Clock::now() - state_->lastPublished < publishInterval))
                return;
            state_->isPublishing = true;
            state_->lastPublished = Clock::now();
            toPublish = state_->sets();
            content = state_->content;
            number = ++state_->lastMade;
        }
        MainThread::shared().post([state = state_, content, number, sets = std::move(*toPublish)] {
            {
                const MutexLock guard(state->mutex);
                state->isPublishing = false;
                if (state->content != content || number < state->lastTaken)
                    return;
                state->lastTaken = number;
            }
            if (const auto publish = state->publish)
                publish(sets);
        });
    }

    const std::shared_ptr<State> state_;
    const std::size_t number_;
    std::shared_ptr<const LineFilter> filter_;
    std::optional<LineFilter::Pass> pass_;
    std::vector<bool> isTooSlow_;
    qint64 lines_ = 4 * fewestLines;
};

LineSetScan::LineSetScan(std::shared_ptr<LogFileReaderProtocol> reader, std::vector<SearchItem> items,
                         std::function<void(const Sets&)> publish)
    : state_(std::make_shared<State>(std::move(reader), std::move(items), std::move(publish))) {}

LineSetScan::~LineSetScan() {
    setRunning(false);
    state_->publish = nullptr;
    for (ScanPool::Scan& scan : state_->scans)
        scan.cancel();
}

void LineSetScan::setFocus(qint64 line) {
    const MutexLock guard(state_->mutex);
    state_->focus = line;
}

void LineSetScan::linesChanged(qint64 first, qint64 lineCount) {
    {
        const MutexLock guard(state_->mutex);
        for (State::Taken& taken : state_->taken)
            taken.isStale |= taken.lines.location + taken.lines.length > first;
        if (lineCount < state_->lineCount) {
            state_->left.truncate(lineCount);
            state_->examined.truncate(lineCount);
            for (State::Writers& item : state_->writers) {
                item.lines.truncate(lineCount);
                item.givenUp.truncate(lineCount);
            }
        }
        state_->lineCount = lineCount;
        state_->left.add({first, lineCount - first});
        while (const auto again = state_->unreadable.takeNear(0, lineCount))
            state_->left.add(*again);
        state_->left.truncate(lineCount);
    }
    startWorkers();
}

void LineSetScan::startAgain(qint64 lineCount) {
    {
        const MutexLock guard(state_->mutex);
        ++state_->content;
    }
    linesChanged(0, 0);
    linesChanged(0, lineCount);
}

void LineSetScan::setRunning(bool isRunning) {
    {
        const MutexLock guard(state_->mutex);
        state_->isRunning = isRunning;
    }
    if (isRunning)
        startWorkers();
}

void LineSetScan::startWorkers() {
    for (std::size_t number = 0; number < mostWorkers; ++number) {
        {
            const MutexLock guard(state_->mutex);
            if (!state_->isRunning || state_->left.isEmpty() || state_->isWorking[number])
                continue;
            state_->isWorking[number] = true;
        }
        state_->scans[number] = ScanPool::ofLoads().start(
            ScanPool::Priority::Background, [worker = std::make_shared<Worker>(state_, number)](
                                                const std::stop_token& stop) { return worker->step(stop); });
    }
}

} // namespace korvane
