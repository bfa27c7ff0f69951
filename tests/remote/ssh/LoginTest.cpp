#include "remote/SshTest.h"

#include "foundation/archive/UserDefaults.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/ssh/NMSSHLogger.h"
#include "support/KeyboardServer.h"
#include "support/LogCapture.h"

#include <QFile>
#include <QTemporaryDir>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class LoginTest : public test::SshTest {
protected:
    /// The connection test of a new client, and what the main thread shows of it. Questions get the answers.
    QStringList testOf(const std::shared_ptr<RemoteHost>& host, const QStringList& answers = {}) {
        test::RecordedAlerts fresh(std::nullopt);
        std::swap(fresh, alerts_);
        for (const QString& answer : answers)
            alerts_.willEnter(answer);
        return tested(clientFor(host));
    }
    static std::shared_ptr<RemoteHost> passwordHost(const test::KeyboardServer& server,
                                                    const std::optional<QString>& password) {
        auto host = std::make_shared<RemoteHost>(u"127.0.0.1"_s, server.port(), u"tester"_s);
        host->setAuthnType(std::make_shared<PasswordAuthnType>(password));
        return host;
    }
    static std::shared_ptr<RemoteHost> keyboardHost(const test::KeyboardServer& server) {
        auto host = std::make_shared<RemoteHost>(u"127.0.0.1"_s, server.port(), u"tester"_s);
        host->setAuthnType(std::make_shared<KeyboardAuthnType>());
        return host;
    }
    static std::optional<QString> cachedAnswer(const std::shared_ptr<RemoteHost>& host) {
        return std::dynamic_pointer_cast<KeyboardAuthnType>(host->authnType())->cachedPwd();
    }

    const QString failed_ = u"Connection test failed!|Please check the server configuration! Reason: "_s;
    const QString passwordQuestion_ = u"Enter password for user 'tester' on server: 127.0.0.1|"_s;
    const QString withoutHome_ = u"Connection success!|Remote login path: '/' does not exist on server!"_s;
    const QString success_ = u"Connection success!|All good!"_s;
    const QList<test::KeyboardServer::Round> password_{{"", {{"Password: ", false, "secret"}}}};
};

TEST_F(LoginTest, KeysOfAllKindsLogInWithTheRightPassPhrase) {
    const test::SshServer server;
    struct Case {
        QByteArray type;
        QByteArray passPhrase;
        QList<QByteArray> more;
    };
    const QList<Case> cases{{"ed25519", "", {}},         {"ed25519", "pass fräse", {}},
                            {"ecdsa", "", {}},           {"ecdsa", "phrase", {"-m", "PEM"}},
                            {"rsa", "", {"-b", "2048"}}, {"rsa", "phrase", {"-b", "2048", "-m", "PEM"}}};
    int number = 0;
    for (const Case& one : cases) {
        SCOPED_TRACE((one.type + ' ' + one.passPhrase).toStdString());
        const QString key = server.makeKey(u"key%1"_s.arg(++number), one.type, one.passPhrase, one.more);
        const QString phrase = QString::fromUtf8(one.passPhrase);
        const auto given = phrase.isEmpty() ? std::nullopt : std::optional<QString>(phrase);
        EXPECT_EQ(testOf(hostWith(server, keyType(key + u".pub"_s, key, given))), QStringList(success_));
        // The private key alone is enough.
        ASSERT_TRUE(QFile::remove(key + u".pub"_s));
        for (const QString& publicKey : {server.path(u"absent"_s), QString()})
            EXPECT_EQ(testOf(hostWith(server, keyType(publicKey, key, given))), QStringList(success_));
        if (given) {
            const QString asked = u"Enter the pass phrase of the private key for server: 127.0.0.1|"_s + key;
            const QString again = asked + u"\nThe pass phrase was wrong."_s;
            EXPECT_EQ(testOf(hostWith(server, keyType({}, key)), {u"wrong"_s, phrase}),
                      QStringList({asked, again, success_}));
            EXPECT_EQ(testOf(hostWith(server, keyType({}, key, u"wrong"_s)), {u"a"_s, u"b"_s, u"c"_s}),
                      QStringList({again, again, again,
                                   failed_ + u"The pass phrase of \"%1\" is wrong."_s.arg(key)}));
        }
    }
}

