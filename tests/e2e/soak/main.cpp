/// Follows log files in the program's own windows while everything that befalls log files befalls them, and
/// compares every row with the file at each rest.
///
/// korvane_soak [--seconds N] [--seed N]

#include "e2e/soak/FileLife.h"
#include "e2e/soak/ShownRows.h"

#include "core/FileObserverProtocol.h"
#include "support/Session.h"

#include <QApplication>
#include <QWheelEvent>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <thread>
#include <unistd.h>

namespace korvane::soak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int pollMilliseconds = 100;
/// Far beyond what a loaded machine needs under a sanitizer.
constexpr auto limit = seconds(90);
constexpr int stepsPerRound = 60;

/// A file that stays readable when its name goes.
class KeptFile {
public:
    ~KeptFile() { ::close(descriptor_); }
    KeptFile() = default;
    KeptFile(const KeptFile&) = delete;
    KeptFile& operator=(const KeptFile&) = delete;

    /// Takes the file at the path, if there is one.
    void take(const std::string& path) {
        const int opened = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (opened < 0)
            return;
        ::close(descriptor_);
        descriptor_ = opened;
    }

    std::string content() const {
        std::string bytes;
        char block[1 << 16];
        for (;;) {
            const ssize_t got = ::pread(descriptor_, block, sizeof block, static_cast<off_t>(bytes.size()));
            if (got <= 0)
                return bytes;
            bytes.append(block, static_cast<std::size_t>(got));
        }
    }

private:
    int descriptor_ = -1;
};

struct Totals {
    long rounds = 0;
    long steps = 0;
    long long rows = 0;
};

/// One file, followed from its opening to its closing.
class Round {
public:
    Round(test::Session& session, std::uint64_t seed)
        : session_(session), seed_(seed), random_(seed + 1),
          life_(directory_.path().toStdString(), seed, pollMilliseconds) {}

    /// False after a difference, which it has told.
    bool run(Clock::time_point end, Totals& totals);

private:
    std::uint64_t below(std::uint64_t count) { return random_() % count; }

    bool open();
    bool runStep(const Step& step);
    void scrollSomewhere();
    void passTime(milliseconds time);
    bool rest(const char* when);
    bool isStillThere();
    bool isWhereItWas(const Step& step);
    bool fails(const std::string& what) const;

    test::Session& session_;
    const std::uint64_t seed_;
    std::mt19937_64 random_;
    QTemporaryDir directory_;
    FileLife life_;
    KeptFile file_;
    std::vector<std::string> history_;
    std::size_t lineCount_ = 0;

    bool stoodAtEnd_ = false;
    qint64 firstRow_ = 0;
    bool scrolledMeanwhile_ = false;
};

bool Round::run(Clock::time_point end, Totals& totals) {
    ++totals.rounds;
    life_.begin();
    if (!open() || !rest("opened"))
        return false;
    for (int i = 0; i < stepsPerRound && Clock::now() < end; ++i) {
        if (!runStep(life_.next()))
            return false;
        ++totals.steps;
        totals.rows += static_cast<long long>(lineCount_);
    }
    if (!session_.close())
        return fails("background work goes on after the file was closed");
    return true;
}

bool Round::open() {
    const bool holdsText = below(4) == 0;
    const bool wraps = below(3) == 0;
    Preferences::shared().setLazyLoadFile(!holdsText);
    Preferences::shared().setWrapLines(wraps);
    history_.push_back(std::string("opened") + (holdsText ? ", text held in memory" : "") +
                       (wraps ? ", wrapped" : ""));
    session_.open(life_.path().c_str());
    if (!session_.page)
        return fails("the file was not opened");
    const auto end = Clock::now() + limit;
    while (!session_.document->logFileObserver()->isTailing()) {
        if (Clock::now() > end)
            return fails("the file is not followed");
        passTime(milliseconds(5));
    }
    return true;
}

