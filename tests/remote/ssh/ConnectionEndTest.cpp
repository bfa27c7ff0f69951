#include "remote/SshTest.h"

#include "remote/SFTPClient.h"
#include "support/Rows.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Resources left here and on the server, and servers without working SFTP or with few channels.
class ConnectionEndTest : public test::SshTest {
protected:
    /// A host with a key that the server rejects.
    static std::shared_ptr<RemoteHost> strangersHost(const test::SshServer& server) {
        const QString key = makeStranger(server.path(u"stranger"_s));
        return hostAt(server.port(), keyType(key + u".pub"_s, key));
    }
    static qsizetype openDescriptors() {
        return QDir(u"/proc/self/fd"_s).entryList(QDir::Files | QDir::System).size();
    }
};

TEST_F(ConnectionEndTest, NothingIsLeftHereOrOnTheServer) {
    const test::SshServer server;
    qsizetype before = 0;
    int connections = 0;
    // The first round opens descriptors that stay open.
    for (int round = 0; round < 4; ++round) {
        EXPECT_EQ(loggedIn(server)->execute(u"echo on"_s), u"on\n"_s);
        static_cast<void>(tested(keyHost(server)));
        const auto refused = connected(strangersHost(server));
        EXPECT_TRUE(refused.startsWith(u"error: Access denied"_s)) << qPrintable(refused);
        connections += 3;
        ASSERT_TRUE(test::waitFor([] { return OperationQueue::waitForAllWorkers(0ms); }));
        EXPECT_TRUE(test::waitFor([&] { return server.connectionProcesses().empty(); }));
        if (round == 0)
            before = openDescriptors();
    }
    EXPECT_LE(openDescriptors(), before);
    EXPECT_EQ(server.log().count("Received disconnect from"), connections) << server.log().constData();
}

TEST_F(ConnectionEndTest, AServerThatEndsTheLoginIsBelieved) {
    const test::SshServer server("MaxAuthTries 1");
    EXPECT_EQ(connected(strangersHost(server)),
              u"error: The server has ended the connection: Too many authentication failures."_s);
}

TEST_F(ConnectionEndTest, ABrokenSubsystemCostsTheFilesAndNotTheCommands) {
    const auto usualLimit = settings_.filesLimit;
    const std::pair<const char*, QString> cases[] = {
        {"exit 127", u"The server gives no access to its files."_s},
        {"echo; echo Welcome; cat", u"The server prints text at login, which hides its files."_s},
        {"exec yes", u"The server prints text at login, which hides its files."_s},
        {"exec cat", u"The server gives no access to its files."_s},
        {"exec sleep 600", u"The server does not answer when it is asked for its files."_s},
    };
    for (const auto& [script, fault] : cases) {
        SCOPED_TRACE(script);
        // The others answer at once, unless the machine is busy.
        settings_.filesLimit = std::string_view(script) == "exec sleep 600" ? 500ms : usualLimit;
        const test::SshServer server(QByteArray("Subsystem sftp ") + script);
        const auto client = clientFor(keyHost(server));
        EXPECT_EQ(connected(client), u"authorised, no home"_s);
        const auto listed = SFTPClient(client).contentsOfDirectoryAtPath(u"/"_s);
        ASSERT_FALSE(listed);
        EXPECT_EQ(listed.error().userText, fault);
        EXPECT_EQ(client->execute(u"echo on"_s), u"on\n"_s);
    }
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(ConnectionEndTest, AListingIsNoLargerThanItMayBeAndHasNoPaths) {
    for (const auto& [kind, names, outcome] : test::Rows<QByteArray, QStringList, QString>{
             {"paths", {u"good"_s, u"directory"_s, u"..."_s}, u"listed"_s},
             {"empty", {}, u"listed"_s},
             {"attributes", {}, u"\"/\" cannot be read: it holds too many names."_s}}) {
        SCOPED_TRACE(kind.constData());
        const test::SshServer server("Subsystem sftp python3 " KORVANE_TEST_SUPPORT "/odd_listings.py " +
                                     kind);
        const auto client = loggedIn(server);
        const auto listed = SFTPClient(client).contentsOfDirectoryAtPath(u"/"_s);
        EXPECT_EQ(listed ? u"listed"_s : listed.error().userText, outcome);
        QStringList shown;
        for (const RemoteEntry& entry : listed ? listed.value() : std::vector<RemoteEntry>())
            shown.append(entry.filename);
        EXPECT_EQ(shown, names);
    }
}

TEST_F(ConnectionEndTest, AServerThatOpensNoChannelIsAskedAgainWithPauses) {
    const test::SshServer server("MaxSessions 0");
    EXPECT_EQ(connected(keyHost(server)), u"authorised, no home"_s);
    const auto refusals = server.log().count("no more sessions");
    EXPECT_GT(refusals, 1);
    EXPECT_LE(refusals, 60);
}

TEST_F(ConnectionEndTest, CommandsWaitForTheirTurnWhereThereAreFewChannels) {
    using Program = test::SshServer::Program;
    const std::pair<Program, const char*> cases[] = {
        {Program::OpenSsh, ""},
        {Program::OpenSsh, "MaxSessions 1"},
        {Program::OpenSsh, "MaxSessions 2"},
        {Program::OpenSsh, "MaxSessions 3"},
        {Program::Dropbear, ""}, // more commands at once would close the connection
    };
    for (const auto& [program, settings] : cases) {
        SCOPED_TRACE(settings);
        const test::SshServer server(settings, program);
        const auto client = loggedIn(server);
        std::vector<std::jthread> users;
        for (int user = 0; user < 11; ++user) {
            users.emplace_back([&, user] {
                for (int count = 0; count < 3; ++count) {
                    const QString text = u"%1 %2\n"_s.arg(user).arg(count);
                    EXPECT_EQ(client->execute(u"sleep 0.0%1; echo "_s.arg(user) + text), text);
                    if (user == 0 && count < 2) {
                        const auto listed = SFTPClient(client).contentsOfDirectoryAtPath(server.path());
                        EXPECT_TRUE(listed) << qPrintable(listed.error().userText);
                    }
                }
            });
        }
    }
    EXPECT_EQ(alerts_.texts(), QStringList());
}

} // namespace
} // namespace korvane