TEST_F(LoginTest, KeysThatAreMissingOrNotAcceptedSayWhy) {
    const test::SshServer server;
    const QString unauthorised =
        u"Could not connect to host: 127.0.0.1 on port %1|Please check the configuration and ensure the SSH server is running!"_s
            .arg(server.port());
    const QString key = server.makeKey(u"known"_s);
    const QString stranger = server.path(u"stranger"_s);
    ASSERT_TRUE(
        test::runProgram({"ssh-keygen", "-q", "-t", "ed25519", "-N", "phrase", "-f", stranger.toUtf8()}));
    const QString publicKey = key + u".pub"_s;

    // Nobody is asked for the pass phrase of a key that leads nowhere.
    const QStringList denied = testOf(hostWith(server, keyType({}, stranger)));
    ASSERT_EQ(denied.size(), 1);
    EXPECT_TRUE(denied[0].startsWith(failed_ + u"Access denied for 'publickey'."_s)) << qPrintable(denied[0]);
    EXPECT_EQ(testOf(hostWith(server, keyType(publicKey, server.path(u"gone"_s)))),
              QStringList(failed_ + u"The private key \"%1\" cannot be read."_s.arg(server.path(u"gone"_s))));
    EXPECT_EQ(testOf(hostWith(server, keyType(publicKey, publicKey))),
              QStringList(failed_ + u"\"%1\" is no private key."_s.arg(publicKey)));
    EXPECT_EQ(testOf(hostWith(server, keyType(publicKey, {}))), QStringList(unauthorised));
    EXPECT_EQ(testOf(hostWith(server, nullptr)), QStringList(unauthorised));
}

TEST_F(LoginTest, PasswordsAreAskedForUntilOneIsRight) {
    const auto check = [this](
                           const std::function<std::shared_ptr<RemoteHost>(std::optional<QString>)>& hostFor,
                           const QString& right, const QString& success) {
        EXPECT_EQ(testOf(hostFor(right)), QStringList(success));
        const QString again = passwordQuestion_ + u"The password was wrong."_s;
        EXPECT_EQ(testOf(hostFor({}), {u"wrong"_s, right}), QStringList({passwordQuestion_, again, success}));
        QStringList refused = testOf(hostFor(u"wrong"_s), {u"a"_s, u""_s, u"c"_s});
        EXPECT_TRUE(refused.takeLast().startsWith(failed_ + u"Access denied for 'password'."_s));
        EXPECT_EQ(refused, QStringList({again, again, again}));
    };
    const test::KeyboardServer own(password_, "secret");
    check([&](const std::optional<QString>& password) { return passwordHost(own, password); }, u"secret"_s,
          withoutHome_);
    EXPECT_EQ(own.logins(), 2);
    // Where no password is taken nobody is asked for one.
    const test::KeyboardServer without(password_);
    for (const std::optional<QString>& password : {std::optional<QString>(), std::optional(u"secret"_s)}) {
        const QStringList refused = testOf(passwordHost(without, password));
        ASSERT_EQ(refused.size(), 1);
        EXPECT_TRUE(refused[0].startsWith(failed_)) << qPrintable(refused[0]);
    }
    // Only root's may read a table of secrets.
    if (!test::SshServer::takesPasswords())
        return;
    const test::SshServer server;
    check(
        [&](const std::optional<QString>& password) {
            return hostWith(server, std::make_shared<PasswordAuthnType>(password));
        },
        server.password(), success_);
}

