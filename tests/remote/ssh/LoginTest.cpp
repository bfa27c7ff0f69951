#include "remote/SshTest.h"

#include "foundation/archive/UserDefaults.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/ssh/NMSSHLogger.h"
#include "support/KeyboardServer.h"
#include "support/LogCapture.h"
#include "support/Rows.h"

#include <QTemporaryDir>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::KeyboardServer;
using test::SshServer;

class LoginTest : public test::SshTest {
protected:
    static std::shared_ptr<RemoteHost> keyboardHost(const KeyboardServer& server) {
        return hostAt(server.port(), std::make_shared<KeyboardAuthnType>());
    }
    static KeyboardAuthnType& keyboard(const std::shared_ptr<RemoteHost>& host) {
        return dynamic_cast<KeyboardAuthnType&>(*host->authnType());
    }
    /// Expects these questions of a connection test, and then an alert that begins with `end`.
    void expectTest(const std::shared_ptr<RemoteHost>& host, const QStringList& answers,
                    const QStringList& questions, const QString& end) {
        QStringList alerts = tested(host, answers);
        ASSERT_FALSE(alerts.isEmpty());
        const QString last = alerts.takeLast();
        EXPECT_TRUE(last.startsWith(end)) << qPrintable(last);
        EXPECT_EQ(alerts, questions);
    }

    const QString failed_ = u"Connection test failed!|Please check the server configuration! Reason: "_s;
    const QString denied_ = failed_ + u"Access denied"_s;
    const QString passwordQuestion_ = u"Enter password for user 'tester' on server: 127.0.0.1|"_s;
    const QString passwordAgain_ = passwordQuestion_ + u"The password was wrong."_s;
    const QString withoutHome_ = u"Connection success!|Remote login path: '/' does not exist on server!"_s;
    const QString success_ = u"Connection success!|All good!"_s;
    const QList<KeyboardServer::Round> password_{{"", {{"Password: ", false, "secret"}}}};
};

TEST_F(LoginTest, KeysOfAllKindsLogInWithTheRightPassPhrase) {
    const SshServer server;
    for (const auto& [type, passPhrase, more] : test::Rows<QByteArray, QByteArray, QList<QByteArray>>{
             {"ed25519", "", {}},
             {"ed25519", "pass fräse", {}},
             {"ecdsa", "", {}},
             {"ecdsa", "phrase", {"-m", "PEM"}},
             {"rsa", "", {"-b", "2048"}},
             {"rsa", "phrase", {"-b", "2048", "-m", "PEM"}}}) {
        SCOPED_TRACE((type + ' ' + passPhrase).toStdString());
        const QString phrase = QString::fromUtf8(passPhrase);
        const QString key = server.makeKey(QString::fromUtf8(type) + phrase, type, passPhrase, more);
        const auto given = phrase.isEmpty() ? std::nullopt : std::optional<QString>(phrase);
        const auto hostWith = [&](const QString& publicKey, const std::optional<QString>& text) {
            return hostAt(server.port(), keyType(publicKey, key, text));
        };
        EXPECT_EQ(tested(hostWith(key + u".pub"_s, given)), QStringList(success_));
        // The private key alone is enough.
        ASSERT_TRUE(QFile::remove(key + u".pub"_s));
        for (const QString& publicKey : {server.path(u"absent"_s), QString()})
            EXPECT_EQ(tested(hostWith(publicKey, given)), QStringList(success_));
        if (!given)
            continue;
        const QString asked = u"Enter the pass phrase of the private key for server: 127.0.0.1|"_s + key;
        const QString again = asked + u"\nThe pass phrase was wrong."_s;
        expectTest(hostWith({}, {}), {u"wrong"_s, phrase}, {asked, again}, success_);
        expectTest(hostWith({}, u"wrong"_s), {u"a"_s, u"b"_s, u"c"_s}, {again, again, again},
                   failed_ + u"The pass phrase of \"%1\" is wrong."_s.arg(key));
    }
}

