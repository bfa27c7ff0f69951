#include "remote/SshTest.h"

#include "support/KeyboardServer.h"
#include "support/PreferencesTest.h"
#include "support/StandIns.h"

#include "remote/UserSessionSettings.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/ssh/Askpass.h"

#include <QFile>

#include <algorithm>
#include <csignal>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// Programs put their questions by the executable that has started them, as main() of the program lets them.
[[gnu::constructor]] void askInPlaceOfTheTests(int argc, char** argv) {
    if (const auto status = Askpass::askWhereWanted(argc, argv))
        ::_exit(*status);
}

/// An agent that has one key, if any, and gives no other answer.
class SilentAgent {
public:
    SilentAgent(int listener, const QByteArray& key)
        : listener_(listener), key_(key), thread_([this] { serve(); }) {}
    ~SilentAgent() {
        isOver_ = true;
        thread_.join();
    }
    SilentAgent(const SilentAgent&) = delete;
    SilentAgent& operator=(const SilentAgent&) = delete;

    /// How often it was asked what it does not answer.
    int waits() const { return waits_; }

private:
    void serve() {
        while (!isOver_) {
            pollfd asked{listener_, POLLIN, 0};
            if (::poll(&asked, 1, 10) == 1)
                serveOne(::accept(listener_, nullptr, nullptr));
        }
    }
    void serveOne(int connection) {
        char request[4096];
        const auto asked = [&] { return ::recv(connection, request, sizeof request, 0) > 0; };
        if (!key_.isEmpty() && asked()) {
            const auto number = [](qsizetype value) { return QByteArray(3, 0) + static_cast<char>(value); };
            const QByteArray answer = '\x0c' + number(1) + number(key_.size()) + key_ + number(0);
            const QByteArray message = number(answer.size()) + answer;
            EXPECT_EQ(::send(connection, message.constData(), static_cast<std::size_t>(message.size()), 0),
                      message.size());
        }
        while (asked())
            ++waits_;
        ::close(connection);
    }

    const int listener_;
    const QByteArray key_;
    std::atomic<bool> isOver_{false};
    std::atomic<int> waits_{0};
    std::thread thread_;
};

class SshConfigTest : public test::SshTest {
protected:
    SshConfigTest() {
        settings_.configPath = path(u"config"_s);
        settings_.knownHostsPath = path(u"known hosts"_s);
    }
    QString path(const QString& name) const { return directory_.filePath(name); }
    void writeConfig(const QString& text) {
        settings_.usesSshConfig = true;
        QFile file(settings_.configPath);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text.toUtf8());
    }
    void addKnownHost(const QByteArray& text) const {
        QFile file(settings_.knownHostsPath);
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write(text);
    }
    static QByteArray content(const QString& path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    static QByteArray publicKey(const QString& path) { return content(path).trimmed(); }
    QByteArray knownHosts() const { return content(settings_.knownHostsPath); }

    /// Answers the one question there will be.
    QString connectedPressing(const std::shared_ptr<Client>& client, int button) {
        const auto before = static_cast<int>(alerts_.alerts.size());
        QString result;
        std::atomic<bool> isDone{false};
        std::thread connecting([&] {
            result = test::outcome(client->connect());
            isDone = true;
        });
        bool isPressed = false;
        EXPECT_TRUE(test::waitFor([&] {
            if (!isPressed && static_cast<int>(alerts_.alerts.size()) > before) {
                isPressed = true;
                alerts_.press(before, button);
            }
            return isDone.load();
        }));
        connecting.join();
        return result;
    }

    static sockaddr_un addressOf(const QByteArray& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path.begin(), path.end(), address.sun_path);
        return address;
    }
    static int listenAt(const QByteArray& path) {
        const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const sockaddr_un address = addressOf(path);
        EXPECT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener, 4), 0);
        return listener;
    }
    static int connectTo(int socket, const QByteArray& path) {
        const sockaddr_un address = addressOf(path);
        return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    }

    const QTemporaryDir directory_;
    /// So that the user's own agent takes no part.
    const test::ScopedVariable agent_{"SSH_AUTH_SOCK", {}};
};