TEST_F(LoginTest, AServerThatWantsASecondProofGetsIt) {
    const QString token = passwordQuestion_ + u"Token: "_s;
    const test::KeyboardServer server({{"", {{"Token: ", false, "123"}}}}, "secret",
                                      test::KeyboardServer::Password::First);
    EXPECT_EQ(testOf(passwordHost(server, u"secret"_s), {u"123"_s}), QStringList({token, withoutHome_}));
    QStringList refused = testOf(passwordHost(server, u"secret"_s), {u"321"_s});
    EXPECT_TRUE(refused.takeLast().startsWith(failed_ + u"Access denied"_s));
    EXPECT_EQ(refused, QStringList(token));
    if (!test::SshServer::takesPasswords())
        return;
    const test::SshServer both("AuthenticationMethods publickey,password");
    EXPECT_EQ(testOf(keyHost(both), {u"wrong"_s, both.password()}),
              QStringList({passwordQuestion_, passwordQuestion_ + u"The password was wrong."_s, success_}));
    // By the configuration's key, and by the password that is stored for the host.
    QFile config(both.path(u"config"_s));
    ASSERT_TRUE(config.open(QIODevice::WriteOnly));
    config.write("IdentityFile " + both.path(u"id"_s).toUtf8() + '\n');
    config.close();
    settings_.usesSshConfig = true;
    settings_.configPath = config.fileName();
    EXPECT_EQ(testOf(hostWith(both, std::make_shared<PasswordAuthnType>(both.password()))),
              QStringList(success_));
}

TEST_F(LoginTest, SecretsAreStoredOnlyWhenTheyAreRightAndTheUserSaysSo) {
    const QTemporaryDir directory;
    UserDefaults defaults(directory.filePath(u"s.ini"_s));
    RemoteHostsManager::setShared(std::move(RemoteHostsManager::load(directory.path(), defaults)).value());
    const test::KeyboardServer server(password_, "secret");
    const auto host = passwordHost(server, {});
    const auto stored = [&] {
        const auto hosts = std::move(RemoteHostsManager::load(directory.path(), defaults)).value();
        return std::dynamic_pointer_cast<PasswordAuthnType>(hosts->host(0)->authnType())->password;
    };
    const auto connectEntering = [&](const QStringList& answers, bool isKept) {
        const auto client = clientFor(host);
        const auto before = static_cast<int>(alerts_.alerts.size());
        int answered = 0;
        std::atomic<bool> isDone{false};
        std::thread connecting([&] {
            EXPECT_EQ(test::outcome(client->connect()), u"authorised, no home"_s);
            isDone = true;
        });
        EXPECT_TRUE(test::waitFor([&] {
            if (answered < answers.size() && static_cast<int>(alerts_.alerts.size()) > before + answered) {
                alerts_.enter(before + answered, answers[answered], isKept);
                ++answered;
            }
            return isDone.load();
        }));
        connecting.join();
        client->disconnect();
    };
    // One that is not in the list has no place for it.
    connectEntering({u"secret"_s}, false);
    EXPECT_EQ(alerts_.alerts.back().field->option, QString());
    ASSERT_TRUE(RemoteHostsManager::shared().add(host));
    connectEntering({u"secret"_s}, false);
    EXPECT_FALSE(alerts_.alerts.back().field->option.isEmpty());
    EXPECT_TRUE(alerts_.alerts.back().field->isMasked);
    EXPECT_EQ(stored(), std::nullopt);
    connectEntering({u"wrong"_s, u"secret"_s}, true);
    EXPECT_TRUE(test::waitFor([&] { return stored() == u"secret"_s; }));
    const auto asked = alerts_.alerts.size();
    connectEntering({}, false);
    EXPECT_EQ(alerts_.alerts.size(), asked);
    RemoteHostsManager::setShared(nullptr);
}

