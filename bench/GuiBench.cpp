#include "HintBench.h"
#include "TailBench.h"
#include "TimedApplication.h"

#include "core/TailDataSourceProtocol.h"
#include "documents/PageMemory.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/RuleSwitch.h"
#include "support/Session.h"
#include "ui/page/LogSearch.h"
#include "ui/page/ShownRows.h"

#include <QPaintEvent>
#include <QScrollBar>
#include <QTimer>
#include <QWheelEvent>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <random>
#include <string_view>

namespace korvane::bench {
namespace {

using test::Session;

/// An empty window as the reference. Prints the monotonic time of its first painting in microseconds.
class BareWindow : public QWidget {
protected:
    void paintEvent(QPaintEvent*) override {
        timespec now{};
        ::clock_gettime(CLOCK_MONOTONIC, &now);
        std::printf("%lld\n", static_cast<long long>(now.tv_sec) * 1'000'000 + now.tv_nsec / 1000);
        std::fflush(stdout);
        QCoreApplication::quit();
    }
};

int bareWindow(int argc, char** argv) {
    QApplication application(argc, argv);
    BareWindow window;
    window.resize(1180, 760);
    window.show();
    return QApplication::exec();
}

void sendWheel(LogTableView& table, int delta) {
    const QPointF place(300, 200);
    QCoreApplication::postEvent(table.viewport(),
                                new QWheelEvent(place, table.viewport()->mapToGlobal(place), {}, {0, delta},
                                                Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false));
}

/// Scrolls continuously while the file loads: by wheel, keys and scroll bar, near and far. Prints "longest-ms
/// event-type events rows load-seconds".
int scroll(int argc, char** argv, const char* path) {
    TimedApplication application(argc, argv);
    Session session(path);
    if (!session.page)
        return 1;
    const auto start = Clock::now();
    std::mt19937 random(5);
    QTimer scroller;
    int step = 0;
    QObject::connect(&scroller, &QTimer::timeout, [&] {
        LogTableView& table = session.table();
        switch (++step % 40) {
        case 10:
            table.verticalScrollBar()->setValue(table.verticalScrollBar()->maximum());
            break;
        case 20:
            table.verticalScrollBar()->setValue(
                static_cast<int>(random() % static_cast<unsigned>(table.verticalScrollBar()->maximum() + 1)));
            break;
        case 30:
            table.verticalScrollBar()->setValue(0);
            break;
        default:
            sendWheel(table, step % 80 < 40 ? -240 : 240);
        }
    });
    scroller.start(8);
    QTimer end;
    QObject::connect(&end, &QTimer::timeout, [&] {
        // At least three seconds, so that a fast load is scrolled through, too.
        if (!session.page->isLoading() && millisecondsSince(start) > 3000)
            QCoreApplication::quit();
    });
    end.start(20);
    double loadSeconds = 0;
    QObject::connect(session.page, &MainWindowController::loadEnded,
                     [&] { loadSeconds = millisecondsSince(start) / 1000; });
    QApplication::exec();
    std::printf("%.3f %d %ld %lld %.3f\n", application.longest, application.longestType, application.events,
                static_cast<long long>(session.table().rowCount()), loadSeconds);
    return 0;
}

/// Jumps to lines all over the loaded file and waits until the text of each is painted. Prints "longest-ms
/// median-ms jumps rows". Every line contains its own number.
int jump(int argc, char** argv, const char* path) {
    QApplication application(argc, argv);
    Session session(path);
    if (!session.page)
        return 1;
    while (session.page->isLoading())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    for (int i = 0; i < 20; ++i)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);

    LogTableView& table = session.table();
    const qint64 lines = session.page->logView().lineCount() - 1;
    std::mt19937_64 random(9);
    std::vector<double> times;
    for (int i = 0; i < 200; ++i) {
        const auto line = static_cast<qint64>(random() % static_cast<std::uint64_t>(lines)) + 1;
        const auto start = Clock::now();
        session.page->logView().goToLine(line);
        for (;;) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
            const auto cell = table.delegate().viewForTableColumn(cell::line, line - 1);
            if (!cell.row)
                continue;
            if (!cell.row->line.string().contains(QString::number(line)))
                return 1;
            table.viewport()->repaint();
            break;
        }
        times.push_back(millisecondsSince(start));
    }
    std::sort(times.begin(), times.end());
    std::printf("%.3f %.3f %zu %lld\n", times.back(), times[times.size() / 2], times.size(),
                static_cast<long long>(table.rowCount()));
    return 0;
}

