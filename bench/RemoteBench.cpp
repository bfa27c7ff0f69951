#include "core/NotificationNames.h"
#include "core/Preferences.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/Pages.h"
#include "documents/PageMemory.h"
#include "foundation/notices/Alerts.h"
#include "foundation/notices/NotificationCenter.h"
#include "remote/Client.h"
#include "remote/RemoteDocument.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/ssh/SessionSettings.h"
#include "support/PreferencesTest.h"
#include "support/SshServer.h"
#include "support/Waiting.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <vector>

namespace korvane::bench {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class PrintedAlerts : public AlertPresenter {
    void present(const Alert& alert, const void*, std::function<void(int)>) override {
        std::fprintf(stderr, "%s %s\n", qUtf8Printable(alert.message), qUtf8Printable(alert.informativeText));
    }
};

double millisecondsSince(Clock::time_point start) {
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

/// The reference: the page by `ssh` over one connection that stays.
class SharedConnection {
public:
    SharedConnection(const test::SshServer& server, const QString& key)
        : arguments_(" -q -F none -i '" + key.toUtf8() +
                     "' -o StrictHostKeyChecking=no -o UserKnownHostsFile=/dev/null -o BatchMode=yes"
                     " -o ControlPath='" +
                     server.path(QStringLiteral("control")).toUtf8() + "' -p " +
                     QByteArray::number(server.port()) + ' ' + server.user().toUtf8() + "@127.0.0.1"),
          isThere_(ssh("-M -f -N")) {}
    ~SharedConnection() {
        if (!ssh("-O exit"))
            std::fprintf(stderr, "the shared connection has gone by itself\n");
    }

    bool isThere() const { return isThere_; }
    /// The number of lines that come.
    qint64 run(const QByteArray& remoteCommand) const {
        std::FILE* pipe = ::popen(("exec ssh" + arguments_ + " '" + remoteCommand + '\'').constData(), "r");
        std::vector<char> block(1 << 16);
        qint64 lines = 0;
        while (const std::size_t count = std::fread(block.data(), 1, block.size(), pipe))
            lines += std::count(block.data(), block.data() + count, '\n');
        ::pclose(pipe);
        return lines;
    }

private:
    bool ssh(const QByteArray& options) const {
        return std::system(("exec ssh " + options + arguments_ + " >&2").constData()) == 0;
    }

    const QByteArray arguments_;
    const bool isThere_;
};

/// Loads pages of the file by turns. Prints "milliseconds milliseconds pages" (medians).
int run(const QString& given) {
    const QTemporaryDir settings;
    Preferences::setShared(std::make_unique<Preferences>(
        std::make_unique<UserDefaults>(settings.filePath(QStringLiteral("s.conf")))));
    Preferences::shared().registerDefaults(test::FakeFontCatalog());
    Preferences::shared().setStartTailingOnFileOpen(false);
    PrintedAlerts alerts;
    test::SshServer server;
    // Where the server's user gets at it.
    const QString path = server.path(QStringLiteral("page.log"));
    if (!QFile::copy(given, path) ||
        !QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther))
        return EXIT_FAILURE;
    const QString key = server.makeKey(QStringLiteral("id"));
    const auto host = std::make_shared<RemoteHost>(QStringLiteral("127.0.0.1"), server.port(), server.user());
    const auto login = std::make_shared<PublicKeyAuthnType>();
    login->privateKeyFilePath = key;
    login->publicKeyFilePath = key + QStringLiteral(".pub");
    host->setAuthnType(login);
    const auto document =
        RemoteDocument::create(host, alerts, [&alerts](const std::shared_ptr<RemoteHost>& configured) {
            return Client::create(configured, alerts, SessionSettings{});
        });
    if (!document->readFromUrl(RemoteUrl(*host, path).url()))
        return EXIT_FAILURE;
    const auto rows = document->dataSource();
    document->startLoading();
    const SharedConnection reference(server, key);
    if (!reference.isThere() || !test::waitFor([&] { return rows->numberOfRows() > 0; }, 60s))
        return EXIT_FAILURE;

    int arrived = 0;
    const auto token = NotificationCenter::shared().observe(notification::dataSourceLoadedLines,
                                                            [&arrived](const Notification&) { ++arrived; });
    std::vector<double> ours;
    std::vector<double> theirs;
    const qint64 pageCount = rows->numberOfRows() / pages::size;
    for (qint64 page = 1; page <= pageCount; ++page) {
        const auto runOurs = [&] {
            const auto start = Clock::now();
            arrived = 0;
            rows->rowLine(pages::firstLine(page));
            // Woken by what arrives, as the event loop is.
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
            const qint64 lines =
                reference.run("tail -n+" + QByteArray::number(pages::firstLine(page) + 1) + " \"" +
                              path.toUtf8() + "\" | head -n " + QByteArray::number(pages::size));
            theirs.push_back(millisecondsSince(start));
            return lines == pages::size;
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
    korvane::PageMemory::useOneHeap();
    const QCoreApplication application(argc, argv);
    if (argc == 2)
        return korvane::bench::run(QString::fromLocal8Bit(argv[1]));
    std::fprintf(stderr, "usage: korvane_bench_remote FILE\n");
    return 2;
}
