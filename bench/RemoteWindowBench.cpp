#include "RemoteWindowBench.h"

#include "RemoteWindow.h"
#include "SharedConnection.h"
#include "Timing.h"

#include "core/FileObserverProtocol.h"
#include "core/reader/Pages.h"

#include <QFile>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace korvane::bench {
namespace {

using namespace std::chrono_literals;

constexpr qint64 linesOfGrowth = 10;

/// Processor time in milliseconds of the processes and of their children that have ended.
double processorTime(const std::vector<pid_t>& processes) {
    const double millisecondsPerTick = 1000.0 / static_cast<double>(::sysconf(_SC_CLK_TCK));
    double ticks = 0;
    for (const pid_t process : processes) {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string stat;
        std::getline(file, stat);
        // After the process name, which may contain anything, the times follow the state and ten numbers.
        std::istringstream fields(stat.substr(std::min(stat.size(), stat.rfind(')') + 1)));
        std::string skipped;
        for (int field = 0; field < 11; ++field)
            fields >> skipped;
        for (double time = 0, times = 0; times < 4 && fields >> time; ++times)
            ticks += time;
    }
    return ticks * millisecondsPerTick;
}

/// Memory of this process in KiB; `kind`: "VmRSS" or "VmHWM".
long memoryOf(const std::string& kind) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(kind + ':'))
            return std::stol(line.substr(kind.size() + 1));
    }
    return 0;
}

bool appendText(const QString& path, const QByteArray& text) {
    QFile file(path);
    return file.open(QIODevice::Append) && file.write(text) == text.size();
}

/// Waits until no byte has crossed the link for a second.
void waitForQuiet(const SlowLink& link) {
    std::uint64_t bytes = 0;
    do {
        bytes = link.bytes();
        until([] { return false; }, 1s);
    } while (bytes != link.bytes());
}

} // namespace

int firstRows(const QString& path, const SlowLink::Speed& speed, int rounds) {
    const test::SshServer server;
    const QString key = server.makeKey(QStringLiteral("id"));
    // Separate links, so that neither delays the other.
    const SlowLink link(server.port(), speed);
    const SlowLink referenceLink(server.port(), speed);
    const bool isDirect = speed.roundTrip == 0ms && speed.bytesPerSecond == 0;
    const SharedConnection reference(server, key, isDirect ? server.port() : referenceLink.port());
    RemoteWindow window(server, hostOf(server, key, isDirect ? server.port() : link.port()));
    if (!reference.isThere() || !window.isReady())
        return EXIT_FAILURE;
    std::vector<double> ours;
    std::vector<double> connecting;
    std::vector<double> theirs;
    const auto runOurs = [&] {
        waitForQuiet(link);
        const auto took = window.open(path);
        if (!took)
            return false;
        ours.push_back(took->untilRows);
        connecting.push_back(took->untilConnected);
        return window.close();
    };
    const auto runReference = [&] {
        waitForQuiet(referenceLink);
        const auto start = Clock::now();
        const QByteArray lines =
            reference.output("head -n " + QByteArray::number(pages::size) + " \"" + path.toUtf8() + '"');
        theirs.push_back(millisecondsSince(start));
        return lines.count('\n') == pages::size;
    };
    for (int round = 0; round < rounds; ++round) {
        const bool isRight = round % 2 == 0 ? runOurs() && runReference() : runReference() && runOurs();
        if (!isRight) {
            std::fprintf(stderr, "no first rows\n");
            return EXIT_FAILURE;
        }
    }
    std::printf("%.3f %.3f %.3f %d\n", median(ours), median(connecting), median(theirs), rounds);
    return EXIT_SUCCESS;
}

