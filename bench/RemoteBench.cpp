#include "BenchHost.h"
#include "RemoteWindowBench.h"
#include "SharedConnection.h"
#include "SlowLink.h"
#include "Timing.h"

#include "core/Preferences.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "documents/LoadProgressController.h"
#include "documents/PageMemory.h"
#include "remote/Client.h"
#include "remote/RemoteDocument.h"
#include "remote/ssh/SessionSettings.h"
#include "support/PreferencesTest.h"
#include "support/SshServer.h"
#include "support/Waiting.h"

#include <QApplication>
#include <QFile>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <string_view>
#include <vector>

namespace korvane::bench {
namespace {

using namespace std::chrono_literals;

/// Loads pages of the file, alternating with the reference, over links with this round trip. Prints
/// "milliseconds milliseconds pages" (medians).
int page(const QString& given, std::chrono::milliseconds roundTrip) {
    const QTemporaryDir settings;
    Preferences::setShared(std::make_unique<Preferences>(
        std::make_unique<UserDefaults>(settings.filePath(QStringLiteral("s.conf")))));
    Preferences::shared().registerDefaults(test::FakeFontCatalog());
    Preferences::shared().setStartTailingOnFileOpen(false);
    PrintedAlerts alerts;
    test::SshServer server;
    // In a directory that the server's user can read.
    const QString path = server.path(QStringLiteral("page.log"));
    if (!QFile::copy(given, path) ||
        !QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther))
        return EXIT_FAILURE;
    const QString key = server.makeKey(QStringLiteral("id"));
    // Separate links, so that neither delays the other.
    const SlowLink link(server.port(), {roundTrip});
    const SlowLink referenceLink(server.port(), {roundTrip});
    const bool isDirect = roundTrip == 0ms;
    const auto host = hostOf(server, key, isDirect ? server.port() : link.port());
    const auto document =
        RemoteDocument::create(host, [&alerts](const std::shared_ptr<RemoteHost>& configured) {
            return Client::create(configured, alerts, SessionSettings{});
        });
    if (!document->readFromUrl(RemoteUrl(*host, path).url()))
        return EXIT_FAILURE;
    const auto rows = document->dataSource();
    document->startLoading();
    const SharedConnection reference(server, key, isDirect ? server.port() : referenceLink.port());
    const auto isIdle = [&] {
        return document->loadProgress()->state() == LoadProgressController::State::Completed &&
               rows->rowLine(0).isLoaded;
    };
    if (!reference.isThere() || !test::waitFor(isIdle, 60s))
        return EXIT_FAILURE;
    // The other requests for a file that has just been opened must not delay its pages.
    test::waitFor([] { return false; }, 1s);

    int arrived = 0;
    const auto subscription = rows->notices().pageLoaded.subscribe([&arrived](qint64) { ++arrived; });
    std::vector<double> ours;
    std::vector<double> theirs;
    const qint64 pageCount = rows->numberOfRows() / pages::size;
    for (qint64 page = 2; page <= pageCount; ++page) { // the first page is already loaded
        const auto runOurs = [&] {
            const auto start = Clock::now();
            arrived = 0;
            rows->rowLine(pages::firstLine(page));
            // Wakes for each posted task, as the event loop does.
            while (arrived == 0 && millisecondsSince(start) < 60'000) {
                pollfd wake{MainThread::shared().wakeDescriptor(), POLLIN, 0};
                ::poll(&wake, 1, 1000);
                MainThread::shared().runPending();
            }
            ours.push_back(millisecondsSince(start));
            return rows->cachedRowLine(pages::firstLine(page + 1) - 1).has_value();
        };
        const auto runReference = [&] {
            const auto start = Clock::now();
            const QByteArray lines =
                reference.output("tail -n+" + QByteArray::number(pages::firstLine(page) + 1) + " \"" +
                                 path.toUtf8() + "\" | head -n " + QByteArray::number(pages::size));
            theirs.push_back(millisecondsSince(start));
            return lines.count('\n') == pages::size;
        };
        const bool isRight = page % 2 == 0 ? runOurs() && runReference() : runReference() && runOurs();
        if (!isRight) {
            std::fprintf(stderr, "page %lld did not come whole\n", static_cast<long long>(page));
            return EXIT_FAILURE;
        }
    }
    document->close();
    OperationQueue::waitForAllWorkers(20s);
    std::printf("%.6f %.6f %zu\n", median(ours), median(theirs), ours.size());
    return EXIT_SUCCESS;
}

} // namespace
} // namespace korvane::bench

int main(int argc, char** argv) {
    using namespace korvane::bench;
    korvane::PageMemory::useOneHeap();
    // As in the program: a closed connection must not end the process.
    std::signal(SIGPIPE, SIG_IGN);
    const auto text = [&](int index) { return QString::fromLocal8Bit(argv[index]); };
    const auto number = [&](int index) { return std::strtoll(argv[index], nullptr, 10); };
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "page" && argc == 4) {
        const QCoreApplication application(argc, argv);
        return page(text(2), std::chrono::milliseconds(number(3)));
    }
    const QApplication application(argc, argv);
    if (command == "first-rows" && argc == 6)
        return firstRows(text(2),
                         {std::chrono::milliseconds(number(3)), static_cast<std::uint64_t>(number(4))},
                         static_cast<int>(number(5)));
    if (command == "growth" && argc == 4)
        return growth(text(2), static_cast<int>(number(3)));
    if (command == "memory" && argc == 3)
        return memory(text(2));
    std::fprintf(stderr, "usage: korvane_bench_remote page FILE ROUND_TRIP_MS\n"
                         "       korvane_bench_remote first-rows FILE ROUND_TRIP_MS BYTES_PER_SECOND ROUNDS\n"
                         "       korvane_bench_remote growth FILE COUNT\n"
                         "       korvane_bench_remote memory FILE\n");
    return 2;
}
