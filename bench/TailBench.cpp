#include "TailBench.h"

#include "Flood.h"
#include "TimedApplication.h"

#include "core/FileObserverProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/LogReader.h"
#include "core/reader/Pages.h"
#include "support/Session.h"

#include <QCryptographicHash>
#include <QProcess>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <mutex>
#include <optional>
#include <poll.h>
#include <random>
#include <string>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace korvane::bench {
namespace {

using test::Session;

const QByteArray floodRate = QByteArrayLiteral("100000000");

bool writeText(const char* path, const std::string& text, const char* mode) {
    std::FILE* file = std::fopen(path, mode);
    if (!file)
        return false;
    const bool isWritten = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    return std::fclose(file) == 0 && isWritten;
}

bool until(const std::function<bool()>& condition, std::chrono::seconds limit) {
    const auto end = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > end)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

/// Whether the file is open, scrolled to its end, and followed.
bool isReady(Session& session) {
    return session.page && !session.page->isLoading() && session.document->logFileObserver()->isTailing();
}

QString textOnScreen(Session& session, qint64 row) {
    if (row < session.table().scroller().firstVisibleRow() ||
        row > session.table().scroller().lastVisibleRow())
        return {};
    const auto cell = session.table().delegate().viewForTableColumn(cell::line, row);
    return cell.row ? cell.row->line.string() : QString();
}

/// Counts of visible rows during a flood, by state.
struct RowsSeen {
    long right = 0;
    long loading = 0;
    /// Rows that are empty or show the text of another line.
    long wrong = 0;

    /// Counts all visible rows but the last, which may be half written.
    void look(Session& session) {
        const qint64 last =
            std::min(session.table().scroller().lastVisibleRow(), session.table().rowCount() - 2);
        for (qint64 row = session.table().scroller().firstVisibleRow(); row <= last; ++row) {
            const auto cell = session.table().delegate().viewForTableColumn(cell::line, row);
            const bool isLoaded = cell.row && cell.row->isLoaded;
            const QString number = QString::number(row).rightJustified(12, u'0');
            ++(!isLoaded ? loading : cell.row->line.string().startsWith(number) ? right : wrong);
        }
    }
};

/// Records the times of reads of the file; only the program under test reads it.
class AccessTimes {
public:
    explicit AccessTimes(const char* path) : descriptor_(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        ::inotify_add_watch(descriptor_, path, IN_ACCESS);
        thread_ = std::jthread([this](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                pollfd wait{descriptor_, POLLIN, 0};
                char events[4096];
                if (::poll(&wait, 1, 100) == 1 && ::read(descriptor_, events, sizeof events) > 0) {
                    const std::lock_guard guard(mutex_);
                    times_.push_back(Clock::now());
                }
            }
        });
    }
    ~AccessTimes() {
        thread_ = {};
        ::close(descriptor_);
    }
    AccessTimes(const AccessTimes&) = delete;
    AccessTimes& operator=(const AccessTimes&) = delete;

    std::optional<Clock::time_point> firstAfter(Clock::time_point time) const {
        const std::lock_guard guard(mutex_);
        const auto found = std::ranges::lower_bound(times_, time);
        return found == times_.end() ? std::nullopt : std::optional(*found);
    }

private:
    const int descriptor_;
    mutable std::mutex mutex_;
    std::vector<Clock::time_point> times_; // guarded by mutex_
    std::jthread thread_;
};

long residentKib() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:"))
            return std::stol(line.substr(6));
    }
    return 0;
}

