/// Follows log files in the program's own windows while they are appended to, cut, rotated, deleted and
/// replaced at random, and compares every row with the file at each rest.
///
/// korvane_soak [--seconds N] [--seed N]

#include "e2e/soak/FileLife.h"
#include "e2e/soak/Round.h"
#include "e2e/soak/ShownRows.h"

#include "core/FileObserverProtocol.h"
#include "support/Session.h"

#include <QApplication>
#include <QWheelEvent>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace korvane::soak {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr int pollMilliseconds = 100;
/// Far more than a loaded machine needs under a sanitizer.
constexpr auto limit = seconds(90);
constexpr int stepsPerRound = 60;

/// One file, followed in a window.
class WindowRound : public Round {
public:
    WindowRound(test::Session& session, std::uint64_t seed, Clock::time_point end, Totals& totals)
        : Round(seed, totals), session_(session), end_(end),
          life_(directory_.path().toStdString(), seed + 1, pollMilliseconds) {}

private:
    void play() override {
        life_.begin();
        open();
        rest("opened");
        for (int i = 0; i < stepsPerRound && Clock::now() < end_; ++i) {
            runStep(life_.next());
            ++totals_["steps"];
        }
        if (!session_.close())
            throw Fault("background work goes on after the file was closed");
    }

    void open() {
        const bool holdsText = below(4) == 0;
        const bool wraps = below(3) == 0;
        Preferences::shared().setLazyLoadFile(!holdsText);
        Preferences::shared().setWrapLines(wraps);
        did("opened", holdsText ? ", text held in memory" : "", wraps ? ", wrapped" : "");
        session_.open(life_.path().c_str());
        if (!session_.page)
            throw Fault("the file was not opened");
        const auto end = Clock::now() + limit;
        while (!session_.document->logFileObserver()->isTailing()) {
            if (Clock::now() > end)
                throw Fault("the file is not followed");
            passTime(milliseconds(5));
        }
    }

    void runStep(const Step& step) {
        scrollSomewhere();
        if (below(4) == 0) {
            passTime(milliseconds(below(5 * pollMilliseconds)));
            // The file has not changed: neither may the rows.
            if (const auto found = ShownRows(*session_.page, fileLines(), seed_).difference())
                throw Fault("at rest: ", *found);
        }
        // A row may have become taller a moment ago, and the view not be back at the end yet.
        const LogTableScroller& scroller = session_.table().scroller();
        stoodAtEnd_ = scroller.isAtEnd() || scroller.stoodAtEnd();
        visibleRows_ = scroller.visibleRows();
        scrolledMeanwhile_ = false;

        did(step.description());
        const bool scrolls = below(4) == 0;
        std::atomic<bool> isDone{false};
        const std::jthread writer([&] {
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
        rest("afterwards");
        expectSamePlace(step);
    }

    void scrollSomewhere() {
        LogTableView& table = session_.table();
        const auto kind = below(6);
        if (kind == 0) {
            table.scroller().setTopRow(0);
        } else if (kind <= 2) {
            table.scroller().scrollToEnd();
        } else if (kind == 3) {
            table.scroller().setTopRow(
                static_cast<qint64>(below(static_cast<std::uint64_t>(table.rowCount()) + 1)));
        } else if (kind == 4) {
            const QPointF place(300, 200);
            QWheelEvent wheel(place, table.viewport()->mapToGlobal(place), {},
                              {0, below(2) == 0 ? 240 : -240}, Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(table.viewport(), &wheel);
        }
    }

    static void passTime(milliseconds time) {
        const auto end = Clock::now() + time;
        do {
            QCoreApplication::processEvents(QEventLoop::AllEvents);
            std::this_thread::sleep_for(milliseconds(1));
        } while (Clock::now() < end);
    }

    QStringList fileLines() {
        file_.clear();
        file_.seekg(0);
        return linesOf({std::istreambuf_iterator<char>(file_), {}});
    }

    /// Waits until the window shows the file's content.
    void rest(const char* when) {
        if (std::ifstream opened(life_.path(), std::ios::binary); opened)
            file_ = std::move(opened);
        ShownRows shown(*session_.page, fileLines(), seed_);
        const auto end = Clock::now() + limit;
        while (const auto difference = shown.difference()) {
            if (Clock::now() > end)
                throw Fault(when, ": ", *difference);
            passTime(milliseconds(5));
        }
        totals_["rows compared"] += shown.lineCount();
    }

    /// Whether some row is where it was. It need not be the first: lines are wrapped to another width when
    /// the numbers become longer.
    bool hasKeptPlace() const {
        return std::ranges::any_of(visibleRows_, [this](const RowPlaces::VisibleRow& before) {
            const auto now = session_.table().scroller().visibleRow(before.row);
            return now && std::abs(now->y - before.y) < 1;
        });
    }

    static std::string placeText(const std::vector<RowPlaces::VisibleRow>& rows) {
        return rows.empty() ? "no row"
                            : joined("row ", rows.front().row, " at ", rows.front().y, " of ",
                                     rows.front().height, ", last ", rows.back().row);
    }

    void expectSamePlace(const Step& step) const {
        if (scrolledMeanwhile_)
            return;
        if (stoodAtEnd_ && !session_.table().scroller().isAtEnd())
            throw Fault("the view stood at the end and does no longer");
        if (!stoodAtEnd_ && step.onlyAppends && !hasKeptPlace())
            throw Fault("the view stood at ", placeText(visibleRows_), " and has moved to ",
                        placeText(session_.table().scroller().visibleRows()));
    }

    test::Session& session_;
    const Clock::time_point end_;
    QTemporaryDir directory_;
    FileLife life_;
    /// Stays readable after the file's name is deleted.
    std::ifstream file_;

    bool stoodAtEnd_ = false;
    std::vector<RowPlaces::VisibleRow> visibleRows_;
    bool scrolledMeanwhile_ = false;
};
int run(const Numbers& numbers) {
    test::Session session;
    Preferences::shared().setPollingInterval(pollMilliseconds / 1000.0);
    const auto end = Clock::now() + seconds(numbers.at("--seconds"));
    Totals totals;
    // Each round has its own seed, so that a failed round can be repeated alone.
    std::uint64_t seed = numbers.at("--seed");
    do {
        if (!WindowRound(session, seed++, end, totals).run())
            std::_Exit(EXIT_FAILURE); // a hanging thread would block a normal exit
    } while (Clock::now() < end);
    print(totals);
    return EXIT_SUCCESS;
}

} // namespace
} // namespace korvane::soak

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    return korvane::soak::run(korvane::soak::given({{"--seconds", 600}, {"--seed", 1}}, argc, argv));
}