TEST_F(LoginTest, KeysThatAreMissingOrNotAcceptedSayWhy) {
    const SshServer server;
    const QString unauthorised = u"Could not connect to host: 127.0.0.1 on port %1|Please check the "
                                 "configuration and ensure the SSH server is running!"_s.arg(server.port());
    const QString gone = server.path(u"gone"_s);
    const QString publicKey = server.makeKey(u"known"_s) + u".pub"_s;
    const std::pair<std::shared_ptr<AuthnType>, QString> cases[] = {
        // The pass phrase of a key that the server rejects is not requested.
        {keyType({}, makeStranger(server.path(u"stranger"_s), "phrase")), denied_ + u" for 'publickey'."_s},
        {keyType(publicKey, gone), failed_ + u"The private key \"%1\" cannot be read."_s.arg(gone)},
        {keyType(publicKey, publicKey), failed_ + u"\"%1\" is no private key."_s.arg(publicKey)},
        {keyType(publicKey, {}), unauthorised},
        {nullptr, unauthorised},
    };
    for (const auto& [type, end] : cases)
        expectTest(hostAt(server.port(), type), {}, {}, end);
}

TEST_F(LoginTest, PasswordsAreAskedForUntilOneIsRight) {
    const auto check = [this](std::uint16_t port, const QString& right, const QString& success) {
        expectTest(passwordHost(port, right), {}, {}, success);
        expectTest(passwordHost(port, {}), {u"wrong"_s, right}, {passwordQuestion_, passwordAgain_}, success);
        expectTest(passwordHost(port, u"wrong"_s), {u"a"_s, u""_s, u"c"_s},
                   {passwordAgain_, passwordAgain_, passwordAgain_}, denied_ + u" for 'password'."_s);
    };
    const KeyboardServer own(password_, "secret");
    check(own.port(), u"secret"_s, withoutHome_);
    EXPECT_EQ(own.logins(), 2);
    // No password is requested if the server does not accept passwords.
    const KeyboardServer without(password_);
    for (const std::optional<QString>& password : {std::optional<QString>(), std::optional(u"secret"_s)})
        expectTest(passwordHost(without.port(), password), {}, {}, failed_);
    if (SshServer::takesPasswords()) {
        const SshServer server;
        check(server.port(), server.password(), success_);
    }
}

TEST_F(LoginTest, AServerThatWantsASecondProofGetsIt) {
    const KeyboardServer server({{"", {{"Token: ", false, "123"}}}}, "secret",
                                KeyboardServer::Password::First);
    const auto host = passwordHost(server.port(), u"secret"_s);
    expectTest(host, {u"123"_s}, {passwordQuestion_ + u"Token: "_s}, withoutHome_);
    expectTest(host, {u"321"_s}, {passwordQuestion_ + u"Token: "_s}, denied_);
    if (!SshServer::takesPasswords())
        return;
    const SshServer both("AuthenticationMethods publickey,password");
    expectTest(keyHost(both), {u"wrong"_s, both.password()}, {passwordQuestion_, passwordAgain_}, success_);
    // With the SSH configuration's key and the password stored for the host.
    settings_.usesSshConfig = true;
    settings_.configPath = both.path(u"config"_s);
    test::writeFile(settings_.configPath, "IdentityFile " + both.path(u"id"_s).toUtf8() + '\n');
    expectTest(passwordHost(both.port(), both.password()), {}, {}, success_);
}