/// SHA-256 of all rows as lines, read by pages as the table reads them. Empty if a page cannot be read or is
/// cut short.
QByteArray hashOfRows(TailDataSourceProtocol& source) {
    constexpr qint64 pagesAtOnce = 20;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    const qint64 rows = source.numberOfRows();
    QByteArray text;
    for (qint64 row = 0; row < rows; ++row) {
        if (row % pages::size == 0) {
            if (row % (pagesAtOnce * pages::size) == 0)
                source.clearCache();
            source.loadPage(pages::pageOfLine(row), false);
            hash.addData(text);
            text.clear();
        }
        const RowLine line = source.rowLine(row);
        if (!line.isLoaded || line.cutBytes > 0)
            return {};
        text += line.line.string().toUtf8();
        if (row + 1 < rows)
            text += '\n';
    }
    hash.addData(text);
    return hash.result().toHex();
}

} // namespace

int tailDelay(int argc, char** argv, const char* path, int lines) {
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += "a line from before\n";
    TimedApplication application(argc, argv);
    if (lines < 1 || !writeText(path, text, "wb"))
        return EXIT_FAILURE;
    const AccessTimes accesses(path);
    Session session(path);
    if (!session.page || !until([&] { return isReady(session); }, std::chrono::seconds(20)))
        return EXIT_FAILURE;
    const double interval = Preferences::shared().pollingInterval() * 1000;
    session.table().scroller().scrollToEnd();

    std::optional<Clock::time_point> paintedAt;
    QString wanted;
    application.painted = session.table().viewport();
    application.didPaint = [&] {
        if (!paintedAt && !wanted.isEmpty() &&
            textOnScreen(session, session.table().rowCount() - 2) == wanted)
            paintedAt = Clock::now();
    };
    std::mt19937 random(7);
    std::vector<double> delays;
    std::vector<double> afterPoll;
    for (int i = 0; i < lines; ++i) {
        const std::string line = "appended line " + std::to_string(i);
        paintedAt.reset();
        wanted = QString::fromStdString(line);
        const auto phase = std::chrono::microseconds(random() % static_cast<unsigned>(interval * 1000));
        std::atomic<bool> isAppended{false};
        Clock::time_point appendedAt;
        std::jthread writer([&] {
            std::this_thread::sleep_for(phase);
            appendedAt = Clock::now();
            isAppended = writeText(path, line + '\n', "ab");
        });
        if (!until([&] { return paintedAt && isAppended; }, std::chrono::seconds(20)))
            return EXIT_FAILURE;
        delays.push_back(milliseconds(*paintedAt - appendedAt));
        if (const auto poll = accesses.firstAfter(appendedAt); poll && *poll <= *paintedAt)
            afterPoll.push_back(milliseconds(*paintedAt - *poll));
    }
    std::printf("%.3f %.3f %.3f %zu %.3f\n", median(delays), std::ranges::max(delays),
                afterPoll.empty() ? std::numeric_limits<double>::quiet_NaN() : median(afterPoll),
                delays.size(), interval);
    return EXIT_SUCCESS;
}

