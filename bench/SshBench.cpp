#include "SshBench.h"

#include "foundation/work/OperationQueue.h"
#include "remote/ssh/NMSSHSession.h"

#include <QFile>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>
#include <vector>

namespace korvane::bench {

int ssh(std::uint16_t port, const char* user, const char* privateKey, const char* command, int count) {
    NMSSHSession session(QStringLiteral("127.0.0.1"), port, QString::fromUtf8(user), {});
    const QString key = QFile::decodeName(privateKey);
    if (!session.connect() ||
        !session.authenticateByPublicKey(key + QStringLiteral(".pub"), key, std::nullopt)) {
        std::fprintf(stderr, "%s\n", qPrintable(session.lastError().userText));
        return EXIT_FAILURE;
    }
    std::atomic<qint64> bytes{0};
    std::atomic<bool> isComplete{true};
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::thread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int index = 0; index < count; ++index) {
        threads.emplace_back([&] {
            const auto takeBytes = [&bytes](QByteArrayView output) {
                bytes += output.size();
                return true;
            };
            if (!session.execute(command, CommandUse::Reading, takeBytes))
                isComplete = false;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    session.disconnect();
    const bool hasEnded = OperationQueue::waitForAllWorkers(std::chrono::seconds(10));
    std::printf("%.6f %lld\n", took.count(), static_cast<long long>(bytes));
    return isComplete && hasEnded ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace korvane::bench