TEST_F(LoginTest, SecretsAreStoredOnlyWhenTheyAreRightAndTheUserSaysSo) {
    const QTemporaryDir directory;
    UserDefaults defaults(directory.filePath(u"s.ini"_s));
    RemoteHostsManager::setShared(std::move(RemoteHostsManager::load(directory.path(), defaults)).value());
    const KeyboardServer server(password_, "secret");
    const auto host = passwordHost(server.port(), {});
    const auto stored = [&] {
        const auto hosts = std::move(RemoteHostsManager::load(directory.path(), defaults)).value();
        return std::dynamic_pointer_cast<PasswordAuthnType>(hosts->host(0)->authnType())->password;
    };
    const auto connectEntering = [&](const QStringList& answers, bool isKept) {
        for (const QString& answer : answers)
            alerts_.willEnter(answer, isKept);
        EXPECT_EQ(connected(host), u"authorised, no home"_s);
    };
    // Storing the answer is not offered for a host outside the list.
    connectEntering({u"secret"_s}, false);
    EXPECT_EQ(alerts_.alerts.back().field->option, QString());
    ASSERT_TRUE(RemoteHostsManager::shared().add(host));
    connectEntering({u"secret"_s}, false);
    EXPECT_FALSE(alerts_.alerts.back().field->option.isEmpty());
    EXPECT_TRUE(alerts_.alerts.back().field->isMasked);
    EXPECT_EQ(stored(), std::nullopt);
    connectEntering({u"wrong"_s, u"secret"_s}, true);
    EXPECT_TRUE(test::waitFor([&] { return stored() == u"secret"_s; }));
    connectEntering({}, false);
    EXPECT_EQ(alerts_.alerts.size(), 4U);
    RemoteHostsManager::setShared(nullptr);
}

TEST_F(LoginTest, WhoWaitsForALoginTakesOverWhatComesOfIt) {
    const KeyboardServer server(password_);
    int questions = 0;
    // Without an answer, the question is cancelled.
    for (const auto& [answer, logins, refusals, outcome] :
         test::Rows<const char*, int, int, QString>{{"secret", 1, 0, u"authorised, no home"_s},
                                                    {"wrong", 0, 1, u"error: Access denied"_s},
                                                    {nullptr, 0, 0, u"not authorised, no home"_s}}) {
        SCOPED_TRACE(outcome.toStdString());
        const auto client = clientFor(keyboardHost(server));
        const int loginsBefore = server.logins();
        const int refusalsBefore = server.refusals();
        std::vector<std::future<QString>> outcomes;
        for (int count = 0; count < 4; ++count)
            outcomes.push_back(connecting(client));
        EXPECT_TRUE(test::waitFor([&] {
            return client->waitingForLogin() == 4 && static_cast<int>(alerts_.alerts.size()) > questions;
        }));
        if (answer)
            alerts_.enter(questions, QString::fromLatin1(answer));
        else
            alerts_.press(questions, 1);
        for (auto& one : outcomes)
            EXPECT_TRUE(test::settled(std::move(one)).startsWith(outcome));
        EXPECT_EQ(static_cast<int>(alerts_.alerts.size()), ++questions) << "asked once more";
        EXPECT_EQ(server.logins() - loginsBefore, logins);
        EXPECT_EQ(server.refusals() - refusalsBefore, refusals);
        EXPECT_EQ(client->wasRefused(), logins == 0);
    }
}

TEST_F(LoginTest, OnlyTheLoginThatIsMeantIsEnded) {
    const KeyboardServer server(password_);
    const auto client = clientFor(keyboardHost(server));
    EXPECT_EQ(connected(client, {u"secret"_s}), u"authorised, no home"_s);
    const std::uint64_t first = client->loginNumber();
    client->endLogin(first);
    EXPECT_FALSE(client->isConnected());
    // An older login's end affects neither a login under way nor one made since.
    auto outcome = connecting(client);
    EXPECT_TRUE(alertsBecome(2));
    client->endLogin(first);
    client->endLogin(client->loginNumber());
    alerts_.enter(1, u"secret"_s);
    EXPECT_EQ(test::settled(std::move(outcome)), u"authorised, no home"_s);
    client->endLogin(first);
    EXPECT_TRUE(client->isConnected());
    client->endLogin(client->loginNumber());
    EXPECT_FALSE(client->isConnected());
}