bool Round::runStep(const Step& step) {
    scrollSomewhere();
    if (below(4) == 0) {
        passTime(milliseconds(below(5 * pollMilliseconds)));
        if (!isStillThere())
            return false;
    }
    stoodAtEnd_ = session_.table().isAtEnd();
    firstRow_ = session_.table().firstVisibleRow();
    scrolledMeanwhile_ = false;

    history_.push_back(step.description());
    const bool scrolls = below(4) == 0;
    std::atomic<bool> isDone{false};
    std::thread writer([&] {
        for (const Action& action : step.actions)
            action.run();
        isDone = true;
    });
    while (!isDone) {
        passTime(milliseconds(5));
        if (scrolls && below(10) == 0) {
            scrollSomewhere();
            scrolledMeanwhile_ = true;
        }
    }
    writer.join();
    return rest("afterwards") && isWhereItWas(step);
}

void Round::scrollSomewhere() {
    LogTableView& table = session_.table();
    switch (below(6)) {
    case 0:
        table.setTopRow(0);
        break;
    case 1:
    case 2:
        table.scrollToEnd();
        break;
    case 3:
        table.setTopRow(static_cast<qint64>(below(static_cast<std::uint64_t>(table.rowCount()) + 1)));
        break;
    case 4: {
        const QPointF place(300, 200);
        QWheelEvent wheel(place, table.viewport()->mapToGlobal(place), {}, {0, below(2) == 0 ? 240 : -240},
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(table.viewport(), &wheel);
        break;
    }
    default:
        break; // stays
    }
}

void Round::passTime(milliseconds time) {
    const auto end = Clock::now() + time;
    do {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        std::this_thread::sleep_for(milliseconds(1));
    } while (Clock::now() < end);
}

/// Waits until the window shows what the file holds.
bool Round::rest(const char* when) {
    file_.take(life_.path());
    ShownRows shown(*session_.page, linesOf(file_.content()), seed_);
    lineCount_ = shown.lineCount();
    const auto end = Clock::now() + limit;
    for (;;) {
        const auto difference = shown.difference();
        if (!difference)
            return true;
        if (Clock::now() > end)
            return fails(std::string(when) + ": " + *difference);
        passTime(milliseconds(5));
    }
}

/// Nothing has happened to the file: nothing may have happened to the rows.
bool Round::isStillThere() {
    ShownRows shown(*session_.page, linesOf(file_.content()), seed_);
    const auto difference = shown.difference();
    return !difference || fails("at rest: " + *difference);
}

bool Round::isWhereItWas(const Step& step) {
    if (scrolledMeanwhile_)
        return true;
    if (stoodAtEnd_ && !session_.table().isAtEnd())
        return fails("the view stood at the end and does no longer");
    if (!stoodAtEnd_ && step.onlyAppends && session_.table().firstVisibleRow() != firstRow_)
        return fails("the view stood at row " + std::to_string(firstRow_) + " and has moved to row " +
                     std::to_string(session_.table().firstVisibleRow()));
    return true;
}

bool Round::fails(const std::string& what) const {
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed_));
    for (std::size_t i = 0; i < history_.size(); ++i)
        std::printf("%3zu  %s\n", i, history_[i].c_str());
    std::printf("FAILED: %s\n", what.c_str());
    std::fflush(stdout);
    return false;
}

int run(int argc, char** argv) {
    long secondsToRun = 600;
    std::uint64_t seed = 1;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string_view name = argv[i];
        if (name == "--seconds")
            secondsToRun = std::atol(argv[i + 1]);
        else if (name == "--seed")
            seed = std::strtoull(argv[i + 1], nullptr, 10);
        else
            argc = 0;
    }
    if (argc % 2 == 0 || secondsToRun <= 0) {
        std::fprintf(stderr, "usage: korvane_soak [--seconds N] [--seed N]\n");
        return 2;
    }
    test::Session session;
    Preferences::shared().setPollingInterval(pollMilliseconds / 1000.0);
    const auto end = Clock::now() + seconds(secondsToRun);
    Totals totals;
    // Each round has a seed of its own: the one that fails is enough to see it again.
    do {
        Round round(session, seed++);
        if (!round.run(end, totals))
            std::_Exit(EXIT_FAILURE); // what hangs would hold up the end
    } while (Clock::now() < end);
    std::printf("%ld files, %ld steps, %lld rows compared\n", totals.rounds, totals.steps, totals.rows);
    return EXIT_SUCCESS;
}

} // namespace
} // namespace korvane::soak

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    return korvane::soak::run(argc, argv);
}
