#include "remote/SshTest.h"

#include "support/KeyboardServer.h"
#include "support/PreferencesTest.h"
#include "support/StandIns.h"

#include "remote/UserSessionSettings.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/ssh/Askpass.h"

#include <csignal>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

/// ssh asks its questions by starting this executable again, which then answers as the program's main() does.
[[gnu::constructor]] void askInPlaceOfTheTests(int argc, char** argv) {
    if (const auto status = Askpass::askWhereWanted(argc, argv))
        ::_exit(*status);
}

/// An agent that offers one key, if any, and answers nothing else.
class SilentAgent {
public:
    SilentAgent(int listener, QByteArray key)
        : listener_(listener), key_(std::move(key)), thread_([this](const std::stop_token& end) {
              while (!end.stop_requested()) {
                  pollfd asked{listener_, POLLIN, 0};
                  if (::poll(&asked, 1, 10) == 1)
                      serve(::accept(listener_, nullptr, nullptr));
              }
          }) {}

    /// Number of requests left unanswered.
    int waits() const { return waits_; }

private:
    void serve(int connection) {
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
    std::atomic<int> waits_{0};
    std::jthread thread_;
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
        test::writeFile(settings_.configPath, text.toUtf8());
    }
    void addKnownHost(const QByteArray& text) const {
        test::writeFile(settings_.knownHostsPath, text, QIODevice::Append);
    }
    QByteArray knownHosts() const { return test::readFile(settings_.knownHostsPath); }
    static QByteArray publicKey(const QString& path) { return test::readFile(path).trimmed(); }
    QByteArray makeKey(const QString& name) const { return makeStranger(path(name)).toLocal8Bit(); }
    static std::shared_ptr<RemoteHost> alias(const QString& name, const QString& user = {},
                                             std::uint16_t port = 22) {
        return std::make_shared<RemoteHost>(name, port, user);
    }
    /// The reason of a login that fails before the server answers.
    QString faultOf(const std::shared_ptr<RemoteHost>& host) {
        const auto client = clientFor(host);
        EXPECT_EQ(connected(client), notAuthorised_);
        return client->fault();
    }

    const QString authorised_ = u"authorised, home"_s;
    const QString notAuthorised_ = u"not authorised, no home"_s;
    const QTemporaryDir directory_;
    /// Keeps the user's own agent out of the tests.
    const test::ScopedVariable agent_{"SSH_AUTH_SOCK", {}};
};

