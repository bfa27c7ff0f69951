#pragma once

#include "foundation/work/OperationQueue.h"
#include "remote/Client.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "support/RecordedAlerts.h"
#include "support/SshServer.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>
#include <optional>
#include <ostream>
#include <thread>

/// Failures show texts as texts.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << text.toStdString();
}

namespace korvane::test {

/// Runs the work on a thread of its own, and the main thread's tasks meanwhile; nothing when it does not end.
template <typename Work>
auto beside(const Work& work, std::chrono::seconds limit = std::chrono::seconds(60))
    -> std::optional<decltype(work())> {
    std::optional<decltype(work())> result;
    std::atomic<bool> isDone{false};
    std::thread worker([&] {
        result.emplace(work());
        isDone = true;
    });
    EXPECT_TRUE(waitFor([&] { return isDone.load(); }, limit));
    worker.join();
    return result;
}

/// What is left of `Client::connect` in a table: the error's text, or both flags.
inline QString outcome(const Result<Client::Connection>& result) {
    if (!result)
        return QStringLiteral("error: ") + result.error().userText;
    return QStringLiteral("%1, %2").arg(
        result.value().isAuthorised ? QStringLiteral("authorised") : QStringLiteral("not authorised"),
        result.value().homePathExists ? QStringLiteral("home") : QStringLiteral("no home"));
}

/// Clients of servers that the test starts. No thread of theirs outlives the test.
class SshTest : public ::testing::Test {
protected:
    ~SshTest() override {
        EXPECT_TRUE(waitFor([] { return OperationQueue::waitForAllWorkers(std::chrono::milliseconds(0)); },
                            std::chrono::seconds(60)));
    }

public:
    static std::shared_ptr<PublicKeyAuthnType> keyType(const QString& publicKey, const QString& privateKey,
                                                       const std::optional<QString>& passPhrase = {}) {
        auto type = std::make_shared<PublicKeyAuthnType>();
        type->publicKeyFilePath = publicKey;
        type->privateKeyFilePath = privateKey;
        type->privateKeyPwd = passPhrase;
        return type;
    }
    /// A host of the server, where a key of its own is accepted.
    static std::shared_ptr<RemoteHost> keyHost(const SshServer& server, std::uint16_t port = 0) {
        const QString key = server.makeKey(QStringLiteral("id"));
        return hostWith(server, keyType(key + QStringLiteral(".pub"), key), port);
    }
    static std::shared_ptr<RemoteHost> hostWith(const SshServer& server, std::shared_ptr<AuthnType> type,
                                                std::uint16_t port = 0) {
        auto host = std::make_shared<RemoteHost>(QString::fromLatin1(SshServer::host),
                                                 port ? port : server.port(), server.user());
        host->setAuthnType(std::move(type));
        return host;
    }

protected:
    std::shared_ptr<Client> clientFor(std::shared_ptr<RemoteHost> host) {
        return Client::create(std::move(host), alerts_, settings_);
    }
    QString connected(const std::shared_ptr<Client>& client) {
        const auto result = beside([&] { return client->connect(); });
        return result ? outcome(*result) : QStringLiteral("no end");
    }
    /// Connects while the next alerts get these answers.
    QString connectedAnswering(const std::shared_ptr<Client>& client, const QStringList& answers) {
        for (const QString& answer : answers)
            alerts_.willEnter(answer);
        return connected(client);
    }
    /// Runs the connection test to its end, answering every alert with its first button.
    QStringList tested(const std::shared_ptr<Client>& client) {
        bool isDone = false;
        std::size_t answered = alerts_.alerts.size();
        client->testConnection([&] { isDone = true; });
        EXPECT_TRUE(waitFor(
            [&] {
                for (; answered < alerts_.alerts.size(); ++answered)
                    alerts_.press(static_cast<int>(answered), 0);
                return isDone;
            },
            std::chrono::seconds(60)));
        return alerts_.texts();
    }
    /// How many bytes the command writes; nothing when it does not come to its end.
    static std::optional<qint64> bytesRead(const std::shared_ptr<Client>& client, const QString& command) {
        qint64 bytes = 0;
        const auto count = [&bytes](QByteArrayView more) {
            bytes += more.size();
            return true;
        };
        return client->read(command, CommandUse::Reading, count, {}) ? std::optional(bytes) : std::nullopt;
    }
    /// The alerts without the reasons, which each of them has.
    QStringList toldLosses() const {
        QStringList told;
        for (const QString& text : alerts_.texts()) {
            EXPECT_FALSE(text.section(u'\n', 1).isEmpty()) << text.toStdString();
            told << text.section(u'\n', 0, 0);
        }
        return told;
    }
    static QString lossText(std::uint16_t port) {
        return QStringLiteral("Disconnected from remote server host!|SSH session failure (Host: "
                              "Optional(\"127.0.0.1\"), Port: Optional(%1))")
            .arg(port);
    }

    RecordedAlerts alerts_{std::nullopt};
    SessionSettings settings_;
};

/// The same scenarios with each program that a server may run.
class WithEachServer : public ::testing::WithParamInterface<SshServer::Program> {
public:
    static auto programs() {
        return ::testing::Values(SshServer::Program::OpenSsh, SshServer::Program::Dropbear);
    }
    static bool isDropbear() { return GetParam() == SshServer::Program::Dropbear; }
    static std::string name(const ::testing::TestParamInfo<SshServer::Program>& program) {
        return program.param == SshServer::Program::OpenSsh ? "OpenSsh" : "Dropbear";
    }
};

} // namespace korvane::test
