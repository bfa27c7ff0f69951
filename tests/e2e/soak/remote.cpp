/// Opens, pages, follows, searches and closes a file on a server behind a link on which everything goes wrong
/// that goes wrong on links, and compares the rows with the file. Each round has a seed of its own.
///
/// korvane_soak_remote [--rounds N] [--seed N] [--stall MILLISECONDS]

#include "e2e/soak/ServedFile.h"

#include "core/FileObserverProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "core/search/SearchItem.h"
#include "documents/LoadProgressController.h"
#include "remote/Client.h"
#include "remote/RemoteDocument.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "support/FaultProxy.h"
#include "support/PreferencesTest.h"
#include "support/RecordedAlerts.h"
#include "support/SshServer.h"
#include "support/Waiting.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string_view>

namespace korvane::soak {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Far beyond what the sessions' own limits allow, on a loaded machine and under a sanitizer.
constexpr auto limit = 90s;
constexpr auto connectingLimit = 5s;
constexpr auto unansweredLimit = 2s;
/// So long rows may be missing at a good link before the user has the file read again.
constexpr auto patience = 2s;
constexpr qint64 visibleRows = 40;
/// What 40 rounds may leave behind: caches of the library and the allocator, and no rows.
constexpr long mostGrowthKilobytes = 48 * 1024;

struct Fault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct Totals {
    int rounds = 0;
    int closedAtOnce = 0;
    long steps = 0;
    long long rows = 0;
    long searches = 0;
    long losses = 0;
    long reconnections = 0;
    long readAgain = 0;
    test::FaultProxy::Counts faults;
};

/// A search on a thread of its own, as the program's are.
class Search {
public:
    Search(std::shared_ptr<TailDataSourceProtocol> source, const QString& text) : text_(text) {
        const qint64 last = source->numberOfRows() - 1;
        thread_ = std::thread([this, source = std::move(source), last] {
            match_ = source->findNextMatch(0, last, SearchItem(text_), [this] { return isCancelled_.load(); })
                         .match;
            isDone_ = true;
        });
    }
    ~Search() {
        cancel();
        thread_.join();
    }
    Search(const Search&) = delete;
    Search& operator=(const Search&) = delete;

    void cancel() { isCancelled_ = true; }
    bool isDone() const { return isDone_; }
    const QString& text() const { return text_; }
    /// Once done.
    const std::optional<SearchMatch>& match() const { return match_; }

private:
    const QString text_;
    std::optional<SearchMatch> match_;
    std::atomic<bool> isCancelled_{false};
    std::atomic<bool> isDone_{false};
    std::thread thread_;
};

/// One file behind one bad link, from its opening to its closing.
class Round {
public:
    Round(const test::SshServer& server, const QString& key, std::uint64_t seed, milliseconds stall,
          Totals& totals)
        : totals_(totals), seed_(seed), random_(seed), stall_(stall),
          path_(server.path(QStringLiteral("a b.log"))), file_(path_, seed),
          proxy_(server.port(), seed, {200ms, 50 * 1024, stall}), user_(server.user()), key_(key) {}

    /// False after a fault, which it has told.
    bool run();

private:
    std::uint64_t below(std::uint64_t count) { return random_() % count; }
    void did(const std::string& step) { history_.push_back(step); }

    void open();
    void runStep();
    void look();
    void write();
    void search();
    void connectAgain();
    void passTime(milliseconds time);
    void sitOut();
    void endSearch();
    void rest();
    void goOnAtRest();
    void close();

    bool isLoading() const;
    ConnectionState state() const { return document_->connectionState(); }
    bool isFollowed() const {
        return document_->logFileObserver() && document_->logFileObserver()->isTailing();
    }
    std::shared_ptr<TailDataSourceProtocol> rows() const { return document_->dataSource(); }

    void check();
    void checkAlerts() const;
    void checkCachedRow(qint64 row) const;
    /// What is not shown as it is in the file; `isMissing` when it is only not there yet.
    std::optional<std::string> difference(bool& isMissing);
    void waitUntil(const std::function<bool()>& condition, milliseconds longest, const std::string& what);
    void tell(const std::string& what) const;

