#pragma once

#include "foundation/work/OperationQueue.h"
#include "remote/Client.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "support/RecordedAlerts.h"
#include "support/SshServer.h"
#include "support/Waiting.h"

#include <future>
#include <gtest/gtest.h>
#include <optional>
#include <ostream>

/// Makes test failures print the text.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << text.toStdString();
}

namespace korvane::test {

/// The worker's result; runs the main thread's tasks while waiting.
template <typename Found>
Found settled(std::future<Found> future) {
    EXPECT_TRUE(
        waitFor([&] { return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
    return future.get();
}

/// Runs the work on another thread.
template <typename Work>
auto beside(const Work& work) {
    return settled(std::async(std::launch::async, work));
}

/// Summary of `Client::connect` for comparisons: the error's text, or both flags.
inline QString outcome(const Result<Client::Connection>& result) {
    if (!result)
        return QStringLiteral("error: ") + result.error().userText;
    return QStringLiteral("%1, %2").arg(
        result.value().isAuthorised ? QStringLiteral("authorised") : QStringLiteral("not authorised"),
        result.value().homePathExists ? QStringLiteral("home") : QStringLiteral("no home"));
}

/// Clients of servers that the test starts. None of their threads outlives the test.
class SshTest : public ::testing::Test {
protected:
    ~SshTest() override {
        EXPECT_TRUE(waitFor([] { return OperationQueue::waitForAllWorkers(std::chrono::seconds(0)); }));
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
    /// A host with a new key that the server accepts.
    static std::shared_ptr<RemoteHost> keyHost(const SshServer& server, std::uint16_t port = 0) {
        const QString key = server.makeKey(QStringLiteral("id"));
        return hostAt(port ? port : server.port(), keyType(key + QStringLiteral(".pub"), key));
    }
    /// Creates a key pair that no server accepts, unless it exists. Returns the path of the private key.
    static QString makeStranger(const QString& key, const QByteArray& passPhrase = {}) {
        if (!QFile::exists(key)) {
            EXPECT_TRUE(
                runProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", passPhrase, "-f", key.toUtf8()}));
        }
        return key;
    }
    static std::shared_ptr<RemoteHost> hostAt(std::uint16_t port, std::shared_ptr<AuthnType> type) {
        auto host = std::make_shared<RemoteHost>(QString::fromLatin1(SshServer::host), port,
                                                 QStringLiteral("tester"));
        host->setAuthnType(std::move(type));
        return host;
    }

protected:
    static std::shared_ptr<RemoteHost>
    passwordHost(std::uint16_t port, const std::optional<QString>& password = QStringLiteral("secret")) {
        return hostAt(port, std::make_shared<PasswordAuthnType>(password));
    }
    std::shared_ptr<Client> clientFor(std::shared_ptr<RemoteHost> host) {
        return Client::create(std::move(host), alerts_, settings_);
    }
    /// Logs in by key.
    std::shared_ptr<Client> loggedIn(const SshServer& server, std::uint16_t port = 0) {
        auto client = clientFor(keyHost(server, port));
        EXPECT_EQ(connected(client), QStringLiteral("authorised, home"));
        return client;
    }
    /// Connects on another thread.
    static std::future<QString> connecting(const std::shared_ptr<Client>& client) {
        return std::async(std::launch::async, [client] { return outcome(client->connect()); });
    }
    static QString connected(const std::shared_ptr<Client>& client) { return settled(connecting(client)); }
    /// Connects once; the next alerts get these answers.
    QString connected(const std::shared_ptr<RemoteHost>& host, const QStringList& answers = {}) {
        return connected(clientFor(host), answers);
    }
    QString connected(const std::shared_ptr<Client>& client, const QStringList& answers) {
        for (const QString& answer : answers)
            alerts_.willEnter(answer);
        return connected(client);
    }
    /// Connects once, and presses this button in every alert.
    QString connectedPressing(int button, const std::shared_ptr<RemoteHost>& host) {
        alerts_.nextAnswer = button;
        const QString found = connected(host);
        alerts_.nextAnswer.reset();
        return found;
    }
    /// The alerts of a connection test, whose questions get these answers.
    QStringList tested(const std::shared_ptr<RemoteHost>& host, const QStringList& answers = {}) {
        bool isDone = false;
        alerts_.alerts.clear();
        for (const QString& answer : answers)
            alerts_.willEnter(answer);
        alerts_.nextAnswer = 0;
        clientFor(host)->testConnection([&] { isDone = true; });
        EXPECT_TRUE(waitFor([&] { return isDone; }));
        alerts_.nextAnswer.reset();
        return alerts_.texts();
    }
    /// Cancels a connection test when the condition holds, and expects it to end.
    void cancelWhen(const std::shared_ptr<RemoteHost>& host, const std::function<bool()>& condition) {
        const auto client = clientFor(host);
        bool isDone = false;
        client->testConnection([&] { isDone = true; });
        EXPECT_TRUE(waitFor(condition));
        client->cancelConnectionTest();
        EXPECT_TRUE(waitFor([&] { return isDone; }));
    }
    /// Waits for at least this number of alerts.
    bool alertsBecome(std::size_t count) {
        return waitFor([&] { return alerts_.alerts.size() >= count; });
    }
    /// Number of bytes that the command writes; nullopt if it does not run to its end.
    static std::optional<qint64> bytesRead(const std::shared_ptr<Client>& client, const QString& command) {
        qint64 bytes = 0;
        const auto count = [&bytes](QByteArrayView more) {
            bytes += more.size();
            return true;
        };
        return client->read(command, CommandUse::Reading, count, {}) ? std::optional(bytes) : std::nullopt;
    }
    /// Expects exactly this number of alerts, each reporting a lost connection with a reason.
    void expectLosses(int count, std::uint16_t port) {
        EXPECT_TRUE(alertsBecome(static_cast<std::size_t>(count)));
        EXPECT_EQ(alerts_.texts().size(), count);
        for (const QString& text : alerts_.texts()) {
            EXPECT_EQ(text.section(u'\n', 0, 0),
                      QStringLiteral("Disconnected from remote server host!|SSH session failure (Host: "
                                     "Optional(\"127.0.0.1\"), Port: Optional(%1))")
                          .arg(port));
            EXPECT_FALSE(text.section(u'\n', 1).isEmpty()) << text.toStdString();
        }
    }

    RecordedAlerts alerts_{std::nullopt};
    SessionSettings settings_;
};

/// Runs each test with each SSH server program.
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
