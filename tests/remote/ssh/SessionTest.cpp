#include "remote/SshTest.h"

#include "remote/SFTPClient.h"
#include "remote/ssh/NMSSHSession.h"

#include <map>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// The processes whose ids commands have written, one per line.
class StartedProcesses {
public:
    explicit StartedProcesses(const test::SshServer& server) : path_(server.path(u"started"_s)) {}

    /// A command that runs until it is stopped.
    QString command() const { return u"echo $$ >>%1; exec sleep 3600"_s.arg(path_); }
    bool become(qsizetype count) const {
        return test::waitFor([&] { return test::readFile(path_).count('\n') == count; });
    }
    bool areStopped() const {
        const QList<QByteArray> numbers = test::readFile(path_).trimmed().split('\n');
        return test::waitFor([&] {
            return std::ranges::all_of(
                numbers, [](const QByteArray& number) { return ::kill(number.toInt(), 0) != 0; });
        });
    }

private:
    const QString path_;
};

class SessionTest : public test::SshTest, public test::WithEachServer {};
INSTANTIATE_TEST_SUITE_P(Servers, SessionTest, SessionTest::programs(), SessionTest::name);

using ChannelTest = test::SshTest;

/// The output of `seq`.
QString numbers(int first, int last) {
    QString text;
    for (int number = first; number <= last; ++number)
        text += QString::number(number) + u'\n';
    return text;
}

TEST_P(SessionTest, ManyThreadsGetWhatTheirOwnCommandsWrote) {
    const test::SshServer server("RekeyLimit 1M", GetParam());
    const auto client = loggedIn(server);
    constexpr int threads = 8;
    constexpr int commandsEach = 25;
    std::atomic<int> right{0};
    std::vector<std::jthread> all;
    for (int thread = 0; thread < threads; ++thread) {
        all.emplace_back([&, thread] {
            for (int count = 0; count < commandsEach; ++count) {
                const int first = 1 + thread * 100'000 + count * 1000;
                const int last = first + 8000;
                // `tee` also fills standard error, which nobody reads.
                const QString output = client->execute(
                    u"seq %1 %2 | tee /dev/stderr; exit %3"_s.arg(first).arg(last).arg(count));
                right += output == numbers(first, last) ? 1 : 0;
                if (count % 5 == 0) {
                    EXPECT_TRUE(SFTPClient(client).directoryExistsAtPath(server.path()));
                }
            }
        });
    }
    all.clear(); // joins
    EXPECT_EQ(right, threads * commandsEach);
    EXPECT_EQ(server.logins(), 1);
}

TEST_P(SessionTest, WhatGoesToStandardErrorHoldsNothingUp) {
    const test::SshServer server({}, GetParam());
    const auto client = loggedIn(server);
    EXPECT_EQ(client->execute(u"head -c 10000000 /dev/zero >&2; echo done"_s), u"done\n"_s);
    // Endless output gives an empty result, and the command is stopped.
    EXPECT_EQ(client->execute(u"yes"_s), u""_s);
    EXPECT_EQ(client->execute(u"while grep -qsx yes /proc/[0-9]*/comm; do sleep 0.05; done; echo on"_s),
              u"on\n"_s);
}