/// Switches a rule that matches every line on and off in the middle of the loaded file, and waits until all
/// visible rows are painted accordingly. Prints "longest-ms median-ms switches rows".
int switchRules(int argc, char** argv, const char* path) {
    QApplication application(argc, argv);
    Session session(path);
    if (!session.page)
        return 1;
    while (session.page->isLoading())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    LogTableView& table = session.table();
    session.page->logView().goToLine(session.page->logView().lineCount() / 2);
    const FilterRule& rule = *FiltersManager::shared().rules().front();
    const QColor painted = rule.highlightRule()->foreground();
    const auto isPainted = [&](bool on) {
        for (qint64 row = table.scroller().firstVisibleRow(); row <= table.scroller().lastVisibleRow();
             ++row) {
            const auto cell = table.delegate().viewForTableColumn(cell::line, row);
            const auto* look = cell.row ? cell.row->line.attributesAt(0) : nullptr;
            if (!look || (look->foreground == painted) != on)
                return false;
        }
        return true;
    };
    while (!isPainted(false))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    std::vector<double> times;
    for (int i = 0; i < 100; ++i) {
        const auto start = Clock::now();
        switchRule(rule.id(), absoluteString(session.document->fileUrl()), i % 2 == 0);
        while (!isPainted(i % 2 == 0))
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
        table.viewport()->repaint();
        times.push_back(millisecondsSince(start));
    }
    std::sort(times.begin(), times.end());
    std::printf("%.3f %.3f %zu %lld\n", times.back(), times[times.size() / 2], times.size(),
                static_cast<long long>(table.rowCount()));
    return 0;
}

bool areVisibleRowsLoaded(LogTableView& table) {
    return std::ranges::all_of(table.scroller().visibleRows(), [&](const RowPlaces::VisibleRow& row) {
        return table.delegate().viewForTableColumn(cell::line, row.row).row != nullptr;
    });
}

/// Searches the loaded file from its first line for a text or pattern, and waits until the match is painted.
/// Prints "ms line".
int firstMatch(int argc, char** argv, const char* path, std::string_view kind, const char* text) {
    QApplication application(argc, argv);
    Session session(path);
    if (!session.page)
        return 1;
    while (session.page->isLoading())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    LogTableView& table = session.table();
    LogSearch& search = session.page->logView().search();
    search.setText(QString::fromUtf8(text));
    search.setSwitches({.isPattern = kind == "pattern"});
    const auto start = Clock::now();
    search.findForwards();
    while (table.selection().currentRow() < 0 || !areVisibleRowsLoaded(table)) {
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        if (!search.isSearching() && table.selection().currentRow() < 0)
            return 1;
    }
    table.viewport()->repaint();
    std::printf("%.3f %lld\n", millisecondsSince(start),
                static_cast<long long>(table.selection().currentRow() + 1));
    return 0;
}

/// Leaves out all lines without a pattern, and turns pages until each shows its texts. Prints "longest-ms
/// median-ms pages rows".
int leftOutPages(int argc, char** argv, const char* path, const char* pattern) {
    QApplication application(argc, argv);
    Session session(path);
    if (!session.page)
        return 1;
    while (session.page->isLoading())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    LogTableView& table = session.table();
    ShownRows& rows = session.page->logView().shownRows();
    const SearchItem item = SearchSwitches{.isPattern = true}.itemFor(QString::fromUtf8(pattern));
    rows.setConditions({{{item, ShownLines::Condition::Kind::Only}}, false});
    while (rows.percentExamined() < 100 || !rows.leavesOut() || !areVisibleRowsLoaded(table))
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    std::vector<double> times;
    for (int i = 0; i < 100; ++i) {
        const auto start = Clock::now();
        if (!table.scroller().scrollByPage(1))
            return 1;
        while (!areVisibleRowsLoaded(table))
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        table.viewport()->repaint();
        times.push_back(millisecondsSince(start));
    }
    std::ranges::sort(times);
    std::printf("%.3f %.3f %zu %lld\n", times.back(), times[times.size() / 2], times.size(),
                static_cast<long long>(rows.unhiddenRowCount()));
    return 0;
}

} // namespace
} // namespace korvane::bench

int main(int argc, char** argv) {
    korvane::PageMemory::useOneHeap();
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "window" && argc == 2)
        return korvane::bench::bareWindow(argc, argv);
    if (command == "scroll" && argc == 3)
        return korvane::bench::scroll(argc, argv, argv[2]);
    if (command == "jump" && argc == 3)
        return korvane::bench::jump(argc, argv, argv[2]);
    if (command == "switch" && argc == 3)
        return korvane::bench::switchRules(argc, argv, argv[2]);
    if (command == "first-match" && argc == 5)
        return korvane::bench::firstMatch(argc, argv, argv[2], argv[3], argv[4]);
    if (command == "left-out-pages" && argc == 4)
        return korvane::bench::leftOutPages(argc, argv, argv[2], argv[3]);
    if (command == "hint" && argc == 3)
        return korvane::bench::hint(argc, argv, argv[2]);
    if (command == "tail-delay" && argc == 4)
        return korvane::bench::tailDelay(argc, argv, argv[2], std::atoi(argv[3]));
    if (command == "tail-flood" && argc == 5)
        return korvane::bench::tailFlood(argc, argv, argv[2], argv[3], argv[4]);
    if (command == "tail-memory" && argc == 3)
        return korvane::bench::tailMemory(argc, argv, argv[2]);
    std::fprintf(stderr,
                 "usage: korvane_bench_gui window | scroll FILE | jump FILE | switch FILE | hint FILE\n"
                 "       korvane_bench_gui tail-delay FILE LINES\n"
                 "       korvane_bench_gui tail-flood FILE WRITER SECONDS\n"
                 "       korvane_bench_gui tail-memory FILE\n");
    return 2;
}