TEST_F(LoginTest, WhoWaitsForALoginTakesOverWhatComesOfIt) {
    const test::KeyboardServer server(password_);
    enum class Answer { Right, Wrong, None };
    int questions = 0;
    for (const Answer answer : {Answer::Right, Answer::Wrong, Answer::None}) {
        SCOPED_TRACE(static_cast<int>(answer));
        const auto client = clientFor(keyboardHost(server));
        const int loginsBefore = server.logins();
        const int refusalsBefore = server.refusals();
        std::vector<std::thread> threads;
        std::mutex mutex;
        QStringList outcomes;
        for (int count = 0; count < 4; ++count) {
            threads.emplace_back([&] {
                const QString outcome = test::outcome(client->connect());
                const std::lock_guard guard(mutex);
                outcomes << outcome;
            });
        }
        EXPECT_TRUE(test::waitFor([&] {
            return client->waitingForLogin() == 4 && static_cast<int>(alerts_.alerts.size()) > questions;
        }));
        if (answer == Answer::None)
            alerts_.press(questions, 1);
        else
            alerts_.enter(questions, answer == Answer::Right ? u"secret"_s : u"wrong"_s);
        EXPECT_TRUE(test::waitFor([&] {
            const std::lock_guard guard(mutex);
            return outcomes.size() == 4;
        }));
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(static_cast<int>(alerts_.alerts.size()), ++questions) << "asked once more";
        EXPECT_EQ(outcomes.count(outcomes.front()), 4) << outcomes.join(u'\n').toStdString();
        EXPECT_EQ(server.logins() - loginsBefore, answer == Answer::Right ? 1 : 0);
        EXPECT_EQ(server.refusals() - refusalsBefore, answer == Answer::Wrong ? 1 : 0);
        EXPECT_EQ(client->wasRefused(), answer != Answer::Right);
        client->disconnect();
    }
}

TEST_F(LoginTest, OnlyTheLoginThatIsMeantIsEnded) {
    const test::KeyboardServer server(password_);
    const auto client = clientFor(keyboardHost(server));
    EXPECT_EQ(connectedAnswering(client, {u"secret"_s}), u"authorised, no home"_s);
    const std::uint64_t first = client->loginNumber();
    client->endLogin(first);
    EXPECT_FALSE(client->isConnected());
    // One that is being made by somebody else, and one that was made since.
    QString outcome;
    std::thread connecting([&] { outcome = test::outcome(client->connect()); });
    EXPECT_TRUE(test::waitFor([&] { return alerts_.alerts.size() == 2U; }));
    client->endLogin(first);
    client->endLogin(client->loginNumber());
    alerts_.enter(1, u"secret"_s);
    connecting.join();
    EXPECT_EQ(outcome, u"authorised, no home"_s);
    client->endLogin(first);
    EXPECT_TRUE(client->isConnected());
    client->endLogin(client->loginNumber());
    EXPECT_FALSE(client->isConnected());
}

TEST_F(LoginTest, ALoginBehindAnEndIsAnotherOne) {
    const test::KeyboardServer server(password_);
    const auto client = clientFor(keyboardHost(server));
    QStringList outcomes{{}, {}};
    std::thread first([&] { outcomes[0] = test::outcome(client->connect()); });
    EXPECT_TRUE(test::waitFor([&] { return alerts_.alerts.size() == 1U; }));
    client->disconnect();
    alerts_.willEnter(u"secret"_s);
    std::atomic<bool> isDone{false};
    std::thread second([&] {
        outcomes[1] = test::outcome(client->connect());
        isDone = true;
    });
    EXPECT_TRUE(test::waitFor([&] { return isDone.load(); }));
    first.join();
    second.join();
    EXPECT_EQ(outcomes, QStringList({u"not authorised, no home"_s, u"authorised, no home"_s}));
    client->disconnect();
}

TEST_F(LoginTest, ARefusalNamesTheServerAndWhatHelps) {
    const test::KeyboardServer server(password_);
    for (const QString& user : {u"tester"_s, u""_s}) {
        const auto host = passwordHost(server, u"wrong"_s);
        host->setUsername(user);
        const auto client = clientFor(host);
        const auto result = test::beside([&] { return client->connect(); });
        ASSERT_TRUE(result && !*result);
        EXPECT_TRUE(result->error().userText.startsWith(u"Access denied"_s));
        EXPECT_EQ(result->error().recoverySuggestion,
                  u"Logging in %1on 127.0.0.1:%2 was refused. Check the user name and the authentication of "
                  "this host in Remote Hosts."_s.arg(user.isEmpty() ? QString() : u"as tester "_s)
                      .arg(server.port()));
    }
}