TEST_P(SessionTest, OutputIsTakenAsItComes) {
    const test::SshServer server({}, GetParam());
    const auto client = loggedIn(server);
    const std::pair<QString, QString> cases[] = {
        {u"true"_s, u""_s},
        {u"printf 'no newline'"_s, u"no newline"_s},
        {u"echo out; exit 255"_s, u"out\n"_s},
        {u"kill -KILL $$"_s, u""_s}, // a command that fails ends only itself
        {u"cat"_s, u""_s},           // there is no input to wait for
        {u"printf 'a\\377b\\n'"_s, u"a\ufffdb\n"_s},
        {u"echo 'späß \"$HOME\"' \"in $HOME\""_s, u"späß \"$HOME\" in %1\n"_s.arg(server.path())},
        {u"printf '\\000x' | wc -c"_s, u"2\n"_s}};
    for (const auto& [command, output] : cases)
        EXPECT_EQ(client->execute(command), output) << command.toStdString();
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(ChannelTest, CountsAndPollsLeaveRoomForRows) {
    const test::SshServer server;
    const auto client = loggedIn(server);
    const QString begun = server.path(u"begun"_s);
    std::atomic<bool> isOver{false};
    std::vector<std::jthread> commands;
    for (const auto& [use, name] : {std::pair(CommandUse::Count, u"count"_s),
                                    {CommandUse::Poll, u"poll"_s},
                                    {CommandUse::Reading, u"reading"_s}}) {
        for (int number = 0; number < 9; ++number)
            commands.emplace_back(
                [&, use = use, command = u"echo %1 >>%2; exec sleep 3600"_s.arg(name, begun)] {
                    client->answer(command, use, [&] { return isOver.load(); });
                });
    }
    const auto haveBegun = [&](const QByteArray& name) { return test::readFile(begun).count(name); };
    EXPECT_TRUE(test::waitFor([&] { return haveBegun("\n") == 7; }));
    EXPECT_EQ(client->execute(u"echo rows"_s), u"rows\n"_s);
    EXPECT_LE(haveBegun("count"), 2);
    EXPECT_LE(haveBegun("poll"), 2);
    EXPECT_EQ(haveBegun("\n"), 7);
    isOver = true;
    commands.clear(); // joins
}

TEST_F(ChannelTest, AShortCommandDoesNotWaitForALongOne) {
    const test::SshServer server;
    const auto client = loggedIn(server);
    std::atomic<bool> hasEnded{false};
    std::jthread stream([&] {
        EXPECT_EQ(bytesRead(client, u"head -c 60000000 /dev/zero"_s), 60'000'000);
        hasEnded = true;
    });
    for (int count = 0; count < 5; ++count)
        EXPECT_EQ(client->execute(u"echo short"_s), u"short\n"_s);
    EXPECT_FALSE(hasEnded);
}

TEST_P(SessionTest, ACancelledCommandIsStoppedAndTheOthersGoOn) {
    const test::SshServer server({}, GetParam());
    const auto client = loggedIn(server);
    // Half of them wait for a channel, and some get one only to be cancelled at once.
    std::atomic<bool> isCancelled{false};
    std::vector<std::jthread> commands;
    const StartedProcesses started(server);
    for (int count = 0; count < 16; ++count) {
        commands.emplace_back([&] {
            EXPECT_EQ(client->execute(started.command(), [&] { return isCancelled.load(); }), u""_s);
        });
    }
    EXPECT_TRUE(started.become(isDropbear() ? 1 : 8));
    isCancelled = true;
    commands.clear(); // joins
    EXPECT_TRUE(started.areStopped());
    EXPECT_EQ(client->execute(u"echo still there"_s), u"still there\n"_s);
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(SessionTest, OurOwnDisconnectionStopsWhatRunsAndIsNotToldOf) {
    const test::SshServer server({}, GetParam());
    const auto client = loggedIn(server);
    const StartedProcesses started(server);
    std::jthread command([&] { EXPECT_EQ(client->execute(started.command()), u""_s); });
    EXPECT_TRUE(started.become(1));
    client->disconnect();
    command.join();
    EXPECT_TRUE(started.areStopped());
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(SessionTest, AListingNamesWhatIsThereAndWhereLinksLead) {
    const test::SshServer server({}, GetParam());
    const QString path = server.path(u"tree/ä.log"_s);
    ASSERT_TRUE(QDir(server.path()).mkpath(u"tree/sub dir"_s));
    const std::pair<QString, QString> links[] = {{u"tree/to nothing"_s, u"gone"_s},
                                                 {u"tree/to directory"_s, u"sub dir"_s},
                                                 {u"tree/to file"_s, u"ä.log"_s},
                                                 {u"link to tree"_s, u"tree"_s}};
    for (const auto& [link, target] : links)
        ASSERT_TRUE(QFile::link(target, server.path(link)));
    ASSERT_EQ(::mkfifo(server.path(u"tree/pipe"_s).toUtf8().constData(), 0600), 0);
    test::writeFile(path, "12345");
    struct stat status {};
    ASSERT_EQ(::stat(path.toUtf8().constData(), &status), 0);
    const auto client = loggedIn(server);
    SFTPClient files(client);
    using Kind = RemoteFileKind;
    for (const QString& directory : {u"tree"_s, u"link to tree"_s}) {
        const auto listed = files.contentsOfDirectoryAtPath(server.path(directory));
        ASSERT_TRUE(listed) << listed.error().userText.toStdString();
        std::map<QString, Kind> all;
        for (const SFTPClient::Entry& entry : listed.value()) {
            all[entry.filename] = entry.kind;
            if (entry.kind == Kind::Regular) {
                EXPECT_EQ(entry.fileSize, 5U);
                EXPECT_EQ(entry.modificationDate.toSecsSinceEpoch(), status.st_mtime);
            }
        }
        EXPECT_EQ(all, (std::map<QString, Kind>{{u"ä.log"_s, Kind::Regular},
                                                {u"sub dir"_s, Kind::Directory},
                                                {u"to directory"_s, Kind::Link},
                                                {u"to nothing"_s, Kind::Link},
                                                {u"to file"_s, Kind::Link},
                                                {u"pipe"_s, Kind::Special}}));
    }
    const auto unreadable = [&](const QString& name, const QString& reason) {
        return u"\"%1\" cannot be read: %2."_s.arg(server.path(name), reason);
    };
    const auto targets = files.followLinks(
        {server.path(links[0].first), server.path(links[1].first), server.path(links[2].first)});
    ASSERT_TRUE(targets && targets.value().size() == 3U);
    EXPECT_EQ(targets.value()[0].kind, Kind::Missing);
    EXPECT_EQ(targets.value()[0].fault, unreadable(links[0].first, u"it does not exist"_s));
    EXPECT_EQ(targets.value()[1].kind, Kind::Directory);
    EXPECT_EQ(targets.value()[2].kind, Kind::Regular);
    EXPECT_EQ(targets.value()[2].fileSize, 5U);
    for (const auto& [name, reason] :
         {std::pair(u"absent"_s, u"it does not exist"_s), {u"tree/ä.log"_s, u"it is no directory"_s}}) {
        const auto listed = files.contentsOfDirectoryAtPath(server.path(name));
        ASSERT_FALSE(listed);
        EXPECT_EQ(listed.error().userText, unreadable(name, reason));
        EXPECT_FALSE(files.directoryExistsAtPath(server.path(name)));
    }
    const auto info = files.infoForFileAtPath(path);
    ASSERT_TRUE(info) << info.error().userText.toStdString();
    EXPECT_EQ(info.value().filename, u"ä.log"_s);
    EXPECT_EQ(info.value().fileSize, 5U);
    EXPECT_EQ(info.value().modificationDate.toSecsSinceEpoch(), status.st_mtime);
    EXPECT_EQ(info.value().lastAccess.toSecsSinceEpoch(), status.st_atime);
    EXPECT_FALSE(files.infoForFileAtPath(server.path(u"absent"_s)));
    client->disconnect();
    EXPECT_FALSE(files.contentsOfDirectoryAtPath(server.path()));
}

} // namespace
} // namespace korvane