TEST_F(LoginTest, ALoginBehindAnEndIsAnotherOne) {
    const KeyboardServer server(password_);
    // Whether the ended login is still under way when the other begins is a matter of chance.
    for (int round = 0; round < 8 && !HasFailure(); ++round) {
        const auto client = clientFor(keyboardHost(server));
        auto first = connecting(client);
        EXPECT_TRUE(alertsBecome(2 * round + 1));
        client->disconnect();
        EXPECT_EQ(connected(client, {u"secret"_s}), u"authorised, no home"_s);
        EXPECT_EQ(test::settled(std::move(first)), u"not authorised, no home"_s);
    }
}

TEST_F(LoginTest, ARefusalNamesTheServerAndWhatHelps) {
    const KeyboardServer server(password_);
    for (const QString& user : {u"tester"_s, u""_s}) {
        const auto host = passwordHost(server.port(), u"wrong"_s);
        host->setUsername(user);
        const auto client = clientFor(host);
        const auto result = test::beside([&] { return client->connect(); });
        ASSERT_FALSE(result);
        EXPECT_TRUE(result.error().userText.startsWith(u"Access denied"_s));
        EXPECT_EQ(result.error().recoverySuggestion,
                  u"Logging in %1on 127.0.0.1:%2 was refused. Check the user name and the authentication of "
                  "this host in Remote Hosts."_s.arg(user.isEmpty() ? QString() : u"as tester "_s)
                      .arg(server.port()));
    }
}

TEST_F(LoginTest, AWrongHomePathIsASuccessThatSaysSo) {
    const SshServer server;
    const auto host = keyHost(server);
    test::writeFile(server.path(u"a file"_s), {});
    for (const QString& path : {server.path(u"no directory"_s), server.path(u"a file"_s)}) {
        host->setHomePath(path);
        EXPECT_EQ(tested(host),
                  QStringList(
                      u"Connection success!|Remote login path: '%1' does not exist on server!"_s.arg(path)));
    }
}

TEST_F(LoginTest, AQuestionIsAskedOnceUntilTheConnectionHasEnded) {
    const KeyboardServer server(password_);
    const auto host = keyboardHost(server);
    const auto client = clientFor(host);
    client->setWindow(WindowId(7));
    EXPECT_EQ(connected(client, {u"secret"_s}), u"authorised, no home"_s);
    ASSERT_EQ(alerts_.texts(), QStringList(passwordQuestion_ + u"Password: "_s));
    const auto& shown = alerts_.alerts[0];
    EXPECT_EQ(shown.buttons, QStringList({u"OK"_s, u"Cancel"_s}));
    ASSERT_TRUE(shown.field);
    EXPECT_EQ(shown.field->placeholder, u"Enter the password"_s);
    EXPECT_TRUE(shown.field->isMasked);
    EXPECT_EQ(shown.window, WindowId(7));
    EXPECT_EQ(connected(client), u"authorised, no home"_s);
    EXPECT_EQ(server.logins(), 1) << "connecting again costs a login";
    EXPECT_EQ(client->execute(u"echo in"_s), u"in\n"_s);

    // Another connection to the same host uses the answer.
    EXPECT_EQ(connected(host), u"authorised, no home"_s);
    EXPECT_EQ(server.logins(), 2);
    EXPECT_EQ(keyboard(host).cachedPwd(), std::nullopt);
    client->disconnect();
    EXPECT_EQ(connected(client, {u"secret"_s}), u"authorised, no home"_s);
    EXPECT_EQ(alerts_.alerts.size(), 2U);
}

TEST_F(LoginTest, AnAnswerThatFailsIsForgotten) {
    const KeyboardServer server(password_);
    const auto host = keyboardHost(server);
    const auto client = clientFor(host);
    const QString denied = u"error: Access denied for 'keyboard interactive'. Authentication that can "
                           "continue: keyboard-interactive"_s;
    EXPECT_EQ(connected(client, {u"wrong"_s}), denied);
    EXPECT_EQ(keyboard(host).cachedPwd(), std::nullopt);
    keyboard(host).setCachedPwd(u"old"_s);
    EXPECT_EQ(connected(client), denied);
    EXPECT_EQ(alerts_.alerts.size(), 1U) << "the cached answer was asked for";
    EXPECT_EQ(connected(client, {u"secret"_s}), u"authorised, no home"_s);
    EXPECT_EQ(keyboard(host).cachedPwd(), u"secret"_s);
}