TEST_F(LoginTest, AWrongHomePathIsASuccessThatSaysSo) {
    const test::SshServer server;
    const auto host = keyHost(server);
    QFile file(server.path(u"a file"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    for (const QString& path : {server.path(u"no directory"_s), server.path(u"a file"_s)}) {
        host->setHomePath(path);
        EXPECT_EQ(testOf(host),
                  QStringList(
                      u"Connection success!|Remote login path: '%1' does not exist on server!"_s.arg(path)));
    }
}

TEST_F(LoginTest, ConnectingAgainCostsNoLogin) {
    const test::SshServer server;
    const auto client = clientFor(keyHost(server));
    for (int count = 0; count < 3; ++count)
        EXPECT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(server.log().count("Accepted publickey"), 1);
    client->disconnect();
    EXPECT_FALSE(client->isConnected());
    EXPECT_EQ(client->execute(u"echo ended"_s), u""_s);
    EXPECT_EQ(connected(client), u"authorised, home"_s);
    EXPECT_EQ(server.log().count("Accepted publickey"), 2);
    client->disconnect();
    EXPECT_EQ(alerts_.texts(), QStringList());
}

TEST_F(LoginTest, AQuestionIsAskedOnceUntilTheConnectionHasEnded) {
    const test::KeyboardServer server(password_);
    const auto host = keyboardHost(server);
    const auto client = clientFor(host);
    client->setWindow(WindowId(7));
    EXPECT_EQ(connectedAnswering(client, {u"secret"_s}), u"authorised, no home"_s);
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    const auto& shown = alerts_.alerts[0];
    EXPECT_EQ(shown.message, u"Enter password for user 'tester' on server: 127.0.0.1"_s);
    EXPECT_EQ(shown.informativeText, u"Password: "_s);
    EXPECT_EQ(shown.buttons, QStringList({u"OK"_s, u"Cancel"_s}));
    ASSERT_TRUE(shown.field);
    EXPECT_EQ(shown.field->placeholder, u"Enter the password"_s);
    EXPECT_TRUE(shown.field->isMasked);
    EXPECT_EQ(shown.window, WindowId(7));
    EXPECT_EQ(client->execute(u"echo in"_s), u"in\n"_s);

    // Others on the same host do not ask again.
    const auto other = clientFor(host);
    EXPECT_EQ(connected(other), u"authorised, no home"_s);
    EXPECT_EQ(server.logins(), 2);
    other->disconnect();
    EXPECT_EQ(cachedAnswer(host), std::nullopt);
    client->disconnect();
    EXPECT_EQ(connectedAnswering(client, {u"secret"_s}), u"authorised, no home"_s);
    EXPECT_EQ(alerts_.alerts.size(), 2U);
    client->disconnect();
}

TEST_F(LoginTest, AnAnswerThatFailsIsForgotten) {
    const test::KeyboardServer server(password_);
    const auto host = keyboardHost(server);
    const auto client = clientFor(host);
    const QString denied =
        u"error: Access denied for 'keyboard interactive'. Authentication that can continue: keyboard-interactive"_s;
    EXPECT_EQ(connectedAnswering(client, {u"wrong"_s}), denied);
    EXPECT_EQ(cachedAnswer(host), std::nullopt);
    std::dynamic_pointer_cast<KeyboardAuthnType>(host->authnType())->setCachedPwd(u"old"_s);
    EXPECT_EQ(connected(client), denied);
    EXPECT_EQ(alerts_.alerts.size(), 1U) << "the cached answer was asked for";
    EXPECT_EQ(connectedAnswering(client, {u"secret"_s}), u"authorised, no home"_s);
    EXPECT_EQ(cachedAnswer(host), u"secret"_s);
    client->disconnect();
}

TEST_F(LoginTest, SeveralQuestionsAndRoundsAreAllAsked) {
    const test::KeyboardServer server(
        {{"Two proofs are needed.", {{"Password: ", false, "secret"}, {"Token: ", true, "123456"}}},
         {"", {}},
         {"", {{"Another token: ", false, "654321"}}}});
    const auto host = keyboardHost(server);
    const auto client = clientFor(host);
    EXPECT_TRUE(connectedAnswering(client, {u"secret"_s, u"123456"_s, u"000000"_s}).startsWith(u"error: "_s));
    EXPECT_EQ(connectedAnswering(client, {u"secret"_s, u"123456"_s, u"654321"_s}), u"authorised, no home"_s);
    EXPECT_EQ(server.logins(), 1);
    EXPECT_EQ(cachedAnswer(host), std::nullopt) << "one answer cannot be that to all questions";
    ASSERT_EQ(alerts_.alerts.size(), 6U);
    const QStringList requests{u"Two proofs are needed.\nPassword: "_s, u"Two proofs are needed.\nToken: "_s,
                               u"Another token: "_s};
    const QList<bool> masks{true, false, true};
    for (int index = 0; index < 3; ++index) {
        const Alert& alert = alerts_.alerts[static_cast<std::size_t>(index)];
        EXPECT_EQ(alert.informativeText, requests[index]);
        EXPECT_EQ(alert.field->isMasked, masks[index]);
    }
    client->disconnect();
}

TEST_F(LoginTest, AQuestionWithoutAnAnswerEndsTheLoginQuietly) {
    const test::KeyboardServer server(password_, "secret");
    enum class Ends { Cancelled, Disconnected };
    using Case = std::pair<std::shared_ptr<RemoteHost>, Ends>;
    for (const auto& [host, ends] :
         {Case(keyboardHost(server), Ends::Cancelled), Case(keyboardHost(server), Ends::Disconnected),
          Case(passwordHost(server, {}), Ends::Cancelled)}) {
        const auto client = clientFor(host);
        const std::size_t before = alerts_.alerts.size();
        bool isDone = false;
        client->testConnection([&] { isDone = true; });
        ASSERT_TRUE(test::waitFor([&] { return alerts_.alerts.size() == before + 1; }));
        if (ends == Ends::Cancelled)
            alerts_.press(static_cast<int>(before), 1);
        else
            client->disconnect();
        EXPECT_TRUE(test::waitFor([&] { return isDone; }));
        EXPECT_EQ(alerts_.alerts.size(), before + 1) << "a failure is shown";
        if (ends == Ends::Disconnected)
            alerts_.press(static_cast<int>(before), 0); // the box is still there, and nobody waits for it
        EXPECT_FALSE(client->isConnected());
    }
    EXPECT_EQ(server.logins(), 0);
}

TEST_F(LoginTest, TheTimeAtAQuestionIsNotCounted) {
    settings_.connectingLimit = 2s;
    const test::KeyboardServer server(password_);
    const auto client = clientFor(keyboardHost(server));
    std::optional<std::chrono::steady_clock::time_point> asked;
    std::thread connecting([&] { EXPECT_EQ(test::outcome(client->connect()), u"authorised, no home"_s); });
    EXPECT_TRUE(test::waitFor([&] {
        if (!asked && !alerts_.alerts.empty())
            asked = std::chrono::steady_clock::now();
        return asked && std::chrono::steady_clock::now() - *asked > 2500ms;
    }));
    if (asked)
        alerts_.enter(0, u"secret"_s);
    connecting.join();
    client->disconnect();
}

TEST_F(LoginTest, TheLibrarysLogFollowsItsSwitch) {
    const test::KeyboardServer server(password_);
    const auto host = keyboardHost(server);
    for (const bool isOn : {true, false}) {
        NMSSHLogger::sharedLogger().setEnabled(isOn);
        const test::LogCapture log;
        const auto client = clientFor(host);
        EXPECT_EQ(connectedAnswering(client, {u"secret"_s}), u"authorised, no home"_s);
        client->disconnect();
        EXPECT_EQ(log.lines().filter(u"ssh_connect"_s).isEmpty(), !isOn);
        EXPECT_TRUE(log.lines().filter(u"secret"_s).isEmpty());
    }
}

} // namespace
} // namespace korvane
