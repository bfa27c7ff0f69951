#include "remote/SshTest.h"

#include "remote/SFTPClient.h"
#include "support/Relay.h"

#include <QDir>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class UnreachableTest : public test::SshTest {
protected:
    static QStringList couldNotConnect(std::uint16_t port, const QString& reason) {
        return {
            u"Could not connect to host: 127.0.0.1 on port %1|Please check the configuration and ensure the SSH server is running!\n%2"_s
                .arg(QString::number(port), reason)};
    }
    static std::shared_ptr<RemoteHost> hostAt(std::uint16_t port) {
        auto host = std::make_shared<RemoteHost>(u"127.0.0.1"_s, port, u"tester"_s);
        host->setAuthnType(std::make_shared<PasswordAuthnType>(u"secret"_s));
        return host;
    }
};

class ConnectionFaultTest : public UnreachableTest, public test::WithEachServer {};
INSTANTIATE_TEST_SUITE_P(Servers, ConnectionFaultTest, ConnectionFaultTest::programs(),
                         ConnectionFaultTest::name);

TEST_F(UnreachableTest, NobodyListensOrAnswers) {
    const std::uint16_t refused = test::freePort();
    EXPECT_EQ(tested(clientFor(hostAt(refused))), couldNotConnect(refused, u"Connection refused"_s));

    settings_.connectingLimit = 300ms;
    test::Listener full(0);
    full.fill();
    const test::Listener silent;
    for (const std::uint16_t port : {full.port(), silent.port()}) {
        test::RecordedAlerts fresh(std::nullopt);
        std::swap(fresh, alerts_);
        EXPECT_EQ(tested(clientFor(hostAt(port))), couldNotConnect(port, u"The server does not answer."_s));
    }
}

TEST_F(UnreachableTest, ANameThatNobodyKnowsIsNotWaitedFor) {
    const auto host = hostAt(22);
    host->setHost(u"no such host.invalid"_s);
    const QStringList shown = tested(clientFor(host));
    ASSERT_EQ(shown.size(), 1);
    EXPECT_TRUE(shown[0].startsWith(
        u"Could not connect to host: no such host.invalid on port 22|Please check the configuration and ensure the SSH server is running!\n"_s))
        << shown[0].toStdString();
}

