#include "remote/SshTest.h"

#include "support/PreferencesTest.h"
#include "support/StandIns.h"

#include "remote/UserSessionSettings.h"
#include "remote/hosts/RemoteHostsManager.h"

#include <QDir>
#include <QFile>

#include <algorithm>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

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
    static QByteArray publicKey(const QString& path) {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll().trimmed();
    }
    QByteArray knownHosts() const {
        QFile file(settings_.knownHostsPath);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// Answers the one question there will be.
    QString connectedPressing(const std::shared_ptr<Client>& client, int button) {
        const auto before = static_cast<int>(alerts_.shown().size());
        QString result;
        std::atomic<bool> isDone{false};
        std::thread connecting([&] {
            result = test::outcome(client->connect());
            isDone = true;
        });
        bool isPressed = false;
        EXPECT_TRUE(test::waitFor([&] {
            if (!isPressed && static_cast<int>(alerts_.shown().size()) > before) {
                isPressed = true;
                alerts_.press(before, button);
            }
            return isDone.load();
        }));
        connecting.join();
        return result;
    }

    static int listenAt(const QByteArray& path) {
        const int listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::copy(path.begin(), path.end(), address.sun_path);
        EXPECT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(::listen(listener, 4), 0);
        return listener;
    }

    const QTemporaryDir directory_;
    /// So that the user's own agent takes no part.
    const test::ScopedVariable agent_{"SSH_AUTH_SOCK", {}};
};

