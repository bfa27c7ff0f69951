#include "remote/SshTest.h"

#include "remote/SFTPClient.h"
#include "support/FaultProxy.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::FaultProxy;

class UnreachableTest : public test::SshTest {
protected:
    static QStringList couldNotConnect(std::uint16_t port, const QString& reason,
                                       const QString& host = u"127.0.0.1"_s) {
        return {u"Could not connect to host: %1 on port %2|Please check the configuration and ensure the SSH "
                "server is running!\n%3"_s.arg(host, QString::number(port), reason)};
    }
};

class ConnectionFaultTest : public UnreachableTest, public test::WithEachServer {
protected:
    static void makeLinks(const QString& directory, int count) {
        ASSERT_TRUE(QDir().mkdir(directory));
        for (int number = 0; number < count; ++number)
            ASSERT_TRUE(QFile::link(u"nowhere"_s, directory + u"/%1"_s.arg(number)));
    }
};
INSTANTIATE_TEST_SUITE_P(Servers, ConnectionFaultTest, ConnectionFaultTest::programs(),
                         ConnectionFaultTest::name);

TEST_F(UnreachableTest, NobodyListensOrAnswers) {
    const std::uint16_t refused = test::freePort();
    EXPECT_EQ(tested(passwordHost(refused)), couldNotConnect(refused, u"Connection refused"_s));

    settings_.connectingLimit = 300ms;
    test::Listener full(0);
    full.fill();
    const test::Listener silent;
    for (const std::uint16_t port : {full.port(), silent.port()})
        EXPECT_EQ(tested(passwordHost(port)), couldNotConnect(port, u"The server does not answer."_s));
}

TEST_F(UnreachableTest, ANameThatNobodyKnowsIsNotWaitedFor) {
    const auto host = passwordHost(22);
    host->setHost(u"no such host.invalid"_s);
    const QStringList shown = tested(host);
    ASSERT_EQ(shown.size(), 1);
    EXPECT_TRUE(shown[0].startsWith(couldNotConnect(22, {}, host->host())[0])) << shown[0].toStdString();
}