TEST_F(SshConfigTest, AnAliasStandsForWhatTheConfigurationSays) {
    const test::SshServer server;
    const QString key = server.makeKey(u"id"_s);
    ASSERT_TRUE(QFile::remove(key + u".pub"_s));
    // `Match originalhost` compares with the name as it was entered.
    writeConfig(u"Host lo_gs\n  HostName 127.0.0.1\n  IdentityFile \"%2\"\nHost lo*\n  Port %1\n"
                "Match originalhost lo_gs\n  User tester\n  BindAddress 127.0.0.9\n  AddressFamily inet\n"_s
                    .arg(server.port())
                    .arg(key));
    const auto client = clientFor(alias(u"lo_gs"_s));
    EXPECT_EQ(connected(client), authorised_);
    EXPECT_EQ(client->execute(u"echo $USER"_s), u"tester\n"_s);
    EXPECT_TRUE(server.log().contains("Connection from 127.0.0.9 "));
    EXPECT_FALSE(QFile::exists(key + u".pub"_s)) << "written beside the user's key";
    // Values entered for the host take precedence.
    EXPECT_EQ(connected(alias(u"lo_gs"_s, {}, test::freePort())), notAuthorised_);
    EXPECT_TRUE(connected(alias(u"lo_gs"_s, u"stranger"_s)).startsWith(u"error: Access denied"_s));
    // Without the SSH configuration the alias is not a host name.
    settings_.usesSshConfig = false;
    settings_.connectingLimit = 5s;
    EXPECT_EQ(connected(alias(u"lo_gs"_s)), notAuthorised_);
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(SshConfigTest, WhyTheConfigurationLeadsNowhereIsSaid) {
    const auto host = alias(u"lo_gs"_s, u"me"_s, 4022);
    writeConfig(u"Host *\n  HostName x.example\n  ProxyCommand printf '%%s\\n' Old Banner key '' "
                "\"$(printf '\\033[31mkey\\033[0m\\r')\" '%n %h %p %r %%' >&2"_s);
    EXPECT_EQ(faultOf(host),
              u"The program that leads to the server reports: Banner\nkey\nlo_gs x.example 4022 me %"_s);
    writeConfig(u"Port 22\nPort no"_s);
    EXPECT_TRUE(faultOf(host).contains(u"line 2"_s));
    // A program in the configuration that hangs.
    settings_.connectingLimit = 1s;
    writeConfig(u"Match exec \"sleep 600\"\n"_s);
    EXPECT_EQ(faultOf(host), u"The program ssh takes too long to read the configuration of \"lo_gs\"."_s);
    settings_.connectingLimit = 1h;
    writeConfig(u"Match exec \"echo $$ > '%1' && exec sleep 600\"\n"_s.arg(path(u"pid"_s)));
    int pid = 0;
    cancelWhen(host, [&] { return (pid = test::readFile(path(u"pid"_s)).trimmed().toInt()) > 0; });
    EXPECT_TRUE(test::waitFor([&] { return ::kill(pid, 0) != 0; }));
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(SshConfigTest, WithoutSshTheHostIsReachedByWhatWasEntered) {
    const test::SshServer server;
    const auto host = keyHost(server);
    writeConfig(u"Host lo_gs\n  HostName 127.0.0.1\n"_s);
    const test::StandIns noPrograms;
    EXPECT_EQ(connected(host), authorised_);
    const QString fault = faultOf(alias(u"lo_gs"_s, u"me"_s));
    EXPECT_TRUE(fault.contains(u"there is no program \"ssh\""_s)) << qPrintable(fault);
}

TEST_F(SshConfigTest, TheHostsOwnProofCountsWhereTheConfigurationHasNone) {
    const test::SshServer server;
    writeConfig(u"Host *\n  IdentityFile /nonexistent\n"_s);
    EXPECT_EQ(connected(keyHost(server)), authorised_);
}

TEST_F(SshConfigTest, ACertificateMakesAStrangersKeyGood) {
    const QByteArray authority = makeKey(u"authority"_s);
    const QByteArray key = makeKey(u"own"_s);
    const test::SshServer server("TrustedUserCAKeys " + authority + ".pub");
    writeConfig(u"IdentityFile \"%1\"\nCertificateFile \"%1-cert.pub\"\n"_s.arg(path(u"own"_s)));
    const auto host = hostAt(server.port(), nullptr);
    EXPECT_TRUE(connected(host).startsWith(u"error: Access denied"_s));
    ASSERT_TRUE(
        test::runProgram({"ssh-keygen", "-q", "-s", authority, "-I", "id", "-n", "tester", key + ".pub"}));
    EXPECT_EQ(connected(host), authorised_);
}

TEST_F(SshConfigTest, TheAgentProvesTheLoginWithNamedKeysFirst) {
    const test::SshServer server("MaxAuthTries 2");
    const QString key = server.makeKey(u"id"_s);
    const QByteArray socket = path(u"agent"_s).toLocal8Bit();
    test::ChildProcess agent;
    ASSERT_TRUE(agent.start({"ssh-agent", "-D", "-a", socket}, {"SSH_ASKPASS=/bin/false"}));
    ASSERT_TRUE(test::waitFor([&] { return QFile::exists(path(u"agent"_s)); }));
    const test::ScopedVariable running("SSH_AUTH_SOCK", socket);
    const auto add = [](const QList<QByteArray>& what) {
        ASSERT_TRUE(test::runProgram(QList<QByteArray>{"ssh-add", "-q"} + what));
    };
    const auto outcomeWith = [&](const QString& config) {
        writeConfig(config);
        return connected(hostAt(server.port(), nullptr));
    };
    const QString refused = u"error: The login was refused."_s;
    const QString identity = u"IdentityFile \"%1\"\n"_s.arg(key);
    EXPECT_EQ(outcomeWith(u"IdentityFile none\n"_s), refused);
    // A key that the agent refuses to use is read from its file.
    add({"-c", key.toLocal8Bit()});
    EXPECT_EQ(outcomeWith(identity), authorised_);
    add({"-D"});
    for (const QString& name : {u"other 1"_s, u"other 2"_s, u"other 3"_s})
        add({makeKey(name)});
    add({key.toLocal8Bit()});
    ASSERT_TRUE(QFile::remove(key)); // the agent alone has it
    EXPECT_TRUE(outcomeWith(u"IdentityFile none\n"_s).contains(u"Too many authentication failures"_s));
    EXPECT_EQ(outcomeWith(identity + u"IdentitiesOnly no\n"_s), authorised_);
    EXPECT_EQ(outcomeWith(identity + u"IdentitiesOnly yes\n"_s), authorised_);
    const auto attempts = server.log().count("Failed publickey");
    EXPECT_EQ(outcomeWith(u"IdentityFile /nonexistent\nIdentitiesOnly yes\n"_s), refused);
    EXPECT_EQ(server.log().count("Failed publickey"), attempts) << "a key that was to be kept back";
    // The configuration can name another agent, or none.
    EXPECT_EQ(outcomeWith(identity + u"IdentityAgent none\n"_s), refused);
    const test::ScopedVariable elsewhere("SSH_AUTH_SOCK", "/nonexistent");
    EXPECT_EQ(outcomeWith(identity + u"IdentityAgent \"%1\"\n"_s.arg(path(u"agent"_s))), authorised_);
}

TEST_F(SshConfigTest, AnAgentThatWaitsForItsUserHoldsUpNoLogin) {
    const test::SshServer server;
    const QByteArray path = this->path(u"silent"_s).toLocal8Bit();
    const int listener = test::socketAt(path, &::bind);
    ASSERT_EQ(::listen(listener, 4), 0);
    const test::ScopedVariable running("SSH_AUTH_SOCK", path);
    settings_.usesSshConfig = true;
    const auto host = keyHost(server);
    const QByteArray key = QByteArray::fromBase64(publicKey(server.path(u"id.pub"_s)).split(' ').value(1));
    // Silent from the beginning, or while asking its user whether the key may be used.
    for (const QByteArray& offered : {QByteArray(), key}) {
        const SilentAgent agent(listener, offered);
        // Cancelled as soon as the agent waits: the limit does not help.
        settings_.connectingLimit = 1h;
        cancelWhen(host, [&] { return agent.waits() == 1; });
        settings_.connectingLimit = 1s;
        EXPECT_EQ(connected(host), u"error: The SSH agent does not answer."_s);
    }
    // An agent that accepts no further connection counts as no agent.
    ASSERT_EQ(::listen(listener, 0), 0);
    const int taken = test::socketAt(path, &::connect);
    settings_.connectingLimit = 15s;
    EXPECT_EQ(connected(host), authorised_);
    EXPECT_EQ(alerts_.texts(), QStringList());
    ::close(taken);
    // So does one that closes the connection.
    ASSERT_EQ(::listen(listener, 4), 0);
    std::jthread agent([listener] {
        pollfd asked{listener, POLLIN, 0};
        for (int connection = 0; connection < 2 && ::poll(&asked, 1, 20'000) == 1; ++connection)
            ::close(::accept(listener, nullptr, nullptr));
        ::close(listener);
    });
    EXPECT_EQ(connected(host), authorised_);
}

TEST_F(SshConfigTest, AJumpHostIsGoneThrough) {
    const test::SshServer jump;
    const test::SshServer server;
    const auto entry = [](const char* name, const test::SshServer& place) {
        return u"Host %1\n  HostName 127.0.0.1\n  Port %2\n  User tester\n  IdentityFile \"%3\"\n"_s.arg(
            QString::fromLatin1(name), QString::number(place.port()), place.makeKey(u"id"_s));
    };
    writeConfig(entry("between_here", jump) +
                u"  StrictHostKeyChecking no\n  UserKnownHostsFile /dev/null\n"_s +
                entry("behind_it", server) + u"  ProxyJump between_here\n"_s);
    const auto client = clientFor(alias(u"behind_it"_s));
    EXPECT_EQ(connected(client), authorised_);
    EXPECT_EQ(jump.logins(), 1);
    EXPECT_EQ(client->execute(u"seq 100000 | tail -n 1"_s), u"100000\n"_s);
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
    const auto host = alias(u"behind_them"_s, u"tester"_s);
    host->setAuthnType(std::make_shared<KeyboardAuthnType>());
    // Enough for two jump hosts and two askpass programs on a loaded machine.
    settings_.connectingLimit = 20s;
    const auto client = clientFor(host);
    const QString asks = u"On the way to the server 'behind_them', a jump host asks:"_s;
    const QString passPhrase = u"Enter passphrase for key '%1':"_s.arg(key);
    auto outcome = connecting(client);
    // Whether this question is shown; if none is, disconnects, so that later ones are not waited for.
    const auto isAsked = [&](std::size_t number, const QString& message, const QString& text, bool isMasked) {
        if (!alertsBecome(number + 1)) {
            client->disconnect();
            return false;
        }
        const Alert& alert = alerts_.alerts[number];
        EXPECT_EQ(alert.message, message);
        EXPECT_TRUE(alert.informativeText.contains(text)) << qPrintable(alert.informativeText);
        return alert.field && alert.field->isMasked == isMasked;
    };
    EXPECT_TRUE(isAsked(0, asks, jump.hostFingerprint(), false));
    // The time limit does not apply while the user answers.
    const auto answerTime = std::chrono::steady_clock::now() + settings_.connectingLimit;
    EXPECT_TRUE(test::waitFor([&] { return std::chrono::steady_clock::now() > answerTime; }));
    const std::pair<std::pair<QString, QString>, QString> further[] = {
        {{asks, passPhrase}, u"phrase"_s},
        {{asks, passPhrase}, u"phrase"_s},
        // None of these answers is used for the host itself.
        {{u"Enter password for user 'tester' on server: behind_them"_s, {}}, u"secret"_s},
    };
    alerts_.enter(0, u"yes"_s);
    for (int number = 1; const auto& [question, answer] : further) {
        ASSERT_TRUE(isAsked(static_cast<std::size_t>(number), question.first, question.second, true));
        alerts_.enter(number++, answer);
    }
    EXPECT_EQ(test::settled(std::move(outcome)), u"authorised, no home"_s);
    EXPECT_EQ(alerts_.alerts.size(), 4U);
    client->disconnect();

    // Cancelling the question also closes the connection to the jump host.
    bool isDone = false;
    alerts_.nextAnswer = 1;
    clientFor(host)->testConnection([&] { isDone = true; });
    EXPECT_TRUE(test::waitFor([&] { return isDone && jump.connectionProcesses().empty(); }));
    alerts_.nextAnswer.reset();
    EXPECT_EQ(alerts_.texts().mid(4), QStringList(asks + u'|' + passPhrase)) << "a failure is shown";
    // Wrong pass phrases are passed on to ssh, which reports the reason.
    for (const QString& wrong : {u"a"_s, u"b"_s, u"c"_s})
        alerts_.willEnter(wrong);
    const QString fault = faultOf(host);
    EXPECT_TRUE(fault.contains(u"Permission denied (publickey"_s)) << qPrintable(fault);
}

TEST_F(SshConfigTest, AnUnknownHostKeyIsAskedForOnceWhereTheUserWantsIt) {
    settings_.hostKeyPolicy = HostKeyPolicy::AskForNew;
    const test::SshServer server;
    const auto host = keyHost(server);
    const QByteArray other = "other.example " + publicKey(server.path(u"id.pub"_s));
    addKnownHost(other); // a line without an end

    EXPECT_EQ(connectedPressing(1, host), notAuthorised_);
    EXPECT_EQ(knownHosts(), other);
    EXPECT_EQ(connectedPressing(0, host), authorised_);
    ASSERT_EQ(alerts_.alerts.size(), 2U);
    const QByteArray entry = "[127.0.0.1]:" + QByteArray::number(server.port()) + " ssh-ed25519 ";
    EXPECT_TRUE(knownHosts().startsWith(other + '\n' + entry)) << knownHosts().constData();
    EXPECT_TRUE(alerts_.alerts[1].informativeText.contains(server.hostFingerprint()));
    EXPECT_EQ(connected(host), authorised_);
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
    const QByteArray name = "[127.0.0.1]:" + QByteArray::number(server.port());
    const QByteArray other = "other.example " + publicKey(server.path(u"id.pub"_s)) + '\n';
    addKnownHost(other);
    EXPECT_EQ(connected(host), authorised_);
    EXPECT_EQ(alerts_.texts(), QStringList()) << "asked for a new key";
    EXPECT_TRUE(knownHosts().startsWith(other + name + ' ')) << knownHosts().constData();

    // The entry alone on its line, among other names, and hashed.
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
            EXPECT_TRUE(test::runProgram({"ssh-keygen", "-q", "-H", "-f", file}));
        }
        const QByteArray before = knownHosts();
        const QString newFingerprint = changeKey();
        const auto asked = alerts_.alerts.size();
        EXPECT_EQ(connectedPressing(1, host), notAuthorised_);
        EXPECT_EQ(knownHosts(), before);
        EXPECT_EQ(connectedPressing(0, host), authorised_);
        ASSERT_EQ(alerts_.alerts.size(), asked + 2);
        const Alert& question = alerts_.alerts.back();
        EXPECT_TRUE(question.informativeText.contains(
            u"Old key:\nssh-ed25519 %1\nNew key:\nssh-ed25519 %2\n"_s.arg(oldFingerprint, newFingerprint)));
        EXPECT_EQ(question.buttons, QStringList({u"Use New Key"_s, u"Cancel"_s}));
        EXPECT_EQ(question.defaultButton, 1);
        EXPECT_EQ(connected(host), authorised_);
        const QByteArray after = knownHosts();
        EXPECT_EQ(after.count(old.split(' ')[1]), entry == Entry::Shared ? 1 : 0) << after.constData();
        EXPECT_EQ(after.contains("a.example,b.example ssh-ed25519 "), entry == Entry::Shared);
        EXPECT_EQ(after.count('\n'), entry == Entry::Shared ? 3 : 2) << after.constData();
        EXPECT_TRUE(test::runProgram({"ssh-keygen", "-F", "other.example", "-f", file}));
    }

    addKnownHost("@revoked * " + publicKey(server.path(u"host_key.pub"_s)) + '\n');
    const auto refusing = clientFor(host);
    const auto revoked = test::beside([&] { return refusing->connect(); });
    ASSERT_FALSE(revoked);
    EXPECT_TRUE(revoked.error().userText.startsWith(u"The key of the server is marked as revoked"_s));
    EXPECT_TRUE(revoked.error().recoverySuggestion.contains(u"127.0.0.1:%1"_s.arg(server.port())));
    // With AcceptAll, a changed key causes neither a question nor a refusal.
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptAll;
    changeKey();
    const QByteArray before = knownHosts();
    EXPECT_EQ(connected(host), authorised_);
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
    // A list of keys as text, and a revocation list made by ssh-keygen.
    for (const bool isText : {true, false}) {
        const auto revoke = [&](const QByteArray& key, const QByteArray& update) {
            EXPECT_TRUE(isText ? test::runProgram({"/bin/sh", "-c", "cat \"$0\" >>\"$1\"", key, name})
                               : test::runProgram({"ssh-keygen", "-q", update, "-f", name, key}));
        };
        QFile::remove(list);
        revoke(other, "-k");
        EXPECT_EQ(outcomeWith(), authorised_) << isText;
        revoke(shown, "-ku");
        EXPECT_TRUE(outcomeWith().startsWith(revoked)) << isText;
    }
    ASSERT_TRUE(test::runProgram({"truncate", "-s", "60", name}));
    EXPECT_TRUE(outcomeWith().startsWith(unreadable));
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptAll;
    EXPECT_EQ(outcomeWith(), authorised_);
}

TEST_F(SshConfigTest, TheConfigurationSaysUnderWhichNameAKeyIsKnown) {
    settings_.hostKeyPolicy = HostKeyPolicy::AcceptNew;
    const test::SshServer server;
    writeConfig(
        u"HostKeyAlias known_as\nUserKnownHostsFile \"%1\" /nonexistent\n"_s.arg(path(u"own hosts"_s)));
    EXPECT_EQ(connected(keyHost(server)), authorised_);
    EXPECT_TRUE(test::readFile(path(u"own hosts"_s)).startsWith("known_as ssh-ed25519 "));
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
    Preferences::shared().setHostKeyChoice(HostKeyChoice::AcceptAll);
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