TEST_F(SshConfigTest, AnAliasStandsForWhatTheConfigurationSays) {
    const test::SshServer server;
    const QString key = server.makeKey(u"id"_s);
    writeConfig(u"Host logs\n  HostName 127.0.0.1\n  Port %1\n  User tester\n  IdentityFile \"%2\"\n"_s
                    .arg(server.port())
                    .arg(key));
    const auto alias = std::make_shared<RemoteHost>(u"logs"_s, 22, u""_s);
    const auto client = clientFor(alias);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(client->execute(u"echo $USER"_s), u"tester\n"_s);
    client->disconnect();
    // What is entered for the host itself goes first.
    EXPECT_EQ(connected(clientFor(std::make_shared<RemoteHost>(u"logs"_s, test::freePort(), u""_s))),
              u"not authorised, no home"_s);
    EXPECT_TRUE(connected(clientFor(std::make_shared<RemoteHost>(u"logs"_s, 22, u"stranger"_s)))
                    .startsWith(u"error: Access denied"_s));
    // And without the choice the alias is nobody's name.
    settings_.usesSshConfig = false;
    settings_.connectingLimit = 5s;
    EXPECT_EQ(connected(clientFor(alias)), u"not authorised, no home"_s);
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(SshConfigTest, TheHostsOwnProofCountsWhereTheConfigurationHasNone) {
    const test::SshServer server;
    writeConfig(u"Host *\n  IdentityFile /nonexistent\n"_s);
    const auto client = clientFor(keyHost(server));
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
}

TEST_F(SshConfigTest, TheAgentProvesTheLogin) {
    const test::SshServer server;
    const QString key = server.makeKey(u"id"_s);
    const QByteArray socket = path(u"agent"_s).toLocal8Bit();
    test::ChildProcess agent;
    ASSERT_TRUE(agent.start({"ssh-agent", "-D", "-a", socket}));
    ASSERT_TRUE(test::waitFor([&] { return QFile::exists(path(u"agent"_s)); }));
    const test::ScopedVariable running("SSH_AUTH_SOCK", socket);
    settings_.usesSshConfig = true;
    const auto host = hostWith(server, nullptr);
    EXPECT_EQ(connected(clientFor(host)), u"error: The login was refused."_s);
    ASSERT_TRUE(test::runProgram({"ssh-add", "-q", key.toLocal8Bit()}));
    const auto client = clientFor(host);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
}

TEST_F(SshConfigTest, AnAgentThatNeverAnswersHoldsUpNoLogin) {
    const test::SshServer server;
    const QByteArray path = this->path(u"silent"_s).toLocal8Bit();
    const int listener = listenAt(path);
    const test::ScopedVariable running("SSH_AUTH_SOCK", path);
    settings_.usesSshConfig = true;

    // Called off as soon as the agent is asked.
    const auto host = keyHost(server);
    const auto cancelled = clientFor(host);
    bool isDone = false;
    const auto begin = std::chrono::steady_clock::now();
    cancelled->testConnection([&] { isDone = true; });
    pollfd asked{listener, POLLIN, 0};
    EXPECT_EQ(::poll(&asked, 1, 20'000), 1);
    cancelled->cancelConnectionTest();
    EXPECT_TRUE(test::waitFor([&] { return isDone; }, 10s));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, settings_.connectingLimit);

    settings_.connectingLimit = 1s;
    EXPECT_EQ(connected(clientFor(host)), u"error: The SSH agent does not answer."_s);
    // One that has no place for anyone more is as good as none.
    ASSERT_EQ(::listen(listener, 0), 0);
    settings_.connectingLimit = 15s;
    const auto client = clientFor(host);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    client->disconnect();
    EXPECT_EQ(alerts_.texts(), QStringList());
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
    // What the way leads through is OpenSSH's own client, which reads the same configuration.
    const QString own = path(u"own"_s);
    ASSERT_TRUE(QDir().mkpath(own));
    QFile wrapper(own + u"/ssh"_s);
    ASSERT_TRUE(wrapper.open(QIODevice::WriteOnly));
    wrapper.write("#!/bin/sh\nexec /usr/bin/ssh -F '" + settings_.configPath.toLocal8Bit() + "' \"$@\"\n");
    wrapper.close();
    wrapper.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const test::ScopedVariable programs("PATH", own.toLocal8Bit() + ':' + qgetenv("PATH"));
    writeConfig(u"Host between\n  HostName 127.0.0.1\n  Port %1\n  User tester\n  IdentityFile \"%2\"\n"
                "  StrictHostKeyChecking no\n  UserKnownHostsFile /dev/null\n"
                "Host behind\n  HostName 127.0.0.1\n  Port %3\n  User tester\n  IdentityFile \"%4\"\n"
                "  ProxyJump between\n"_s.arg(jump.port())
                    .arg(jumpKey)
                    .arg(server.port())
                    .arg(key));
    const auto client = clientFor(std::make_shared<RemoteHost>(u"behind"_s, 22, u""_s));
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(jump.log().count("Accepted publickey"), 1);
    EXPECT_EQ(client->execute(u"seq 100000 | tail -n 1"_s), u"100000\n"_s);
    client->disconnect();
}

TEST_F(SshConfigTest, AnUnknownHostKeyIsAskedForOnceAndAChangedOneRefused) {
    settings_.checksHostKeys = true;
    test::SshServer server;
    const auto host = keyHost(server);

    const QByteArray other = "other.example " + publicKey(server.path(u"id.pub"_s));
    addKnownHost(other); // a line without an end

    EXPECT_EQ(connectedPressing(clientFor(host), 1), u"not authorised, no home"_s);
    EXPECT_EQ(knownHosts(), other);
    const auto accepting = clientFor(host);
    EXPECT_EQ(connectedPressing(accepting, 0), u"authorised, home"_s);
    accepting->disconnect();
    ASSERT_EQ(alerts_.shown().size(), 2U);
    const QByteArray entry = "[127.0.0.1]:" + QByteArray::number(server.port()) + " ssh-ed25519 ";
    EXPECT_TRUE(knownHosts().startsWith(other + '\n' + entry)) << knownHosts().constData();
    const QString known = server.hostFingerprint();
    EXPECT_TRUE(alerts_.shown()[1].alert.informativeText.contains(known)) << qPrintable(known);

    const auto again = clientFor(host);
    EXPECT_EQ(connected(again), u"authorised, home"_s);
    again->disconnect();

    addKnownHost("@revoked * " + publicKey(server.path(u"host_key.pub"_s)) + '\n');
    const QString revoked = connected(clientFor(host));
    EXPECT_TRUE(revoked.startsWith(u"error: The key of the server is marked as revoked"_s))
        << qPrintable(revoked);

    server.stop();
    server.makeHostKey();
    server.start();
    const auto refusing = clientFor(host);
    const auto refusal = test::beside([&] { return refusing->connect(); });
    ASSERT_TRUE(refusal && !*refusal);
    EXPECT_TRUE(refusal->error().recoverySuggestion.contains(u"127.0.0.1:%1"_s.arg(server.port())));
    const QString changed = test::outcome(*refusal);
    EXPECT_TRUE(changed.startsWith(u"error: The key of the server is not the one that "_s))
        << qPrintable(changed);
    EXPECT_TRUE(changed.contains(u"Known: ssh-ed25519 "_s + known)) << qPrintable(changed);
    EXPECT_TRUE(changed.contains(u"Shown: ssh-ed25519 "_s + server.hostFingerprint())) << qPrintable(changed);
    EXPECT_EQ(alerts_.shown().size(), 2U);
    // Nobody who does not want to know is asked or refused.
    settings_.checksHostKeys = false;
    const auto careless = clientFor(host);
    EXPECT_EQ(connected(careless), u"authorised, home"_s);
    careless->disconnect();
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
    EXPECT_FALSE(userSessionSettings(*host).checksHostKeys);
    EXPECT_FALSE(userSessionSettings(*host).usesSshConfig);
    Preferences::shared().setChecksHostKeys(true);
    hosts.setUsesSshConfig(*host, true);
    EXPECT_TRUE(userSessionSettings(*host).checksHostKeys);
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