TEST_F(UnreachableTest, AConnectionTestCanBeCalledOffAtAnyTime) {
    test::Listener full(0);
    full.fill();
    const test::Listener silent;
    for (const std::uint16_t port : {full.port(), silent.port()}) {
        const auto client = clientFor(hostAt(port));
        bool isDone = false;
        const auto begin = std::chrono::steady_clock::now();
        client->testConnection([&] { isDone = true; });
        // At once, and when the server has been reached.
        if (port == silent.port()) {
            const int reached = ::accept(silent.socket(), nullptr, nullptr);
            EXPECT_GE(reached, 0);
            ::close(reached);
        }
        client->cancelConnectionTest();
        EXPECT_TRUE(test::waitFor([&] { return isDone; }));
        EXPECT_LT(std::chrono::steady_clock::now() - begin, settings_.connectingLimit);
    }
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(ConnectionFaultTest, AServerThatGoesAwayDuringTheLoginEndsItWithAMessage) {
    const test::SshServer server({}, GetParam());
    const auto whole = [&] {
        test::Relay relay(server.port(), std::numeric_limits<std::uint64_t>::max(), test::Relay::Then::Cut);
        const auto client = clientFor(keyHost(server, relay.port()));
        EXPECT_EQ(connected(client), u"authorised, home"_s);
        const std::uint64_t bytes = relay.passed();
        client->disconnect();
        return bytes;
    }();
    settings_.connectingLimit = 500ms;
    const QString key = server.path(u"id"_s);
    for (const auto then : {test::Relay::Then::Cut, test::Relay::Then::Silence}) {
        // From before the first byte, through the agreement on keys, to the proof of the login.
        const auto proof = isDropbear() ? QList<std::uint64_t>{900} : QList<std::uint64_t>{1300, 1800};
        for (const std::uint64_t bytes : QList<std::uint64_t>{0, 10, 60, 600} + proof) {
            SCOPED_TRACE(bytes);
            ASSERT_LT(bytes, whole);
            test::Relay relay(server.port(), bytes, then);
            test::RecordedAlerts fresh(std::nullopt);
            std::swap(fresh, alerts_);
            const QStringList shown =
                tested(clientFor(hostWith(server, keyType(key + u".pub"_s, key), relay.port())));
            ASSERT_EQ(shown.size(), 1) << shown.join(u'\n').toStdString();
            EXPECT_TRUE(shown[0].startsWith(couldNotConnect(relay.port(), {})[0]) ||
                        shown[0].startsWith(
                            u"Connection test failed!|Please check the server configuration! Reason: "_s))
                << shown[0].toStdString();
        }
    }
}

TEST_P(ConnectionFaultTest, ALossIsToldOnceAndEndsAllThatIsUnderWay) {
    test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    std::atomic<int> ended{0};
    std::vector<std::thread> commands;
    const int commandsAtOnce = isDropbear() ? 1 : 4;
    for (int count = 0; count < commandsAtOnce; ++count) {
        commands.emplace_back([&, count] {
            EXPECT_FALSE(bytesRead(
                client, u"touch %1; exec cat /dev/zero"_s.arg(server.path(u"begun%1"_s.arg(count)))));
            ++ended;
        });
    }
    EXPECT_TRUE(
        test::waitFor([&] { return QDir(server.path()).entryList({u"begun*"_s}).size() == commandsAtOnce; }));
    server.killConnections();
    EXPECT_TRUE(test::waitFor([&] { return ended == commandsAtOnce && !alerts_.alerts.empty(); }));
    for (std::thread& command : commands)
        command.join();
    EXPECT_FALSE(client->isConnected());
    // It can be made again, and what is told by then was told once.
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
    EXPECT_EQ(toldLosses(), QStringList(lossText(server.port())));
}

TEST_P(ConnectionFaultTest, ACommandThatComesDuringALoginDoesNotEndIt) {
    const test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    std::atomic<bool> isOver{false};
    std::thread commands([&] {
        while (!isOver)
            client->execute(u"true"_s);
    });
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(connected(client), u"authorised, home"_s);
        client->disconnect();
    }
    isOver = true;
    commands.join();
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(ConnectionFaultTest, AnIdleConnectionThatIsLostIsToldToo) {
    test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    server.killConnections();
    EXPECT_TRUE(test::waitFor([&] { return !client->isConnected() && !alerts_.alerts.empty(); }));
    EXPECT_EQ(toldLosses(), QStringList(lossText(server.port())));
}

TEST_P(ConnectionFaultTest, AServerThatDiesDuringAListingEndsIt) {
    test::SshServer server({}, GetParam());
    const QDir directory(server.path());
    ASSERT_TRUE(directory.mkdir(u"many"_s));
    for (int count = 0; count < 3000; ++count)
        ASSERT_TRUE(QFile::link(u"nowhere"_s, server.path(u"many/%1"_s.arg(count))));
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    SFTPClient files(client);
    for (int round = 0; round < 3; ++round) {
        // The first round is left alone, to see that there is something to break.
        std::thread killer;
        if (round > 0)
            killer = std::thread([&] { server.killConnections(); });
        const auto listed = files.contentsOfDirectoryAtPath(server.path(u"many"_s));
        const auto followed = files.followLinks(
            std::vector<QString>(listed ? listed.value().size() : 0, server.path(u"many/1"_s)));
        if (killer.joinable())
            killer.join();
        if (round == 0) {
            ASSERT_TRUE(listed && followed);
            EXPECT_EQ(followed.value().size(), 3000U);
        } else if (!listed) {
            EXPECT_FALSE(listed.error().userText.isEmpty());
        } else {
            EXPECT_EQ(listed.value().size(), 3000U) << "half a directory";
        }
        EXPECT_TRUE(test::waitFor([&] { return static_cast<int>(alerts_.alerts.size()) == round; }));
        if (round > 0)
            alerts_.press(round - 1, 0); // what stands is not told again
        EXPECT_EQ(connected(client), u"authorised, home"_s);
    }
    client->disconnect();
    EXPECT_EQ(toldLosses(), QStringList({lossText(server.port()), lossText(server.port())}));
}

TEST_P(ConnectionFaultTest, AServerThatNoLongerAnswersIsGivenUp) {
    settings_.keepAliveInterval = 100ms;
    settings_.unansweredLimit = 2s;
    test::SshServer server({}, GetParam());
    const auto host = keyHost(server);
    enum class During { Command, Listing };
    for (const During during : {During::Command, During::Listing}) {
        test::RecordedAlerts fresh(std::nullopt);
        std::swap(fresh, alerts_);
        const auto client = clientFor(host);
        ASSERT_EQ(connected(client), u"authorised, home"_s);
        const auto begin = std::chrono::steady_clock::now();
        server.freezeConnections();
        if (during == During::Command) {
            EXPECT_EQ(client->execute(u"echo never"_s), u""_s);
        } else {
            EXPECT_FALSE(SFTPClient(client).contentsOfDirectoryAtPath(server.path()));
        }
        EXPECT_GE(std::chrono::steady_clock::now() - begin, settings_.unansweredLimit);
        EXPECT_TRUE(test::waitFor([&] { return !alerts_.alerts.empty(); }));
        EXPECT_EQ(toldLosses(), QStringList(lossText(server.port())));
        server.resumeConnections();
    }
}

TEST_P(ConnectionFaultTest, AListingMayTakeLongAsLongAsTheServerAnswers) {
    settings_.unansweredLimit = 2s;
    test::SshServer server({}, GetParam());
    ASSERT_TRUE(QDir(server.path()).mkdir(u"links"_s));
    for (int count = 0; count < 1500; ++count)
        ASSERT_TRUE(QFile::link(u"nowhere"_s, server.path(u"links/%1"_s.arg(count))));
    test::Relay relay(server.port(), std::numeric_limits<std::uint64_t>::max(), test::Relay::Then::Cut, 50ms);
    const auto client = clientFor(keyHost(server, relay.port()));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    const auto begin = std::chrono::steady_clock::now();
    SFTPClient files(client);
    const auto listed = files.contentsOfDirectoryAtPath(server.path(u"links"_s));
    ASSERT_TRUE(listed) << listed.error().userText.toStdString();
    const auto followed =
        files.followLinks(std::vector<QString>(listed.value().size(), server.path(u"links/1"_s)));
    EXPECT_GT(std::chrono::steady_clock::now() - begin, settings_.unansweredLimit);
    ASSERT_TRUE(followed) << followed.error().userText.toStdString();
    EXPECT_EQ(followed.value().size(), 1500U);
    EXPECT_TRUE(client->isConnected());
    client->disconnect();
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(ConnectionFaultTest, ACommandMayBeSilentAsLongAsTheServerAnswers) {
    settings_.keepAliveInterval = 50ms;
    settings_.unansweredLimit = 2s;
    test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(client->execute(u"sleep 4; echo counted"_s), u"counted\n"_s);
    client->disconnect();
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(ConnectionFaultTest, ACommandThatFailsEndsOnlyItself) {
    test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(client->execute(u"kill -KILL $$"_s), u""_s);
    EXPECT_EQ(client->execute(u"echo on"_s), u"on\n"_s);
    client->disconnect();
    EXPECT_EQ(alerts_.texts(), QStringList());
}

} // namespace
} // namespace korvane