int growth(const QString& path, int count) {
    const test::SshServer server;
    const QString key = server.makeKey(QStringLiteral("id"));
    const SlowLink link(server.port(), {});
    const SharedConnection reference(server, key, server.port());
    RemoteWindow window(server, hostOf(server, key, link.port()));
    if (!reference.isThere() || !window.isReady() || !window.open(path) ||
        !until([&] { return window.isLoaded() && window.document().logFileObserver()->isTailing(); }, 120s))
        return EXIT_FAILURE;
    window.table().scroller().scrollToEnd();
    const auto lastText = [&] { return window.textOnScreen(window.table().rowCount() - 1); };
    if (!until([&] { return !lastText().isEmpty(); }, 60s))
        return EXIT_FAILURE;
    // The other requests for a file that has just been opened must not be counted.
    until([] { return false; }, 5s);

    struct Used {
        double serverMilliseconds = 0;
        std::uint64_t bytes = 0;
    };
    const auto used = [&] { return Used{processorTime(server.connectionProcesses()), link.bytes()}; };
    const qint64 rowsBefore = window.table().rowCount();
    quint64 offset = 0;
    const Used atStart = used();
    const auto start = Clock::now();
    for (int i = 0; i < count; ++i) {
        QByteArray text;
        for (qint64 line = 0; line < linesOfGrowth; ++line)
            text += "2024-03-01 00:00:00.000 INFO  [worker-7] db.pool - growth " + QByteArray::number(i) +
                    " line " + QByteArray::number(line) + '\n';
        offset = static_cast<quint64>(QFile(path).size());
        const QString last = QStringLiteral("growth %1 line %2").arg(i).arg(linesOfGrowth - 1);
        if (!appendText(path, text) || !until([&] { return lastText().endsWith(last); }, 60s)) {
            std::fprintf(stderr, "growth %d has not come: \"%s\"\n", i, qPrintable(lastText()));
            return EXIT_FAILURE;
        }
    }
    const double seconds = millisecondsSince(start) / 1000;
    const Used afterGrowth = used();
    if (window.table().rowCount() != rowsBefore + count * linesOfGrowth) {
        std::fprintf(stderr, "%lld rows, before it were %lld\n",
                     static_cast<long long>(window.table().rowCount()), static_cast<long long>(rowsBefore));
        return EXIT_FAILURE;
    }
    // The same time without growth: only polls.
    const Used beforeIdle = used();
    until([] { return false; }, std::chrono::milliseconds(static_cast<long>(seconds * 1000)));
    const Used afterIdle = used();
    // The time of the processes that served the file must not be subtracted from that of the reference.
    if (!window.close())
        return EXIT_FAILURE;
    until([] { return false; }, 2s);

    const double beforeReference = processorTime(server.connectionProcesses());
    const QByteArray command =
        "tail -c +" + QByteArray::number(offset + 1) + " \"" + path.toUtf8() + "\" | wc -l";
    for (int i = 0; i < count; ++i) {
        if (reference.output(command).trimmed().toLongLong() != linesOfGrowth) {
            std::fprintf(stderr, "the reference counts other lines\n");
            return EXIT_FAILURE;
        }
    }
    const double referenceMilliseconds = processorTime(server.connectionProcesses()) - beforeReference;
    std::printf("%d %.3f %llu %llu %.0f %.0f %.0f\n", count, seconds,
                static_cast<unsigned long long>(afterGrowth.bytes - atStart.bytes),
                static_cast<unsigned long long>(afterIdle.bytes - beforeIdle.bytes),
                afterGrowth.serverMilliseconds - atStart.serverMilliseconds,
                afterIdle.serverMilliseconds - beforeIdle.serverMilliseconds, referenceMilliseconds);
    return EXIT_SUCCESS;
}

int memory(const QString& path) {
    const test::SshServer server;
    const QString key = server.makeKey(QStringLiteral("id"));
    RemoteWindow window(server, hostOf(server, key, server.port()));
    if (!window.isReady())
        return EXIT_FAILURE;
    until([] { return false; }, 2s);
    const long idle = memoryOf("VmRSS");
    // Resets the peak (VmHWM).
    std::ofstream("/proc/self/clear_refs") << 5;
    const long start = memoryOf("VmHWM");
    if (!window.open(path) || !until([&] { return window.isLoaded(); }, 120s))
        return EXIT_FAILURE;
    until([] { return false; }, 3s);
    const long peak = memoryOf("VmHWM");
    if (start > idle + 1024) {
        std::fprintf(stderr, "the peak is that of before: %ld KiB, idle %ld KiB\n", start, idle);
        return EXIT_FAILURE;
    }
    const qint64 last = std::min(window.table().rowCount(), pages::size);
    for (qint64 line = 1; line <= last; line += 100) {
        window.page().logView().goToLine(line);
        if (!until([&] { return !window.textOnScreen(line - 1).isEmpty(); }, 60s)) {
            std::fprintf(stderr, "line %lld does not come\n", static_cast<long long>(line));
            return EXIT_FAILURE;
        }
    }
    std::printf("%ld %ld %ld\n", idle, peak, memoryOf("VmHWM"));
    return EXIT_SUCCESS;
}

} // namespace korvane::bench
