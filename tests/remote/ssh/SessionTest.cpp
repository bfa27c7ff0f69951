#include "remote/SshTest.h"

#include "remote/SFTPClient.h"
#include "remote/ssh/NMSSHSession.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <map>
#include <sys/stat.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class SessionTest : public test::SshTest, public test::WithEachServer {};
INSTANTIATE_TEST_SUITE_P(Servers, SessionTest, SessionTest::programs(), SessionTest::name);

using ChannelTest = test::SshTest;

/// What `seq` prints.
QString numbers(int first, int last) {
    QString text;
    for (int number = first; number <= last; ++number)
        text += QString::number(number) + u'\n';
    return text;
}

TEST_P(SessionTest, ManyThreadsGetWhatTheirOwnCommandsWrote) {
    const test::SshServer server("RekeyLimit 1M", GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    constexpr int threads = 8;
    constexpr int commandsEach = 25;
    std::atomic<int> right{0};
    std::vector<std::thread> all;
    for (int thread = 0; thread < threads; ++thread) {
        all.emplace_back([&, thread] {
            for (int count = 0; count < commandsEach; ++count) {
                const int first = 1 + thread * 100'000 + count * 1000;
                const int last = first + 8000;
                // In between, on the other stream, more than nobody reads.
                const QString output = client->execute(
                    u"seq %1 %2 | tee /dev/stderr; exit %3"_s.arg(first).arg(last).arg(count));
                const auto digest = [](const QString& text) {
                    return QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256);
                };
                if (digest(output) == digest(numbers(first, last)))
                    ++right;
                if (count % 5 == 0) {
                    EXPECT_TRUE(SFTPClient(client).directoryExistsAtPath(server.path()));
                }
            }
        });
    }
    for (std::thread& one : all)
        one.join();
    EXPECT_EQ(right, threads * commandsEach);
    EXPECT_EQ(server.logins(), 1);
    client->disconnect();
}

TEST_P(SessionTest, WhatGoesToStandardErrorHoldsNothingUp) {
    const test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(client->execute(u"head -c 10000000 /dev/zero >&2; echo done"_s), u"done\n"_s);
    // An answer without an end is none, and the command is stopped.
    EXPECT_EQ(client->execute(u"yes"_s), u""_s);
    EXPECT_EQ(client->execute(u"while grep -qsx yes /proc/[0-9]*/comm; do sleep 0.05; done; echo on"_s),
              u"on\n"_s);
    client->disconnect();
}

TEST_P(SessionTest, OutputIsTakenAsItComes) {
    const test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    struct Case {
        QString command;
        QString output;
    };
    const QList<Case> cases{
        {u"true"_s, u""_s},
        {u"printf 'no newline'"_s, u"no newline"_s},
        {u"echo out; exit 255"_s, u"out\n"_s},
        {u"cat"_s, u""_s}, // there is no input to wait for
        {u"printf 'a\\377b\\n'"_s, u"a\ufffdb\n"_s},
        {u"echo 'späß \"$HOME\"' \"in $HOME\""_s, u"späß \"$HOME\" in %1\n"_s.arg(server.path())},
        {u"printf '\\000x' | wc -c"_s, u"2\n"_s}};
    for (const Case& one : cases)
        EXPECT_EQ(client->execute(one.command), one.output) << one.command.toStdString();
    client->disconnect();
}

TEST_F(ChannelTest, MoreCommandsThanThereAreChannelsWaitForTheirTurn) {
    // The server's own limit; one that is lower than ours is found out.
    for (const QByteArray& settings : {QByteArray(), QByteArray("MaxSessions 3")}) {
        SCOPED_TRACE(settings.toStdString());
        const test::SshServer server(settings);
        const auto client = clientFor(keyHost(server));
        ASSERT_EQ(connected(client), u"authorised, home"_s);
        std::atomic<int> right{0};
        std::vector<std::thread> commands;
        for (int count = 0; count < 11; ++count) {
            commands.emplace_back([&, count] {
                if (client->execute(u"sleep 0.2; echo %1"_s.arg(count)) == QString::number(count) + u'\n')
                    ++right;
            });
        }
        for (std::thread& command : commands)
            command.join();
        EXPECT_EQ(right, 11);
        client->disconnect();
        EXPECT_EQ(alerts_.texts(), QStringList());
    }
}

TEST_F(ChannelTest, CountsAndPollsLeaveRoomForRows) {
    const test::SshServer server;
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    const QString begun = server.path(u"begun"_s);
    std::atomic<bool> isOver{false};
    std::vector<std::thread> commands;
    for (const auto& [use, name] : {std::pair(CommandUse::Count, u"count"_s),
                                    {CommandUse::Poll, u"poll"_s},
                                    {CommandUse::Reading, u"reading"_s}}) {
        for (int number = 0; number < 9; ++number)
            commands.emplace_back(
                [&, use = use, command = u"echo %1 >>%2; exec sleep 3600"_s.arg(name, begun)] {
                    client->answer(command, use, [&] { return isOver.load(); });
                });
    }
    const auto haveBegun = [&](const QByteArray& name) {
        QFile file(begun);
        return file.open(QIODevice::ReadOnly) ? file.readAll().count(name) : 0;
    };
    EXPECT_TRUE(test::waitFor([&] { return haveBegun("\n") == 7; }));
    EXPECT_EQ(client->execute(u"echo rows"_s), u"rows\n"_s);
    EXPECT_LE(haveBegun("count"), 2);
    EXPECT_LE(haveBegun("poll"), 2);
    EXPECT_EQ(haveBegun("\n"), 7);
    isOver = true;
    for (std::thread& command : commands)
        command.join();
    client->disconnect();
}