TEST_F(SshConfigTest, AnAliasStandsForWhatTheConfigurationSays) {
    const test::SshServer server;
    const QString key = server.makeKey(u"id"_s);
    ASSERT_TRUE(QFile::remove(key + u".pub"_s));
    // Later parts are about the name as it was typed.
    writeConfig(u"Host lo_gs\n  HostName 127.0.0.1\n  IdentityFile \"%2\"\nHost lo*\n  Port %1\n"
                "Match originalhost lo_gs\n  User tester\n  BindAddress 127.0.0.9\n  AddressFamily inet\n"_s
                    .arg(server.port())
                    .arg(key));
    const auto alias = std::make_shared<RemoteHost>(u"lo_gs"_s, 22, u""_s);
    const auto client = clientFor(alias);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(client->execute(u"echo $USER"_s), u"tester\n"_s);
    EXPECT_TRUE(server.log().contains("Connection from 127.0.0.9 "));
    EXPECT_FALSE(QFile::exists(key + u".pub"_s)) << "written beside the user's key";
    client->disconnect();
    // What is entered for the host itself goes first.
    EXPECT_EQ(connected(clientFor(std::make_shared<RemoteHost>(u"lo_gs"_s, test::freePort(), u""_s))),
              u"not authorised, no home"_s);
    EXPECT_TRUE(connected(clientFor(std::make_shared<RemoteHost>(u"lo_gs"_s, 22, u"stranger"_s)))
                    .startsWith(u"error: Access denied"_s));
    // And without the choice the alias is nobody's name.
    settings_.usesSshConfig = false;
    settings_.connectingLimit = 5s;
    EXPECT_EQ(connected(clientFor(alias)), u"not authorised, no home"_s);
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(SshConfigTest, WhyTheConfigurationLeadsNowhereIsSaid) {
    const auto host = std::make_shared<RemoteHost>(u"lo_gs"_s, 4022, u"me"_s);
    const auto faultWith = [&](const QString& config) {
        writeConfig(config);
        const auto client = clientFor(host);
        EXPECT_EQ(connected(client), u"not authorised, no home"_s);
        return client->fault();
    };
    EXPECT_EQ(faultWith(u"Host *\n  HostName x.example\n  ProxyCommand printf '%%s\\n' Old Banner key '' "
                        "\"$(printf '\\033[31mkey\\033[0m\\r')\" '%n %h %p %r %%' >&2"_s),
              u"The program that leads to the server reports: Banner\nkey\nlo_gs x.example 4022 me %"_s);
    EXPECT_TRUE(faultWith(u"Port 22\nPort no"_s).contains(u"line 2"_s));
    // A program of the configuration that hangs.
    settings_.connectingLimit = 1s;
    EXPECT_EQ(faultWith(u"Match exec \"sleep 600\"\n"_s),
              u"The program ssh takes too long to read the configuration of \"lo_gs\"."_s);
    settings_.connectingLimit = 1h;
    const QString pidPath = path(u"pid"_s);
    writeConfig(u"Match exec \"echo $$ > '%1' && exec sleep 600\"\n"_s.arg(pidPath));
    const auto cancelled = clientFor(host);
    bool isDone = false;
    cancelled->testConnection([&] { isDone = true; });
    QByteArray pid;
    EXPECT_TRUE(test::waitFor([&] { return (pid = content(pidPath).trimmed()).toInt() > 0; }));
    cancelled->cancelConnectionTest();
    EXPECT_TRUE(test::waitFor([&] { return isDone && ::kill(pid.toInt(), 0) != 0; }));
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(SshConfigTest, WithoutSshTheHostIsReachedByWhatWasEntered) {
    const test::SshServer server;
    const auto host = keyHost(server);
    writeConfig(u"Host lo_gs\n  HostName 127.0.0.1\n"_s);
    const test::StandIns noPrograms;
    const auto client = clientFor(host);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
    const auto alias = clientFor(std::make_shared<RemoteHost>(u"lo_gs"_s, 22, u"me"_s));
    EXPECT_EQ(connected(alias), u"not authorised, no home"_s);
    EXPECT_TRUE(alias->fault().contains(u"there is no program \"ssh\""_s)) << qPrintable(alias->fault());
}

TEST_F(SshConfigTest, TheHostsOwnProofCountsWhereTheConfigurationHasNone) {
    const test::SshServer server;
    writeConfig(u"Host *\n  IdentityFile /nonexistent\n"_s);
    const auto client = clientFor(keyHost(server));
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
}

TEST_F(SshConfigTest, ACertificateMakesAStrangersKeyGood) {
    const QByteArray authority = path(u"authority"_s).toLocal8Bit();
    const QByteArray key = path(u"own"_s).toLocal8Bit();
    for (const QByteArray& name : {authority, key})
        ASSERT_TRUE(test::runProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", name}));
    const test::SshServer server("TrustedUserCAKeys " + authority + ".pub");
    writeConfig(u"IdentityFile \"%1\"\nCertificateFile \"%1-cert.pub\"\n"_s.arg(path(u"own"_s)));
    const auto host = hostWith(server, nullptr);
    EXPECT_TRUE(connected(clientFor(host)).startsWith(u"error: Access denied"_s));
    ASSERT_TRUE(
        test::runProgram({"ssh-keygen", "-q", "-s", authority, "-I", "id", "-n", "tester", key + ".pub"}));
    const auto client = clientFor(host);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
}

TEST_F(SshConfigTest, TheAgentProvesTheLoginWithNamedKeysFirst) {
    const test::SshServer server("MaxAuthTries 2");
    const QString key = server.makeKey(u"id"_s);
    const QByteArray socket = path(u"agent"_s).toLocal8Bit();
    test::ChildProcess agent;
    ASSERT_TRUE(agent.start({"ssh-agent", "-D", "-a", socket}, {"SSH_ASKPASS=/bin/false"}));
    ASSERT_TRUE(test::waitFor([&] { return QFile::exists(path(u"agent"_s)); }));
    const test::ScopedVariable running("SSH_AUTH_SOCK", socket);
    const auto host = hostWith(server, nullptr);
    writeConfig(u"IdentityFile none\n"_s);
    EXPECT_EQ(connected(clientFor(host)), u"error: The login was refused."_s);
    // A key that the agent does not give away is taken from its file.
    ASSERT_TRUE(test::runProgram({"ssh-add", "-q", "-c", key.toLocal8Bit()}));
    writeConfig(u"IdentityFile \"%1\"\n"_s.arg(key));
    const auto refusedByAgent = clientFor(host);
    EXPECT_EQ(connected(refusedByAgent), u"authorised, home"_s);
    refusedByAgent->disconnect();
    ASSERT_TRUE(test::runProgram({"ssh-add", "-q", "-D"}));
    writeConfig(u"IdentityFile none\n"_s);
    for (const QString& name : {u"other 1"_s, u"other 2"_s, u"other 3"_s}) {
        const QByteArray other = path(name).toLocal8Bit();
        ASSERT_TRUE(test::runProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", other}));
        ASSERT_TRUE(test::runProgram({"ssh-add", "-q", other}));
    }
    ASSERT_TRUE(test::runProgram({"ssh-add", "-q", key.toLocal8Bit()}));
    ASSERT_TRUE(QFile::remove(key)); // the agent alone has it
    EXPECT_TRUE(connected(clientFor(host)).contains(u"Too many authentication failures"_s));
    for (const QString& only : {u"no"_s, u"yes"_s}) {
        writeConfig(u"IdentityFile \"%1\"\nIdentitiesOnly %2\n"_s.arg(key, only));
        const auto client = clientFor(host);
        EXPECT_EQ(connected(client), u"authorised, home"_s);
        client->disconnect();
    }
    const auto attempts = server.log().count("Failed publickey");
    writeConfig(u"IdentityFile /nonexistent\nIdentitiesOnly yes\n"_s);
    EXPECT_EQ(connected(clientFor(host)), u"error: The login was refused."_s);
    EXPECT_EQ(server.log().count("Failed publickey"), attempts) << "a key that was to be kept back";
    // The configuration can name another agent, or none.
    writeConfig(u"IdentityFile \"%1\"\nIdentityAgent none\n"_s.arg(key));
    EXPECT_EQ(connected(clientFor(host)), u"error: The login was refused."_s);
    writeConfig(u"IdentityFile \"%1\"\nIdentityAgent \"%2\"\n"_s.arg(key, path(u"agent"_s)));
    const test::ScopedVariable elsewhere("SSH_AUTH_SOCK", "/nonexistent");
    const auto client = clientFor(host);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
}

TEST_F(SshConfigTest, AnAgentThatWaitsForItsUserHoldsUpNoLogin) {
    const test::SshServer server;
    const QByteArray path = this->path(u"silent"_s).toLocal8Bit();
    const int listener = listenAt(path);
    const test::ScopedVariable running("SSH_AUTH_SOCK", path);
    settings_.usesSshConfig = true;
    const auto host = keyHost(server);
    const QByteArray key = QByteArray::fromBase64(publicKey(server.path(u"id.pub"_s)).split(' ').value(1));
    // Silent from the begin, or asking its user whether the key may be used.
    for (const QByteArray& offered : {QByteArray(), key}) {
        SilentAgent agent(listener, offered);
        // Called off as soon as the agent waits: the limit does not help.
        settings_.connectingLimit = 1h;
        const auto cancelled = clientFor(host);
        bool isDone = false;
        cancelled->testConnection([&] { isDone = true; });
        EXPECT_TRUE(test::waitFor([&] { return agent.waits() == 1; }));
        cancelled->cancelConnectionTest();
        EXPECT_TRUE(test::waitFor([&] { return isDone; }));
        settings_.connectingLimit = 1s;
        EXPECT_EQ(connected(clientFor(host)), u"error: The SSH agent does not answer."_s);
    }
    // One that has no place for anyone more is as good as none.
    ASSERT_EQ(::listen(listener, 0), 0);
    const int taken = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connectTo(taken, path), 0);
    settings_.connectingLimit = 15s;
    const auto client = clientFor(host);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
    EXPECT_EQ(alerts_.texts(), QStringList());
    ::close(taken);
    ::close(listener);
}

TEST_F(SshConfigTest, AnAgentThatGoesAwayIsLikeNone) {
    const test::SshServer server;
    const QByteArray path = this->path(u"leaving"_s).toLocal8Bit();
    const int listener = listenAt(path);
    const test::ScopedVariable running("SSH_AUTH_SOCK", path);
    settings_.usesSshConfig = true;
    std::thread agent([listener] {
        pollfd asked{listener, POLLIN, 0};
        if (::poll(&asked, 1, 20'000) == 1)
            ::close(::accept(listener, nullptr, nullptr));
        ::close(listener);
    });
    const auto client = clientFor(keyHost(server));
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
    agent.join();
}

TEST_F(SshConfigTest, AJumpHostIsGoneThrough) {
    const test::SshServer jump;
    const test::SshServer server;
    const QString key = server.makeKey(u"id"_s);
    const QString jumpKey = jump.makeKey(u"id"_s);
    writeConfig(u"Host between_here\n  HostName 127.0.0.1\n  Port %1\n  User tester\n  IdentityFile \"%2\"\n"
                "  StrictHostKeyChecking no\n  UserKnownHostsFile /dev/null\n"
                "Host behind_it\n  HostName 127.0.0.1\n  Port %3\n  User tester\n  IdentityFile \"%4\"\n"
                "  ProxyJump between_here\n"_s.arg(jump.port())
                    .arg(jumpKey)
                    .arg(server.port())
                    .arg(key));
    const auto client = clientFor(std::make_shared<RemoteHost>(u"behind_it"_s, 22, u""_s));
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(jump.log().count("Accepted publickey"), 1);
    EXPECT_EQ(client->execute(u"seq 100000 | tail -n 1"_s), u"100000\n"_s);
    client->disconnect();
}

TEST_F(SshConfigTest, WhatJumpHostsAskTheUserAnswers) {
    const test::SshServer jump;
    const test::KeyboardServer server({{"", {{"Password: ", false, "secret"}}}});
    const QString key = jump.makeKey(u"id"_s, "ed25519", "phrase");
    writeConfig(u"Host hop_*\n  HostName 127.0.0.1\n  Port %1\n  User tester\n  IdentityFile \"%2\"\n"
                "  UserKnownHostsFile \"%3\"\n  PreferredAuthentications publickey\n"
                "Host behind_them\n  HostName 127.0.0.1\n  Port %4\n  IdentityFile none\n"
                "  ProxyJump hop_1,hop_2\n"_s.arg(jump.port())
                    .arg(key, settings_.knownHostsPath)
                    .arg(server.port()));
    const auto host = std::make_shared<RemoteHost>(u"behind_them"_s, 22, u"tester"_s);
    host->setAuthnType(std::make_shared<KeyboardAuthnType>());
    // For two jumps and as many programs that ask, on a loaded machine.
    settings_.connectingLimit = 20s;
    const auto client = clientFor(host);
    // Whether it is there; otherwise nobody waits for more of them.
    const auto isAsked = [&](std::size_t number) {
        const bool isThere = test::waitFor([&] { return alerts_.alerts.size() > number; });
        EXPECT_TRUE(isThere) << "no question " << number;
        if (!isThere)
            client->disconnect();
        return isThere;
    };
    const auto expectPassPhrase = [&](const Alert& alert) {
        EXPECT_EQ(alert.message, u"On the way to the server 'behind_them', a jump host asks:"_s);
        EXPECT_EQ(alert.informativeText, u"Enter passphrase for key '%1':"_s.arg(key));
        EXPECT_TRUE(alert.field && alert.field->isMasked);
    };

    QString outcome;
    std::thread connecting([&] { outcome = test::outcome(client->connect()); });
    if (isAsked(0)) {
        const Alert& unknown = alerts_.alerts[0];
        EXPECT_TRUE(unknown.informativeText.contains(jump.hostFingerprint()));
        EXPECT_FALSE(!unknown.field || unknown.field->isMasked);
        // The user may take longer than the servers.
        const auto answerTime = std::chrono::steady_clock::now() + settings_.connectingLimit;
        EXPECT_TRUE(test::waitFor([&] { return std::chrono::steady_clock::now() > answerTime; },
                                  std::chrono::minutes(1)));
        alerts_.enter(0, u"yes"_s);
    }
    for (const std::size_t hop : {1U, 2U}) {
        if (isAsked(hop)) {
            expectPassPhrase(alerts_.alerts[hop]);
            alerts_.enter(static_cast<int>(hop), u"phrase"_s);
        }
    }
    // None of that is what the host itself wants to know.
    if (isAsked(3)) {
        EXPECT_EQ(alerts_.alerts[3].message, u"Enter password for user 'tester' on server: behind_them"_s);
        alerts_.enter(3, u"secret"_s);
    }
    connecting.join();
    EXPECT_EQ(outcome, u"authorised, no home"_s);
    EXPECT_EQ(alerts_.alerts.size(), 4U);
    client->disconnect();

    // Without an answer the jump is ended, too.
    bool isDone = false;
    const auto cancelled = clientFor(host);
    cancelled->testConnection([&] { isDone = true; });
    ASSERT_TRUE(test::waitFor([&] { return alerts_.alerts.size() > 4; }));
    expectPassPhrase(alerts_.alerts[4]);
    alerts_.press(4, 1);
    EXPECT_TRUE(test::waitFor([&] { return isDone && jump.connectionProcesses().empty(); }));
    EXPECT_EQ(alerts_.alerts.size(), 5U) << "a failure is shown";
    // A wrong one is taken as such, and then ssh says why.
    const auto refused = clientFor(host);
    EXPECT_EQ(connectedAnswering(refused, {u"a"_s, u"b"_s, u"c"_s}), u"not authorised, no home"_s);
    EXPECT_TRUE(refused->fault().contains(u"Permission denied (publickey"_s)) << qPrintable(refused->fault());
}

TEST_F(SshConfigTest, AnUnknownHostKeyIsAskedForOnceWhereTheUserWantsIt) {
    settings_.hostKeyPolicy = HostKeyPolicy::AskForNew;
    const test::SshServer server;
    const auto host = keyHost(server);
    const QByteArray other = "other.example " + publicKey(server.path(u"id.pub"_s));
    addKnownHost(other); // a line without an end

    EXPECT_EQ(connectedPressing(clientFor(host), 1), u"not authorised, no home"_s);
    EXPECT_EQ(knownHosts(), other);
    const auto accepting = clientFor(host);
    EXPECT_EQ(connectedPressing(accepting, 0), u"authorised, home"_s);
    accepting->disconnect();
    ASSERT_EQ(alerts_.alerts.size(), 2U);
    const QByteArray entry = "[127.0.0.1]:" + QByteArray::number(server.port()) + " ssh-ed25519 ";
    EXPECT_TRUE(knownHosts().startsWith(other + '\n' + entry)) << knownHosts().constData();
    EXPECT_TRUE(alerts_.alerts[1].informativeText.contains(server.hostFingerprint()));
    const auto again = clientFor(host);
    EXPECT_EQ(connected(again), u"authorised, home"_s);
    again->disconnect();
    EXPECT_EQ(alerts_.alerts.size(), 2U);
}

TEST_F(SshConfigTest, AChangedHostKeyIsUsedOnlyWhenTheUserSaysSo) {
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptNew;
    test::SshServer server;
    const auto host = keyHost(server);
    const auto changeKey = [&] {
        server.stop();
        server.makeHostKey();
        server.start();
        return server.hostFingerprint();
    };
    const auto expectConnected = [&] {
        const auto client = clientFor(host);
        EXPECT_EQ(connected(client), u"authorised, home"_s);
        client->disconnect();
    };
    const QByteArray name = "[127.0.0.1]:" + QByteArray::number(server.port());
    const QByteArray other = "other.example " + publicKey(server.path(u"id.pub"_s)) + '\n';
    addKnownHost(other);
    expectConnected();
    EXPECT_EQ(alerts_.texts(), QStringList()) << "asked for a new key";
    EXPECT_TRUE(knownHosts().startsWith(other + name + ' ')) << knownHosts().constData();

    // Alone on its line, among other names, and hashed.
    enum class Entry { Alone, Shared, Hashed };
    for (const Entry entry : {Entry::Alone, Entry::Shared, Entry::Hashed}) {
        SCOPED_TRACE(static_cast<int>(entry));
        const QByteArray old = publicKey(server.path(u"host_key.pub"_s));
        const QString oldFingerprint = server.hostFingerprint();
        if (entry != Entry::Alone) {
            ASSERT_TRUE(QFile::remove(settings_.knownHostsPath));
            addKnownHost((entry == Entry::Shared ? "a.example," + name + ",b.example " : name + ' ') + old +
                         '\n' + other);
        }
        const QByteArray file = QFile::encodeName(settings_.knownHostsPath);
        if (entry == Entry::Hashed) {
            ASSERT_TRUE(test::runProgram({"ssh-keygen", "-q", "-H", "-f", file}));
        }
        const QByteArray before = knownHosts();
        const QString newFingerprint = changeKey();
        const auto asked = alerts_.alerts.size();
        const auto cancelled = clientFor(host);
        EXPECT_EQ(connectedPressing(cancelled, 1), u"not authorised, no home"_s);
        EXPECT_TRUE(cancelled->wasRefused());
        EXPECT_EQ(knownHosts(), before);
        const auto accepting = clientFor(host);
        EXPECT_EQ(connectedPressing(accepting, 0), u"authorised, home"_s);
        accepting->disconnect();
        ASSERT_EQ(alerts_.alerts.size(), asked + 2);
        const Alert& question = alerts_.alerts.back();
        EXPECT_TRUE(question.informativeText.contains(u"Old key:\nssh-ed25519 "_s + oldFingerprint));
        EXPECT_TRUE(question.informativeText.contains(u"New key:\nssh-ed25519 "_s + newFingerprint));
        EXPECT_EQ(question.buttons, QStringList({u"Use New Key"_s, u"Cancel"_s}));
        EXPECT_EQ(question.defaultButton, 1);
        expectConnected();
        const QByteArray after = knownHosts();
        EXPECT_EQ(after.count(old.split(' ')[1]), entry == Entry::Shared ? 1 : 0) << after.constData();
        EXPECT_EQ(after.contains("a.example,b.example ssh-ed25519 "), entry == Entry::Shared);
        EXPECT_EQ(after.count('\n'), entry == Entry::Shared ? 3 : 2) << after.constData();
        EXPECT_TRUE(test::runProgram({"ssh-keygen", "-F", "other.example", "-f", file}));
    }

    addKnownHost("@revoked * " + publicKey(server.path(u"host_key.pub"_s)) + '\n');
    const auto refusing = clientFor(host);
    const auto revoked = test::beside([&] { return refusing->connect(); });
    ASSERT_TRUE(revoked && !*revoked);
    EXPECT_TRUE(revoked->error().userText.startsWith(u"The key of the server is marked as revoked"_s));
    EXPECT_TRUE(revoked->error().recoverySuggestion.contains(u"127.0.0.1:%1"_s.arg(server.port())));
    // Nobody who does not want to know is asked or refused.
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptAll;
    changeKey();
    const QByteArray before = knownHosts();
    expectConnected();
    EXPECT_EQ(knownHosts(), before);
}

TEST_F(SshConfigTest, AKeyThatTheConfigurationRevokesIsRefused) {
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptNew;
    const test::SshServer server;
    const auto host = keyHost(server);
    const QString list = path(u"revoked keys"_s);
    writeConfig(u"RevokedHostKeys \"%1\"\nUserKnownHostsFile \"%2\"\n"_s.arg(list, settings_.knownHostsPath));
    const auto outcomeWith = [&] {
        const auto client = clientFor(host);
        const QString outcome = connected(client);
        client->disconnect();
        return outcome + client->fault();
    };
    const QString unreadable =
        u"not authorised, no homeThe list of revoked keys \"%1\" cannot be read: "_s.arg(list);
    const QString revoked = u"error: The key of the server is revoked in \"%1\": ssh-ed25519 "_s.arg(list) +
                            server.hostFingerprint();
    EXPECT_TRUE(outcomeWith().startsWith(unreadable));
    const QByteArray shown = server.path(u"host_key.pub"_s).toLocal8Bit();
    const QByteArray other = server.path(u"id.pub"_s).toLocal8Bit();
    const QByteArray name = list.toLocal8Bit();
    // As text, and in the form of ssh-keygen.
    for (const bool isText : {true, false}) {
        const auto revoke = [&](const QByteArray& key, const QByteArray& update) {
            EXPECT_TRUE(isText ? test::runProgram({"/bin/sh", "-c", "cat \"$0\" >>\"$1\"", key, name})
                               : test::runProgram({"ssh-keygen", "-q", update, "-f", name, key}));
        };
        QFile::remove(list);
        revoke(other, "-k");
        EXPECT_EQ(outcomeWith(), u"authorised, home"_s) << isText;
        revoke(shown, "-ku");
        EXPECT_TRUE(outcomeWith().startsWith(revoked)) << isText;
    }
    ASSERT_TRUE(test::runProgram({"truncate", "-s", "60", name}));
    EXPECT_TRUE(outcomeWith().startsWith(unreadable));
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptAll;
    EXPECT_EQ(outcomeWith(), u"authorised, home"_s);
}

TEST_F(SshConfigTest, TheConfigurationSaysUnderWhichNameAKeyIsKnown) {
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptNew;
    const test::SshServer server;
    const auto host = keyHost(server);
    writeConfig(
        u"HostKeyAlias known_as\nUserKnownHostsFile \"%1\" /nonexistent\n"_s.arg(path(u"own hosts"_s)));
    const auto client = clientFor(host);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
    EXPECT_TRUE(content(path(u"own hosts"_s)).startsWith("known_as ssh-ed25519 "));
    EXPECT_EQ(knownHosts(), "");
}

using SshSettingsTest = test::PreferencesTest;

TEST_F(SshSettingsTest, TheChoicesOfTheUserReachTheSession) {
    QTemporaryDir directory;
    UserDefaults& defaults = Preferences::shared().userDefaults();
    RemoteHostsManager::setShared(std::move(RemoteHostsManager::load(directory.path(), defaults)).value());
    RemoteHostsManager& hosts = RemoteHostsManager::shared();
    const auto host = std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s);
    const auto other = std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s);
    ASSERT_TRUE(hosts.add(host));
    EXPECT_EQ(userSessionSettings(*host).hostKeyPolicy, HostKeyPolicy::AcceptNew);
    EXPECT_FALSE(userSessionSettings(*host).usesSshConfig);
    // As it was stored when there were two choices.
    defaults.set(u"checksHostKeys"_s, true);
    EXPECT_EQ(userSessionSettings(*host).hostKeyPolicy, HostKeyPolicy::AskForNew);
    defaults.set(u"checksHostKeys"_s, false);
    EXPECT_EQ(userSessionSettings(*host).hostKeyPolicy, HostKeyPolicy::AcceptAll);
    Preferences::shared().setHostKeyChoice(HostKeyChoice::AskForNew);
    hosts.setUsesSshConfig(*host, true);
    EXPECT_EQ(userSessionSettings(*host).hostKeyPolicy, HostKeyPolicy::AskForNew);
    EXPECT_TRUE(userSessionSettings(*host).usesSshConfig);
    EXPECT_FALSE(userSessionSettings(*other).usesSshConfig);
    hosts.copyKeyBookmarks(*host, *other);
    EXPECT_TRUE(hosts.usesSshConfig(*other));
    ASSERT_TRUE(hosts.update(0, host));
    EXPECT_TRUE(hosts.usesSshConfig(*host)) << "changing the host's data forgets the choice";
    hosts.remove(host);
    EXPECT_FALSE(hosts.usesSshConfig(*host));
    RemoteHostsManager::setShared(nullptr);
}

} // namespace
} // namespace korvane