    Totals& totals_;
    const std::uint64_t seed_;
    std::mt19937_64 random_;
    /// Of its own: how often rows are looked at depends on the machine.
    std::mt19937_64 samples_{seed_};
    const milliseconds stall_;
    const QString path_;
    ServedFile file_;
    test::FaultProxy proxy_;
    const QString user_;
    const QString key_;
    bool isPatient_ = false;
    test::RecordedAlerts alerts_;
    std::shared_ptr<RemoteDocument> document_;
    Subscription subscription_;
    ConnectionState lastState_ = ConnectionState::Unconnected;
    std::size_t losses_ = 0;
    std::unique_ptr<Search> search_;
    std::vector<std::string> history_;
};

bool Round::run() {
    try {
        open();
        const bool closesAtOnce = below(3) == 0;
        for (auto steps = 3 + below(10); steps > 0; --steps) {
            runStep();
            ++totals_.steps;
        }
        if (closesAtOnce) {
            ++totals_.closedAtOnce;
        } else {
            sitOut();
            rest();
        }
        close();
    } catch (const Fault& fault) {
        tell(fault.what());
        return false;
    }
    ++totals_.rounds;
    totals_.losses += static_cast<long>(losses_);
    const auto counts = proxy_.counts();
    totals_.faults.connections += counts.connections;
    totals_.faults.delayed += counts.delayed;
    totals_.faults.slow += counts.slow;
    totals_.faults.stalls += counts.stalls;
    totals_.faults.resets += counts.resets;
    totals_.faults.ends += counts.ends;
    totals_.faults.silences += counts.silences;
    return !::testing::UnitTest::GetInstance()->Failed();
}

void Round::open() {
    constexpr qint64 counts[] = {0, 3, 4999, 5000, 5001, 12'345};
    file_.append(below(2) == 0 ? counts[below(std::size(counts))] : static_cast<qint64>(below(16'000)));
    isPatient_ = below(20) == 0;
    const bool follows = below(2) == 0;
    Preferences::shared().setStartTailingOnFileOpen(follows);
    did("opened a file of " + std::to_string(file_.lineCount()) + " lines" + (follows ? ", followed" : "") +
        (isPatient_ ? ", patiently" : ""));

    const auto host =
        std::make_shared<RemoteHost>(QString::fromLatin1(test::SshServer::host), proxy_.port(), user_);
    const auto login = std::make_shared<PublicKeyAuthnType>();
    login->privateKeyFilePath = key_;
    login->publicKeyFilePath = key_ + QStringLiteral(".pub");
    host->setAuthnType(login);
    SessionSettings settings;
    settings.connectingLimit = connectingLimit;
    settings.keepAliveInterval = 500ms;
    settings.unansweredLimit = isPatient_ ? stall_ + 30s : milliseconds(unansweredLimit);
    document_ = RemoteDocument::create(host, [&](const std::shared_ptr<RemoteHost>& configured) {
        return Client::create(configured, alerts_, settings);
    });
    subscription_ = document_->notices().connectionStateChanged.subscribe([this] {
        if (std::exchange(lastState_, state()) == ConnectionState::Connected &&
            state() == ConnectionState::Lost)
            ++losses_;
    });
    if (!document_->readFromUrl(RemoteUrl(*host, path_).url()))
        throw Fault("the address is not taken");
    document_->startLoading();
    document_->windowMade();
    // Now and then everything happens while the login is under way.
    if (below(4) != 0)
        waitUntil([this] { return !isLoading(); }, connectingLimit + limit, "the opening does not end");
}

bool Round::isLoading() const {
    const auto state = document_->loadProgress()->state();
    return state == LoadProgressController::State::Waiting || state == LoadProgressController::State::Loading;
}

void Round::runStep() {
    switch (below(10)) {
    case 0:
    case 1:
    case 2:
        look();
        break;
    case 3:
    case 4:
    case 5:
        write();
        break;
    case 6:
        search();
        break;
    case 7:
        connectAgain();
        break;
    case 8:
        did("asked for the file's information");
        document_->askFileInformation([](const auto&) {});
        break;
    default:
        did("a moment passed");
        passTime(milliseconds(below(1000)));
        break;
    }
    passTime(milliseconds(below(200)));
}

/// As a window does that shows these rows.
void Round::look() {
    const auto count = static_cast<std::uint64_t>(rows()->numberOfRows());
    if (count == 0) {
        did("nothing to look at");
        return;
    }
    const auto first = static_cast<qint64>(below(count));
    const qint64 last = std::min(first + visibleRows, static_cast<qint64>(count)) - 1;
    did("looked at row " + std::to_string(first) + " of " + std::to_string(count));
    rows()->dropRequestsOutside(first, last);
    const bool waits = below(2) == 0;
    const auto end = Clock::now() + milliseconds(waits ? 1500 : 0);
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

void Round::write() {
    if (!isFollowed()) {
        did("followed");
        document_->startTailingWhenLoaded();
        return;
    }
    const std::uint64_t kind = below(10);
    if (kind == 0) {
        // Larger as a rule, so that the size alone tells nothing.
        const auto count = file_.lineCount() + static_cast<qint64>(below(200)) - 50;
        did("replaced the file by one of " + std::to_string(count) + " lines");
        file_.replace(std::max<qint64>(count, 0));
    } else if (kind < 3) {
        const auto kept =
            below(2) == 0 ? 0 : static_cast<qint64>(below(static_cast<std::uint64_t>(file_.lineCount()) + 1));
        did("cut the file to " + std::to_string(kept) + " lines");
        file_.cut(kept);
    } else if (kind < 5) {
        did("began a line");
        file_.beginLine();
    } else {
        const auto count = static_cast<qint64>(below(kind < 9 ? 50 : 7000)) + 1;
        did("appended " + std::to_string(count) + " lines");
        file_.append(count);
    }
}

void Round::search() {
    endSearch();
    if (file_.lineCount() == 0)
        return;
    // Up to the text behind the number.
    const QString text = file_.line(static_cast<qint64>(below(static_cast<std::uint64_t>(file_.lineCount()))))
                             .section(u' ', 0, 0);
    did("searched for " + text.toStdString());
    search_ = std::make_unique<Search>(rows(), text);
}

void Round::endSearch() {
    if (!search_)
        return;
    search_->cancel();
    waitUntil([this] { return search_->isDone(); }, limit, "a search does not end");
    if (const auto& match = search_->match(); match && !file_.hasHadPart(match->row, search_->text()))
        throw Fault("a search for " + search_->text().toStdString() + " found row " +
                    std::to_string(match->row));
    search_.reset();
    ++totals_.searches;
}

void Round::connectAgain() {
    document_->checkFile([](FileFault) {});
    if (state() != ConnectionState::Lost && state() != ConnectionState::Unconnected)
        return;
    did("connected again");
    ++totals_.reconnections;
    document_->reconnect();
}

void Round::passTime(milliseconds time) {
    const auto end = Clock::now() + time;
    do {
        MainThread::shared().runPending();
        check();
        std::this_thread::sleep_for(2ms);
    } while (Clock::now() < end);
}

/// Waits for what is looked at, however long the link holds it.
void Round::sitOut() {
    if (!isPatient_ || rows()->numberOfRows() == 0)
        return;
    did("sat out what the link did");
    const auto end = Clock::now() + stall_ + 2s;
    const qint64 row = rows()->numberOfRows() - 1;
    while (state() == ConnectionState::Connected && rows()->numberOfRows() > row &&
           !rows()->rowLine(row).isLoaded && Clock::now() < end)
        passTime(5ms);
}

/// The link is good from now on, and nothing happens to the file: it must be shown as it is.
void Round::rest() {
    did("the link became good");
    proxy_.calm();
    endSearch();
    const auto end = Clock::now() + limit;
    auto missingSince = Clock::now();
    bool isMissing = false;
    while (const auto wrong = difference(isMissing)) {
        if (Clock::now() > end)
            throw Fault("at rest: " + *wrong);
        goOnAtRest();
        // A page that could not be loaded is not tried again before the user wants it so.
        if (!isMissing || isLoading()) {
            missingSince = Clock::now();
        } else if (Clock::now() - missingSince > patience) {
            did("read again");
            ++totals_.readAgain;
            document_->reload();
            missingSince = Clock::now();
        }
        passTime(5ms);
    }
    const qint64 count = file_.lineCount();
    for (qint64 row = 0; row < count; ++row) {
        const auto cached = rows()->cachedRowLine(row);
        if (cached && cached->isLoaded && cached->line.string() != file_.line(row))
            throw Fault("at rest row " + std::to_string(row) + " is " + cached->line.string().toStdString() +
                        " instead of " + file_.line(row).toStdString());
    }
    totals_.rows += count;

    if (count == 0)
        return;
    search();
    waitUntil([this] { return search_->isDone(); }, limit, "a search does not end");
    qint64 expected = 0;
    while (!file_.line(expected).contains(search_->text()))
        ++expected;
    if (!search_->match() || search_->match()->row != expected)
        throw Fault("at rest a search for " + search_->text().toStdString() + " found row " +
                    std::to_string(search_->match() ? search_->match()->row : -1) + " instead of " +
                    std::to_string(expected));
    endSearch();
    // Whoever has lost a connection has been told.
    waitUntil([this] { return alerts_.alerts.size() >= losses_; }, limit, "a loss is not told");
}

void Round::goOnAtRest() {
    document_->checkFile([](FileFault) {});
    if (state() == ConnectionState::Lost || state() == ConnectionState::Unconnected)
        connectAgain();
    else if (state() == ConnectionState::Connected && !isLoading() && !isFollowed())
        document_->startTailingWhenLoaded();
}

void Round::close() {
    did("closed");
    document_->close();
    endSearch();
    waitUntil([] { return OperationQueue::waitForAllWorkers(0ms); }, limit,
              "background work goes on after the file was closed");
    checkAlerts();
    subscription_ = {};
    const std::weak_ptr<RemoteDocument> closed = std::exchange(document_, nullptr);
    waitUntil([&] { return closed.expired(); }, limit, "the document does not go away");
}

void Round::check() {
    checkAlerts();
    const qint64 count = document_->isClosed() ? 0 : rows()->numberOfRows();
    for (int sample = 0; sample < 20 && count > 0; ++sample)
        checkCachedRow(static_cast<qint64>(samples_() % static_cast<std::uint64_t>(count)));
}

/// One alert a connection: it could not be made, or it was lost.
void Round::checkAlerts() const {
    if (alerts_.alerts.size() <= static_cast<std::size_t>(proxy_.counts().connections))
        return;
    std::string all;
    for (const auto& alert : alerts_.alerts)
        all += "\n     " + alert.message.toStdString();
    throw Fault("more alerts than connections, of which there were " +
                std::to_string(proxy_.counts().connections) + ':' + all);
}

void Round::checkCachedRow(qint64 row) const {
    const auto cached = rows()->cachedRowLine(row);
    // Those of lines that are gone by now are empty.
    if (!cached || !cached->isLoaded || cached->line.string().isEmpty())
        return;
    if (!file_.hasHad(row, cached->line.string()))
        throw Fault("row " + std::to_string(row) + " is " + cached->line.string().toStdString() +
                    ", which has never stood there");
}

std::optional<std::string> Round::difference(bool& isMissing) {
    isMissing = false;
    const qint64 count = file_.lineCount();
    if (state() != ConnectionState::Connected)
        return "there is no connection";
    if (rows()->numberOfRows() != count)
        return std::to_string(rows()->numberOfRows()) + " rows for " + std::to_string(count) + " lines";
    std::vector<qint64> places;
    for (qint64 first = 0; first < count; first += pages::size) {
        const qint64 last = std::min<qint64>(first + pages::size, count) - 1;
        places.insert(places.end(), {first, (first + last) / 2, last});
    }
    // First all are asked for.
    for (const qint64 row : places)
        rows()->rowLine(row);
    for (const qint64 row : places) {
        const RowLine shown = rows()->rowLine(row);
        isMissing = !shown.isLoaded || shown.line.string().isEmpty();
        if (isMissing)
            return "row " + std::to_string(row) + " is missing";
        if (shown.line.string() != file_.line(row))
            return "row " + std::to_string(row) + " is " + shown.line.string().toStdString() +
                   " instead of " + file_.line(row).toStdString();
    }
    return std::nullopt;
}

void Round::waitUntil(const std::function<bool()>& condition, milliseconds longest, const std::string& what) {
    if (!test::waitFor(condition, longest))
        throw Fault(what);
}

void Round::tell(const std::string& what) const {
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed_));
    for (std::size_t i = 0; i < history_.size(); ++i)
        std::printf("%3zu  %s\n", i, history_[i].c_str());
    std::printf("FAILED: %s\n", what.c_str());
    std::fflush(stdout);
}

/// Of this process, resident.
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

struct Options {
    int rounds = 200;
    std::uint64_t seed = 1;
    milliseconds stall = 20s;
};

std::optional<Options> parsed(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; i += 2) {
        if (i + 1 == argc)
            return std::nullopt;
        const std::string_view name = argv[i];
        if (name == "--rounds")
            options.rounds = std::atoi(argv[i + 1]);
        else if (name == "--seed")
            options.seed = std::strtoull(argv[i + 1], nullptr, 10);
        else if (name == "--stall")
            options.stall = milliseconds(std::atol(argv[i + 1]));
        else
            return std::nullopt;
    }
    return options.rounds > 0 && options.stall > 0ms ? std::optional(options) : std::nullopt;
}

int run(const Options& options) {
    const QTemporaryDir settings;
    Preferences::setShared(std::make_unique<Preferences>(
        std::make_unique<UserDefaults>(settings.filePath(QStringLiteral("s.conf")))));
    Preferences::shared().registerDefaults(test::FakeFontCatalog());
    Preferences::shared().setPollingInterval(Preferences::shortestPollingInterval);
    const test::SshServer server;
    const QString key = server.makeKey(QStringLiteral("id"));

    std::ptrdiff_t descriptors = 0;
    constexpr int warmRounds = 10;
    long warmKilobytes = 0;
    Totals totals;
    for (int i = 0; i < options.rounds; ++i) {
        // Before, the libraries may not have opened what they keep.
        if (i == 1 && test::waitFor([&] { return server.connectionProcesses().empty(); }, limit))
            descriptors = openDescriptors();
        Round round(server, key, options.seed + static_cast<std::uint64_t>(i), options.stall, totals);
        if (!round.run()) {
            std::fflush(stdout);
            std::_Exit(EXIT_FAILURE); // what hangs would hold up the end
        }
        if (totals.rounds == warmRounds)
            warmKilobytes = usedKilobytes();
        if (totals.rounds % 50 == 0 && usedKilobytes() - warmKilobytes > mostGrowthKilobytes) {
            std::printf("FAILED: %ld KB are used after %d rounds, and were %ld KB after %d\n",
                        usedKilobytes(), totals.rounds, warmKilobytes, warmRounds);
            return EXIT_FAILURE;
        }
    }
    const auto& faults = totals.faults;
    if (!test::waitFor(
            [&] { return server.connectionProcesses().empty() && openDescriptors() == descriptors; },
            limit)) {
        std::printf("FAILED: %zu processes of the server and %td of %td descriptors are left\n",
                    server.connectionProcesses().size(), openDescriptors(), descriptors);
        return EXIT_FAILURE;
    }
    if (faults.stalls + faults.resets + faults.ends + faults.silences < options.rounds / 5) {
        std::printf("FAILED: the link was too good to show anything\n");
        return EXIT_FAILURE;
    }
    std::printf("%d rounds, %d closed at once, %ld steps, %lld rows compared at rest, %ld searches\n"
                "%d connections: %d delayed, %d slow, %d stalls, %d resets, %d ends, %d silences; %ld losses "
                "seen, %ld times "
                "connected again, %ld times read again\n"
                "%ld KB used at the end, %ld KB after %d rounds\n",
                totals.rounds, totals.closedAtOnce, totals.steps, totals.rows, totals.searches,
                totals.faults.connections, totals.faults.delayed, totals.faults.slow, totals.faults.stalls,
                totals.faults.resets, totals.faults.ends, totals.faults.silences, totals.losses,
                totals.reconnections, totals.readAgain, usedKilobytes(), warmKilobytes, warmRounds);
    return EXIT_SUCCESS;
}

} // namespace
} // namespace korvane::soak

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    // Before there are threads: the sanitizer does not see the lock of the toolkit's log.
    static_cast<void>(qFormatLogMessage(QtInfoMsg, QMessageLogContext(), QString()));
    int ownArguments = 1;
    ::testing::InitGoogleTest(&ownArguments, argv);
    const auto options = korvane::soak::parsed(argc, argv);
    if (!options) {
        std::fprintf(stderr, "usage: korvane_soak_remote [--rounds N] [--seed N] [--stall MILLISECONDS]\n");
        return 2;
    }
    return korvane::soak::run(*options);
}