TEST_F(ChannelTest, AShortCommandDoesNotWaitForALongOne) {
    const test::SshServer server;
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    std::atomic<bool> hasEnded{false};
    std::thread stream([&] {
        EXPECT_EQ(bytesRead(client, u"head -c 60000000 /dev/zero"_s), 60'000'000);
        hasEnded = true;
    });
    for (int count = 0; count < 5; ++count)
        EXPECT_EQ(client->execute(u"echo short"_s), u"short\n"_s);
    EXPECT_FALSE(hasEnded);
    stream.join();
    client->disconnect();
}

TEST_P(SessionTest, ACancelledCommandIsStoppedAndTheOthersGoOn) {
    const test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    // Half of them wait for a channel, and some get one only to be cancelled at once.
    std::atomic<bool> isCancelled{false};
    std::atomic<int> ended{0};
    std::vector<std::thread> commands;
    const QString mark = server.path(u"begun"_s);
    for (int count = 0; count < 16; ++count) {
        commands.emplace_back([&] {
            EXPECT_EQ(client->execute(u"echo $$ >>%1; exec sleep 3600"_s.arg(mark),
                                      [&] { return isCancelled.load(); }),
                      u""_s);
            ++ended;
        });
    }
    const auto processes = [&] {
        QFile file(mark);
        return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().split('\n') : QList<QByteArray>();
    };
    EXPECT_TRUE(test::waitFor([&] { return processes().size() == (isDropbear() ? 1 : 8); }));
    isCancelled = true;
    EXPECT_TRUE(test::waitFor([&] { return ended == 16; }));
    for (std::thread& command : commands)
        command.join();
    EXPECT_TRUE(test::waitFor([&] {
        for (const QByteArray& process : processes())
            if (::kill(process.toInt(), 0) == 0)
                return false;
        return true;
    })) << "what was cancelled goes on running on the server";
    EXPECT_EQ(client->execute(u"echo still there"_s), u"still there\n"_s);
    client->disconnect();
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(SessionTest, OurOwnDisconnectionStopsWhatRunsAndIsNotToldOf) {
    const test::SshServer server({}, GetParam());
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    const QString mark = server.path(u"process"_s);
    std::thread command(
        [&] { EXPECT_EQ(client->execute(u"echo $$ >%1; exec sleep 3600"_s.arg(mark)), u""_s); });
    qint64 process = 0;
    EXPECT_TRUE(test::waitFor([&] {
        QFile file(mark);
        process = file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toLongLong() : 0;
        return process > 0;
    }));
    client->disconnect();
    command.join();
    EXPECT_TRUE(test::waitFor([&] { return ::kill(static_cast<pid_t>(process), 0) != 0; }));
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_P(SessionTest, AListingNamesWhatIsThereAndWhereLinksLead) {
    const test::SshServer server({}, GetParam());
    const QDir home(server.path());
    ASSERT_TRUE(home.mkpath(u"tree/sub dir"_s));
    ASSERT_TRUE(QFile::link(u"sub dir"_s, server.path(u"tree/to directory"_s)));
    ASSERT_TRUE(QFile::link(u"gone"_s, server.path(u"tree/to nothing"_s)));
    ASSERT_TRUE(QFile::link(u"ä.log"_s, server.path(u"tree/to file"_s)));
    ASSERT_TRUE(QFile::link(u"tree"_s, server.path(u"link to tree"_s)));
    ASSERT_EQ(::mkfifo(server.path(u"tree/pipe"_s).toUtf8().constData(), 0600), 0);
    QFile file(server.path(u"tree/ä.log"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("12345");
    file.close();
    struct stat status {};
    ASSERT_EQ(::stat(server.path(u"tree/ä.log"_s).toUtf8().constData(), &status), 0);
    const auto client = clientFor(keyHost(server));
    ASSERT_EQ(connected(client), u"authorised, home"_s);
    SFTPClient files(client);
    using Kind = RemoteFileKind;
    for (const QString& path : {u"tree"_s, u"link to tree"_s}) {
        const auto listed = files.contentsOfDirectoryAtPath(server.path(path));
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
    const auto targets =
        files.followLinks({server.path(u"tree/to nothing"_s), server.path(u"tree/to directory"_s),
                           server.path(u"tree/to file"_s)});
    ASSERT_TRUE(targets) << targets.error().userText.toStdString();
    ASSERT_EQ(targets.value().size(), 3U);
    EXPECT_EQ(targets.value()[0].kind, Kind::Missing);
    EXPECT_EQ(targets.value()[0].fault,
              u"\"%1\" cannot be read: it does not exist."_s.arg(server.path(u"tree/to nothing"_s)));
    EXPECT_EQ(targets.value()[1].kind, Kind::Directory);
    EXPECT_EQ(targets.value()[2].kind, Kind::Regular);
    EXPECT_EQ(targets.value()[2].fileSize, 5U);
    const std::pair<QString, QString> refused[] = {{u"absent"_s, u"it does not exist"_s},
                                                   {u"tree/ä.log"_s, u"it is no directory"_s}};
    for (const auto& [path, reason] : refused) {
        const auto listed = files.contentsOfDirectoryAtPath(server.path(path));
        ASSERT_FALSE(listed);
        EXPECT_EQ(listed.error().userText, u"\"%1\" cannot be read: %2."_s.arg(server.path(path), reason));
        EXPECT_FALSE(files.directoryExistsAtPath(server.path(path)));
    }
    const auto info = files.infoForFileAtPath(server.path(u"tree/ä.log"_s));
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