int tailFlood(int argc, char** argv, const char* path, const char* writer, const char* seconds) {
    TimedApplication application(argc, argv);
    if (!writeText(path, "", "wb"))
        return EXIT_FAILURE;
    Session session(path);
    if (!session.page || !until([&] { return isReady(session); }, std::chrono::seconds(20)))
        return EXIT_FAILURE;
    // Lets the window open and the first poll end.
    until([] { return false; }, std::chrono::seconds(1));

    long paintings = 0;
    qint64 paintedRow = 0;
    RowsSeen seen;
    application.painted = session.table().viewport();
    application.didPaint = [&] {
        seen.look(session);
        if (!textOnScreen(session, session.table().scroller().lastVisibleRow() - 1).isEmpty() &&
            std::exchange(paintedRow, session.table().scroller().lastVisibleRow()) !=
                session.table().scroller().lastVisibleRow())
            ++paintings;
    };
    const long before = residentKib();
    application.longest = 0;
    application.events = 0;
    QProcess process;
    process.start(QString::fromLocal8Bit(writer),
                  {QStringLiteral("flood"), QString::fromLocal8Bit(path), QString::fromLatin1(floodRate),
                   QString::fromLatin1(seconds)});
    if (!until([&] { return process.state() == QProcess::NotRunning; }, std::chrono::seconds(600)) ||
        process.exitCode() != 0)
        return EXIT_FAILURE;
    const auto writtenAt = Clock::now();
    const auto rows = static_cast<qint64>(session.document->logReader()->fileSize() / floodLineBytes) + 1;
    const QString last = QString::number(rows - 2).rightJustified(12, u'0');
    const bool isShown = until(
        [&] {
            return session.table().rowCount() == rows && textOnScreen(session, rows - 2).startsWith(last);
        },
        std::chrono::seconds(60));
    const double catchUp = millisecondsSince(writtenAt);
    const double longest = application.longest;
    const ThreadTimes spent = application.longestTimes;
    const long after = residentKib();
    if (!isShown) {
        std::fprintf(stderr, "%lld rows of %lld\n", static_cast<long long>(session.table().rowCount()),
                     static_cast<long long>(rows));
        return EXIT_FAILURE;
    }
    const auto reader = std::dynamic_pointer_cast<LogReader>(session.document->logReader());
    std::printf("%.3f %.3f %.3f %d %ld %ld %ld %ld %ld %.3f %lld %ld %ld %zu %s", longest, spent.working,
                spent.waiting, application.longestType, application.events, paintings, seen.right,
                seen.loading, seen.wrong, catchUp, static_cast<long long>(rows), before, after,
                reader->indexHeapBytes(), process.readAllStandardOutput().constData());
    std::printf("%s\n", hashOfRows(*session.document->dataSource()).constData());
    std::fflush(stdout);
    std::_Exit(EXIT_SUCCESS); // skips the teardown
}

int tailMemory(int argc, char** argv, const char* path) {
    constexpr int pagesAtOnce = 50;
    constexpr int rowMemory = 64;
    const QApplication application(argc, argv);
    if (!writeText(path, "", "wb"))
        return EXIT_FAILURE;
    Session session(path);
    auto& preferences = Preferences::shared();
    preferences.setRowMemory(rowMemory);
    preferences.setPollingInterval(Preferences::shortestPollingInterval);
    if (!session.page || !until([&] { return isReady(session); }, std::chrono::seconds(20)))
        return EXIT_FAILURE;
    const auto source = session.document->dataSource();
    const auto reader = std::dynamic_pointer_cast<LogReader>(session.document->logReader());
    qint64 lines = 0;
    // Appends pages, waits until they are indexed, and then loads each as if it were scrolled to.
    const auto follow = [&](int pages) {
        for (int page = 0; page < pages; page += pagesAtOnce) {
            std::string text;
            const qint64 first = lines;
            lines += pagesAtOnce * pages::size;
            for (qint64 line = first; line < lines; ++line)
                text += std::to_string(line + 1) +
                        " INFO a line of everyday length, as logs hold them by the million\n";
            if (!writeText(path, text, "ab") ||
                !until([&] { return session.table().rowCount() > lines; }, std::chrono::seconds(60)))
                return false;
            for (qint64 row = first; row < lines; row += pages::size) {
                source->loadPage(pages::pageOfLine(row), true);
                if (!until([&] { return source->cachedRowLine(row).has_value(); }, std::chrono::seconds(60)))
                    return false;
            }
        }
        return true;
    };
    constexpr int pagesToFill = 200; // more than the row memory holds
    constexpr int pages = 2000;
    if (!follow(pagesToFill))
        return EXIT_FAILURE;
    const long before = residentKib();
    const std::size_t indexBefore = reader->indexHeapBytes();
    if (!follow(pages))
        return EXIT_FAILURE;
    std::printf("%ld %ld %zu %zu %d %lld\n", before, residentKib(), indexBefore, reader->indexHeapBytes(),
                pages, static_cast<long long>(lines));
    std::fflush(stdout);
    std::_Exit(EXIT_SUCCESS);
}

} // namespace korvane::bench
