/// Opens, pages, follows, searches and closes a file on a server behind a link with every kind of fault that
/// links have, and compares the rows with the file. Each round has its own seed.
///
/// korvane_soak_remote [--rounds N] [--seed N] [--stall MILLISECONDS]

#include "e2e/soak/Round.h"
#include "e2e/soak/ServedFile.h"

#include "core/FileObserverProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "core/search/SearchItem.h"
#include "remote/RemoteDocument.h"
#include "remote/SshTest.h"
#include "support/FaultProxy.h"
#include "support/PreferencesTest.h"

#include <QCoreApplication>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <stop_token>

namespace korvane::soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using test::FaultProxy;

/// Far more than the sessions' own limits, on a loaded machine and under a sanitizer.
constexpr auto limit = 90s;
constexpr auto connectingLimit = 5s;
constexpr auto unansweredLimit = 2s;
/// Maximum time that rows may be missing over a good link before the user has the file read again.
constexpr auto patience = 2s;
constexpr qint64 visibleRows = 40;
/// Maximum memory growth after the first rounds: allows for caches of the libraries and the allocator, not
/// for rows.
constexpr long mostGrowthKilobytes = 48 * 1024;
/// The sanitizers keep records of every thread and every place that has allocated.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool measuresGrowth = false;
#else
constexpr bool measuresGrowth = true;
#endif

/// One file on a server behind a faulty link.
class RemoteRound : public Round {
public:
    RemoteRound(const test::SshServer& server, std::uint64_t seed, milliseconds stall, Totals& totals)
        : Round(seed, totals), stall_(stall), path_(server.path(QStringLiteral("a b.log"))),
          file_(path_, seed), proxy_(server.port(), seed, stall),
          host_(test::SshTest::keyHost(server, proxy_.port())) {}

private:
    void play() override {
        open();
        const bool closesAtOnce = below(3) == 0;
        for (auto steps = 3 + below(10); steps > 0; --steps) {
            runStep();
            ++totals_["steps"];
        }
        if (closesAtOnce) {
            ++totals_["closed at once"];
        } else {
            sitOut();
            rest();
        }
        close();
        totals_["losses"] += static_cast<long long>(losses_);
        constexpr const char* names[] = {"connections", "delayed", "slow",    "stalls",
                                         "resets",      "ends",    "silences"};
        for (std::size_t event = 0; event < std::size(names); ++event)
            totals_[names[event]] += proxy_.counts()[event];
        if (::testing::UnitTest::GetInstance()->Failed())
            throw Fault("a condition of the test itself");
    }