TEST_F(UnreachableTest, AConnectionTestCanBeCalledOffAtAnyTime) {
    test::Listener full(0);
    full.fill();
    const test::Listener silent;
    const auto begin = std::chrono::steady_clock::now();
    // Cancelled at once, and after reaching the server.
    cancelWhen(passwordHost(full.port()), [] { return true; });
    cancelWhen(passwordHost(silent.port()),
               [&] { return ::close(::accept(silent.socket(), nullptr, nullptr)) == 0; });
    EXPECT_LT(std::chrono::steady_clock::now() - begin, settings_.connectingLimit);
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(ConnectionFaultTest, AServerThatGoesAwayDuringTheLoginEndsItWithAMessage) {
    const test::SshServer server({}, GetParam());
    for (const auto kind : {FaultProxy::Break::End, FaultProxy::Break::Silence}) {
        if (kind == FaultProxy::Break::Silence)
            settings_.connectingLimit = 500ms;
        // From before the first byte, through the key exchange, to the authentication.
        const auto proof = isDropbear() ? QList<std::uint64_t>{900} : QList<std::uint64_t>{1300, 1800};
        for (const std::uint64_t bytes : QList<std::uint64_t>{0, 10, 60, 600} + proof) {
            SCOPED_TRACE(bytes);
            const FaultProxy link(server.port(), {.next = kind, .bytesToBreak = bytes});
            const QStringList shown = tested(keyHost(server, link.port()));
            EXPECT_EQ(link.counts()[FaultProxy::Ended], kind == FaultProxy::Break::End ? 1 : 0);
            ASSERT_EQ(shown.size(), 1) << shown.join(u'\n').toStdString();
            EXPECT_TRUE(shown[0].startsWith(couldNotConnect(link.port(), {})[0]) ||
                        shown[0].startsWith(
                            u"Connection test failed!|Please check the server configuration! Reason: "_s))
                << shown[0].toStdString();
        }
    }
}

TEST_P(ConnectionFaultTest, ALossIsToldOnceAndEndsAllThatIsUnderWay) {
    test::SshServer server({}, GetParam());
    const auto client = loggedIn(server);
    std::vector<std::future<std::optional<qint64>>> commands;
    const int commandsAtOnce = isDropbear() ? 1 : 4;
    for (int count = 0; count < commandsAtOnce; ++count) {
        const QString begun = server.path(u"begun%1"_s.arg(count));
        commands.push_back(std::async(std::launch::async, [&client, begun] {
            return bytesRead(client, u"touch %1; exec cat /dev/zero"_s.arg(begun));
        }));
    }
    EXPECT_TRUE(
        test::waitFor([&] { return QDir(server.path()).entryList({u"begun*"_s}).size() == commandsAtOnce; }));
    server.killConnections();
    for (auto& command : commands)
        EXPECT_FALSE(test::settled(std::move(command)));
    EXPECT_TRUE(alertsBecome(1));
    EXPECT_FALSE(client->isConnected());
    // Reconnecting works, and the loss was reported exactly once.
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
    expectLosses(1, server.port());
}

TEST_P(ConnectionFaultTest, ACommandThatComesDuringALoginDoesNotEndIt) {
    const test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    std::atomic<bool> isOver{false};
    std::jthread commands([&] {
        while (!isOver)
            client->execute(u"true"_s);
    });
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(connected(client), u"authorised, home"_s);
        client->disconnect();
    }
    isOver = true;
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(ConnectionFaultTest, AServerThatDiesDuringAListingEndsIt) {
    test::SshServer server({}, GetParam());
    makeLinks(server.path(u"many"_s), 3000);
    const auto client = loggedIn(server);
    SFTPClient files(client);
    for (int round = 0; round < 3; ++round) {
        // The first round runs undisturbed, to show that there is something to break.
        std::jthread killer([&] {
            if (round > 0)
                server.killConnections();
        });
        const auto listed = files.contentsOfDirectoryAtPath(server.path(u"many"_s));
        const auto followed = files.followLinks(
            std::vector<QString>(listed ? listed.value().size() : 0, server.path(u"many/1"_s)));
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
            alerts_.press(round - 1, 0); // an alert that is open is not shown again
        EXPECT_EQ(connected(client), u"authorised, home"_s);
    }
    client->disconnect();
    expectLosses(2, server.port());
}

TEST_P(ConnectionFaultTest, AServerThatNoLongerAnswersIsGivenUp) {
    settings_.keepAliveInterval = 100ms;
    settings_.unansweredLimit = 2s;
    test::SshServer server({}, GetParam());
    enum class During { Command, Listing };
    for (const During during : {During::Command, During::Listing}) {
        alerts_.alerts.clear();
        const auto client = loggedIn(server);
        const auto begin = std::chrono::steady_clock::now();
        server.freezeConnections();
        if (during == During::Command) {
            EXPECT_EQ(client->execute(u"echo never"_s), u""_s);
        } else {
            EXPECT_FALSE(SFTPClient(client).contentsOfDirectoryAtPath(server.path()));
        }
        EXPECT_GE(std::chrono::steady_clock::now() - begin, settings_.unansweredLimit);
        expectLosses(1, server.port());
        server.resumeConnections();
    }
}

TEST_P(ConnectionFaultTest, AListingMayTakeLongAsLongAsTheServerAnswers) {
    settings_.unansweredLimit = 2s;
    test::SshServer server({}, GetParam());
    makeLinks(server.path(u"links"_s), 1500);
    const FaultProxy link(server.port(), {.delay = 50ms});
    const auto client = loggedIn(server, link.port());
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
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(ConnectionFaultTest, ACommandMayBeSilentAsLongAsTheServerAnswers) {
    settings_.keepAliveInterval = 50ms;
    settings_.unansweredLimit = 2s;
    test::SshServer server({}, GetParam());
    const auto client = loggedIn(server);
    EXPECT_EQ(client->execute(u"sleep 4; echo counted"_s), u"counted\n"_s);
    EXPECT_EQ(alerts_.texts(), QStringList());
}

} // namespace
} // namespace korvane