TEST_F(LoginTest, SeveralQuestionsAndRoundsAreAllAsked) {
    const KeyboardServer server(
        {{"Two proofs are needed.", {{"Password: ", false, "secret"}, {"Token: ", true, "123456"}}},
         {"", {}},
         {"", {{"Another token: ", false, "654321"}}}});
    const auto host = keyboardHost(server);
    const auto client = clientFor(host);
    EXPECT_TRUE(connected(client, {u"secret"_s, u"123456"_s, u"000000"_s}).startsWith(u"error: "_s));
    EXPECT_EQ(connected(client, {u"secret"_s, u"123456"_s, u"654321"_s}), u"authorised, no home"_s);
    EXPECT_EQ(server.logins(), 1);
    EXPECT_EQ(keyboard(host).cachedPwd(), std::nullopt) << "one answer cannot be that to all questions";
    const QStringList asked{passwordQuestion_ + u"Two proofs are needed.\nPassword: "_s,
                            passwordQuestion_ + u"Two proofs are needed.\nToken: "_s,
                            passwordQuestion_ + u"Another token: "_s};
    EXPECT_EQ(alerts_.texts(), asked + asked);
    for (const std::size_t index : {0U, 1U, 2U})
        EXPECT_EQ(alerts_.alerts[index].field->isMasked, index != 1);
}

TEST_F(LoginTest, AQuestionWithoutAnAnswerEndsTheLoginQuietly) {
    const KeyboardServer server(password_, "secret");
    enum class Ends { Cancelled, Disconnected };
    using Case = std::pair<std::shared_ptr<RemoteHost>, Ends>;
    for (const auto& [host, ends] :
         {Case(keyboardHost(server), Ends::Cancelled), Case(keyboardHost(server), Ends::Disconnected),
          Case(passwordHost(server.port(), {}), Ends::Cancelled)}) {
        alerts_.alerts.clear();
        const auto client = clientFor(host);
        bool isDone = false;
        client->testConnection([&] { isDone = true; });
        ASSERT_TRUE(alertsBecome(1));
        if (ends == Ends::Cancelled)
            alerts_.press(0, 1);
        else
            client->disconnect();
        EXPECT_TRUE(test::waitFor([&] { return isDone; }));
        EXPECT_EQ(alerts_.alerts.size(), 1U) << "a failure is shown";
        if (ends == Ends::Disconnected)
            alerts_.press(0, 0); // the alert is still open, but nothing waits for its answer
        EXPECT_FALSE(client->isConnected());
    }
    EXPECT_EQ(server.logins(), 0);
}

TEST_F(LoginTest, TheTimeAtAQuestionIsNotCounted) {
    settings_.connectingLimit = 2s;
    const KeyboardServer server(password_);
    auto outcome = connecting(clientFor(keyboardHost(server)));
    EXPECT_TRUE(alertsBecome(1));
    const auto answerTime = std::chrono::steady_clock::now() + 2500ms;
    EXPECT_TRUE(test::waitFor([&] { return std::chrono::steady_clock::now() > answerTime; }));
    alerts_.enter(0, u"secret"_s);
    EXPECT_EQ(test::settled(std::move(outcome)), u"authorised, no home"_s);
}

TEST_F(LoginTest, TheLibrarysLogFollowsItsSwitch) {
    const KeyboardServer server(password_);
    for (const bool isOn : {true, false}) {
        NMSSHLogger::sharedLogger().setEnabled(isOn);
        const test::LogCapture log;
        EXPECT_EQ(connected(keyboardHost(server), {u"secret"_s}), u"authorised, no home"_s);
        EXPECT_EQ(log.lines().filter(u"ssh_connect"_s).isEmpty(), !isOn);
        EXPECT_TRUE(log.lines().filter(u"secret"_s).isEmpty());
    }
}

} // namespace
} // namespace korvane