    void open() {
        constexpr qint64 counts[] = {0, 3, 4999, 5000, 5001, 12'345};
        file_.append(below(2) == 0 ? counts[below(std::size(counts))] : static_cast<qint64>(below(16'000)));
        isPatient_ = below(20) == 0;
        const bool follows = below(2) == 0;
        Preferences::shared().setStartTailingOnFileOpen(follows);
        did("opened a file of ", file_.lineCount(), " lines", follows ? ", followed" : "",
            isPatient_ ? ", patiently" : "");

        SessionSettings settings;
        settings.connectingLimit = connectingLimit;
        settings.keepAliveInterval = 500ms;
        settings.unansweredLimit = isPatient_ ? stall_ + 30s : milliseconds(unansweredLimit);
        document_ = RemoteDocument::create(host_, [&](const std::shared_ptr<RemoteHost>& configured) {
            return Client::create(configured, alerts_, settings);
        });
        subscription_ = document_->notices().connectionStateChanged.subscribe([this] {
            if (std::exchange(lastState_, state()) == ConnectionState::Connected &&
                state() == ConnectionState::Lost)
                ++losses_;
        });
        if (!document_->readFromUrl(RemoteUrl(*host_, path_).url()))
            throw Fault("the address is not taken");
        document_->startLoading();
        document_->windowMade();
        // In some rounds the steps begin while the login is under way.
        if (below(4) != 0)
            waitUntil([this] { return !document_->isLoading(); }, "the opening does not end");
    }

    void runStep() {
        const auto kind = below(10);
        if (kind < 3) {
            look();
        } else if (kind < 6) {
            write();
        } else if (kind == 6) {
            search();
        } else if (kind == 7) {
            connectAgain();
        } else if (kind == 8) {
            did("requested the file's information");
            document_->askFileInformation([](const auto&) {});
        } else {
            did("a moment passed");
            passTime(milliseconds(below(1000)));
        }
        passTime(milliseconds(below(200)));
    }

    /// Requests rows like a window that shows them.
    void look() {
        const qint64 count = rows()->numberOfRows();
        if (count == 0)
            return did("nothing to look at");
        const auto first = static_cast<qint64>(below(static_cast<std::uint64_t>(count)));
        did("looked at row ", first, " of ", count);
        const qint64 last = std::min(first + visibleRows, count) - 1;
        rows()->dropRequestsOutside(first, last);
        const auto end = Clock::now() + milliseconds(below(2) == 0 ? 1500 : 0);
        bool isThere = false;
        do {
            isThere = true;
            for (qint64 row = first; row <= last; ++row) {
                isThere = rows()->rowLine(row).isLoaded && isThere;
                checkCachedRow(row);
            }
            passTime(5ms);
        } while (!isThere && Clock::now() < end && rows()->numberOfRows() > last);
    }

    void write() {
        if (!isFollowed()) {
            document_->startTailingWhenLoaded();
            return did("followed");
        }
        const std::uint64_t kind = below(10);
        if (kind == 0) {
            // Usually larger, so that the size alone does not reveal the replacement.
            const auto count = std::max<qint64>(file_.lineCount() + static_cast<qint64>(below(200)) - 50, 0);
            did("replaced the file by one of ", count, " lines");
            file_.replace(count);
        } else if (kind < 3) {
            const auto most = static_cast<std::uint64_t>(file_.lineCount());
            const auto kept = static_cast<qint64>(below(2) == 0 ? 0 : below(most + 1));
            did("cut the file to ", kept, " lines");
            file_.cut(kept);
        } else if (kind < 5) {
            did("began a line");
            file_.beginLine();
        } else {
            const auto count = static_cast<qint64>(below(kind < 9 ? 50 : 7000)) + 1;
            did("appended ", count, " lines");
            file_.append(count);
        }
    }

    void search() {
        searchStop_.request_stop();
        foundRow();
        if (file_.lineCount() == 0)
            return;
        // Searches for the line's beginning, up to the first space.
        const auto line = static_cast<qint64>(below(static_cast<std::uint64_t>(file_.lineCount())));
        searched_ = file_.line(line).section(u' ', 0, 0);
        did("searched for ", searched_);
        searchStop_ = std::stop_source();
        search_ =
            std::async(std::launch::async, [source = rows(), last = rows()->numberOfRows() - 1,
                                            item = SearchItem(searched_), stop = searchStop_.get_token()] {
                return source->findNextMatch(0, last, item, [&stop] { return stop.stop_requested(); }).match;
            });
    }

    void connectAgain() {
        document_->checkFile([](FileFault) {});
        if (state() != ConnectionState::Lost && state() != ConnectionState::Unconnected)
            return;
        did("connected again");
        ++totals_["reconnections"];
        document_->reconnect();
    }

    void passTime(milliseconds time) {
        const auto end = Clock::now() + time;
        do {
            MainThread::shared().runPending();
            check();
            std::this_thread::sleep_for(2ms);
        } while (Clock::now() < end);
    }

    /// Waits for the last row to load, even through a stall of the link.
    void sitOut() {
        if (!isPatient_ || rows()->numberOfRows() == 0)
            return;
        did("sat out what the link did");
        const auto end = Clock::now() + stall_ + 2s;
        const qint64 row = rows()->numberOfRows() - 1;
        while (state() == ConnectionState::Connected && rows()->numberOfRows() > row &&
               !rows()->rowLine(row).isLoaded && Clock::now() < end)
            passTime(5ms);
    }

    /// Makes the link good and leaves the file unchanged: all rows must become those of the file.
    void rest() {
        did("the link became good");
        proxy_.calm();
        searchStop_.request_stop();
        foundRow();
        const auto end = Clock::now() + limit;
        auto missingSince = Clock::now();
        bool isMissing = false;
        while (const auto wrong = difference(isMissing)) {
            if (Clock::now() > end)
                throw Fault("at rest: ", *wrong);
            goOnAtRest();
            // A page that could not be loaded is not requested again until the user wants it.
            if (!isMissing || document_->isLoading()) {
                missingSince = Clock::now();
            } else if (Clock::now() - missingSince > patience) {
                did("read again");
                ++totals_["read again"];
                document_->reload();
                missingSince = Clock::now();
            }
            passTime(5ms);
        }
        compareAll();
        // The user has been notified of each loss.
        waitUntil([this] { return alerts_.alerts.size() >= losses_; }, "a loss is not told");
    }

    void compareAll() {
        const qint64 count = file_.lineCount();
        for (qint64 row = 0; row < count; ++row) {
            const auto cached = rows()->cachedRowLine(row);
            if (cached && cached->isLoaded && cached->line.string() != file_.line(row))
                throw Fault("at rest row ", row, " is ", cached->line.string(), ", not ", file_.line(row));
        }
        totals_["rows compared"] += count;
        if (count == 0)
            return;
        search();
        qint64 expected = 0;
        while (!file_.line(expected).contains(searched_))
            ++expected;
        if (const qint64 found = foundRow(); found != expected)
            throw Fault("at rest a search for ", searched_, " found row ", found, ", not ", expected);
    }

    void goOnAtRest() {
        connectAgain();
        if (state() == ConnectionState::Connected && !document_->isLoading() && !isFollowed())
            document_->startTailingWhenLoaded();
    }

    void close() {
        did("closed");
        document_->close();
        searchStop_.request_stop();
        foundRow();
        waitUntil([] { return OperationQueue::waitForAllWorkers(0ms); },
                  "background work goes on after the file was closed");
        checkAlerts();
        subscription_ = {};
        const std::weak_ptr<RemoteDocument> closed = std::exchange(document_, nullptr);
        waitUntil([&] { return closed.expired(); }, "the document does not go away");
    }

    /// Waits for the end of the search, if one is running; returns the row found, or -1.
    qint64 foundRow() {
        if (!search_.valid())
            return -1;
        waitUntil([this] { return search_.wait_for(0s) == std::future_status::ready; },
                  "a search does not end");
        ++totals_["searches"];
        const auto match = search_.get();
        if (match && !file_.hasHadPart(match->row, searched_))
            throw Fault("a search for ", searched_, " found row ", match->row);
        return match ? match->row : -1;
    }

    ConnectionState state() const { return document_->connectionState(); }
    bool isFollowed() const {
        return document_->logFileObserver() && document_->logFileObserver()->isTailing();
    }

    std::shared_ptr<TailDataSourceProtocol> rows() const { return document_->dataSource(); }

    void check() {
        checkAlerts();
        const qint64 count = document_->isClosed() ? 0 : rows()->numberOfRows();
        for (int sample = 0; sample < 20 && count > 0; ++sample)
            checkCachedRow(static_cast<qint64>(samples_() % static_cast<std::uint64_t>(count)));
    }

    /// At most one alert per connection: it could not be made, or it was lost.
    void checkAlerts() const {
        const int connections = proxy_.counts()[FaultProxy::Connected];
        if (alerts_.alerts.size() > static_cast<std::size_t>(connections))
            throw Fault("more alerts than connections, of which there were ", connections, ": ",
                        alerts_.texts().join(u'\n'));
    }

    void checkCachedRow(qint64 row) const {
        const auto cached = rows()->cachedRowLine(row);
        // Rows of lines that no longer exist are empty.
        if (!cached || !cached->isLoaded || cached->line.string().isEmpty())
            return;
        if (!file_.hasHad(row, cached->line.string()))
            throw Fault("row ", row, " is ", cached->line.string(), ", which has never stood there");
    }

    /// The first difference between rows and file; `isMissing`: whether the row is only not loaded yet.
    std::optional<std::string> difference(bool& isMissing) {
        isMissing = false;
        const qint64 count = file_.lineCount();
        if (state() != ConnectionState::Connected)
            return "there is no connection";
        if (rows()->numberOfRows() != count)
            return joined(rows()->numberOfRows(), " rows for ", count, " lines");
        std::vector<qint64> places;
        for (qint64 first = 0; first < count; first += pages::size) {
            const qint64 last = std::min<qint64>(first + pages::size, count) - 1;
            places.insert(places.end(), {first, std::midpoint(first, last), last});
        }
        // Requests all first.
        for (const qint64 row : places)
            rows()->rowLine(row);
        for (const qint64 row : places) {
            const RowLine shown = rows()->rowLine(row);
            isMissing = !shown.isLoaded || shown.line.string().isEmpty();
            if (isMissing)
                return joined("row ", row, " is missing");
            if (shown.line.string() != file_.line(row))
                return joined("row ", row, " is ", shown.line.string(), ", not ", file_.line(row));
        }
        return std::nullopt;
    }

    static void waitUntil(const std::function<bool()>& condition, const char* fault) {
        if (!test::waitFor(condition, connectingLimit + limit))
            throw Fault(fault);
    }

    /// A separate generator, because the number of samples depends on the machine's speed.
    std::mt19937_64 samples_{seed_};
    const milliseconds stall_;
    const QString path_;
    ServedFile file_;
    FaultProxy proxy_;
    const std::shared_ptr<RemoteHost> host_;
    bool isPatient_ = false;
    test::RecordedAlerts alerts_;
    std::shared_ptr<RemoteDocument> document_;
    Subscription subscription_;
    ConnectionState lastState_ = ConnectionState::Unconnected;
    std::size_t losses_ = 0;
    QString searched_;
    std::stop_source searchStop_;
    std::future<std::optional<SearchMatch>> search_;
};
/// Resident memory of this process.
long usedKilobytes() {
    std::ifstream status("/proc/self/status");
    std::string word;
    long kilobytes = 0;
    while (status >> word && word != "VmRSS:") {
    }

    status >> kilobytes;
    return kilobytes;
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

int fails(const std::string& what) {
    std::printf("FAILED: %s\n", what.c_str());
    return EXIT_FAILURE;
}

int run(const Numbers& numbers) {
    const QTemporaryDir settings;
    Preferences::setShared(std::make_unique<Preferences>(
        std::make_unique<UserDefaults>(settings.filePath(QStringLiteral("s.conf")))));
    Preferences::shared().registerDefaults(test::FakeFontCatalog());
    Preferences::shared().setPollingInterval(Preferences::shortestPollingInterval);
    const test::SshServer server;
    const auto isQuiet = [&] { return server.connectionProcesses().empty(); };
    const auto rounds = static_cast<int>(numbers.at("--rounds"));

    std::ptrdiff_t descriptors = 0;
    constexpr int warmRounds = 10;
    long warmKilobytes = 0;
    Totals totals;
    for (int i = 0; i < rounds; ++i) {
        // Only after the first round have the libraries opened all that they keep open.
        if (i == 1 && test::waitFor(isQuiet, limit))
            descriptors = openDescriptors();
        RemoteRound round(server, numbers.at("--seed") + static_cast<std::uint64_t>(i),
                          milliseconds(numbers.at("--stall")), totals);
        if (!round.run())
            std::_Exit(EXIT_FAILURE); // a hanging thread would block a normal exit
        if (i + 1 == warmRounds)
            warmKilobytes = usedKilobytes();
        if (measuresGrowth && (i + 1) % 50 == 0 && usedKilobytes() - warmKilobytes > mostGrowthKilobytes)
            return fails(joined(usedKilobytes(), " KB are used after ", i + 1, " rounds, and were ",
                                warmKilobytes, " KB after ", warmRounds));
    }

    if (!test::waitFor([&] { return isQuiet() && openDescriptors() == descriptors; }, limit))
        return fails(joined(server.connectionProcesses().size(), " processes of the server and ",
                            openDescriptors(), " of ", descriptors, " descriptors are left"));
    if (totals["stalls"] + totals["resets"] + totals["ends"] + totals["silences"] < rounds / 5)
        return fails("the link was too good to show anything");
    print(totals);
    std::printf("%ld KB used at the end, %ld KB after %d rounds\n", usedKilobytes(), warmKilobytes,
                warmRounds);
    return EXIT_SUCCESS;
}

} // namespace
} // namespace korvane::soak

int main(int argc, char** argv) {
    const auto numbers =
        korvane::soak::given({{"--rounds", 200}, {"--seed", 1}, {"--stall", 20'000}}, argc, argv);
    QCoreApplication application(argc, argv);
    // Done before other threads start: the sanitizer does not see the lock of Qt's logging.
    static_cast<void>(qFormatLogMessage(QtInfoMsg, QMessageLogContext(), QString()));
    int ownArguments = 1;
    ::testing::InitGoogleTest(&ownArguments, argv);
    return korvane::soak::run(numbers);
}
