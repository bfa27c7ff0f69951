#include "core/FileObserverProtocol.h"
#include "remote/RemoteSession.h"
#include "remote/SshTest.h"
#include "support/KeyboardServer.h"

#include <algorithm>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

/// Several documents sharing the connection to one host.
class SharedConnectionTest : public test::RemoteSession {
protected:
    ~SharedConnectionTest() override {
        for (const auto& document : documents_)
            document->close();
    }
    void openFour(const test::SshServer& server) {
        host_ = test::SshTest::keyHost(server);
        connection_ = HostConnection::separate(host_, alerts_, {});
        for (int number = 0; number < 4; ++number) {
            const QString path = server.path(u"%1.log"_s.arg(number));
            test::writeFile(path, test::numberedLines(1, 10'000));
            const auto document = RemoteDocument::create(
                host_, [this](const auto& host) { return Client::create(host, alerts_, connection_); });
            ASSERT_TRUE(document->readFromUrl(RemoteUrl(*host_, path).url()));
            documents_.push_back(document);
            document->startLoading();
        }
        EXPECT_TRUE(areAll(ConnectionState::Connected));
        EXPECT_TRUE(test::waitFor([this] {
            return std::ranges::all_of(documents_, [](const auto& document) {
                return document->dataSource()->numberOfRows() == 10'000 && text(*document, 0) == u"line 1"_s;
            });
        }));
    }
    bool areAll(ConnectionState state) {
        return test::waitFor([&] {
            return std::ranges::all_of(
                documents_, [state](const auto& document) { return document->connectionState() == state; });
        });
    }
    static QString text(const RemoteDocument& document, qint64 row) {
        return document.dataSource()->rowLine(row).line.string();
    }

    std::shared_ptr<RemoteHost> host_;
    std::shared_ptr<HostConnection> connection_;
    std::vector<std::shared_ptr<RemoteDocument>> documents_;
};

TEST_F(SharedConnectionTest, OnlyTheSameLoginIsShared) {
    const auto hostOf = [](const QString& name, const QString& password) {
        auto host = std::make_shared<RemoteHost>(name, 22, u"u"_s);
        host->setAuthnType(std::make_shared<PasswordAuthnType>(password));
        return host;
    };
    const auto first = HostConnection::shared(hostOf(u"a"_s, u"p"_s), alerts_);
    EXPECT_EQ(HostConnection::shared(hostOf(u"a"_s, u"p"_s), alerts_), first);
    EXPECT_NE(HostConnection::shared(hostOf(u"a"_s, u"q"_s), alerts_), first);
    EXPECT_NE(HostConnection::shared(hostOf(u"b"_s, u"p"_s), alerts_), first);
    EXPECT_NE(HostConnection::shared(std::make_shared<RemoteHost>(u"a"_s, 22, u"u"_s), alerts_), first);
}

TEST_F(SharedConnectionTest, ALossIsToldOnceAndOneReconnectServesAll) {
    test::SshServer server;
    openFour(server);
    EXPECT_EQ(server.logins(), 1);
    EXPECT_EQ(connection_->loginNumber(), 1U);
    documents_[1]->startTailingWhenLoaded();
    // Closing one document does not affect the others.
    documents_[3]->close();
    documents_.pop_back();
    EXPECT_EQ(text(*documents_[0], 0), u"line 1"_s);
    EXPECT_TRUE(connection_->isConnected());

    server.killConnections();
    EXPECT_TRUE(areAll(ConnectionState::Lost));
    EXPECT_TRUE(test::waitFor([this] { return !alerts_.alerts.empty(); }));
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    const QString told = alerts_.alerts[0].informativeText;
    EXPECT_TRUE(told.endsWith(u"0.log, 1.log, 2.log"_s)) << told.toStdString();

    test::writeFile(server.path(u"1.log"_s), "added\n", QIODevice::Append);
    documents_[0]->reconnect();
    EXPECT_TRUE(areAll(ConnectionState::Connected));
    EXPECT_EQ(connection_->loginNumber(), 2U);
    EXPECT_TRUE(test::waitFor([this] { return text(*documents_[1], 10'000) == u"added"_s; }));
    EXPECT_TRUE(test::waitFor([this] { return documents_[1]->logFileObserver()->isTailing(); }));
    EXPECT_EQ(alerts_.alerts.size(), 1U);

    for (const auto& document : documents_)
        document->close();
    EXPECT_FALSE(connection_->isConnected());
    EXPECT_TRUE(test::waitFor([&] { return server.connectionProcesses().empty(); }));
}

TEST_F(SharedConnectionTest, AQuestionWaitsForTheUserAndIsAskedOnceForAll) {
    test::KeyboardServer server({{"", {{"Password: ", false, "secret"}}}});
    host_ = test::SshTest::hostAt(server.port(), std::make_shared<KeyboardAuthnType>());
    connection_ = HostConnection::separate(host_, alerts_, {});
    const auto one = Client::create(host_, alerts_, connection_);
    const auto other = Client::create(host_, alerts_, connection_);
    const auto isIn = [](Client& client, LoginAsked asked) {
        const auto login = test::beside([&] { return client.logIn(asked); });
        return login && login.value().isAuthorised;
    };
    EXPECT_FALSE(isIn(*one, LoginAsked::ByProgram));
    EXPECT_TRUE(one->wasRefused());
    EXPECT_TRUE(alerts_.alerts.empty());
    alerts_.willEnter(u"secret"_s);
    EXPECT_TRUE(isIn(*one, LoginAsked::ByUser));
    EXPECT_FALSE(other->isConnected()) << "it has not asked for it";
    EXPECT_TRUE(isIn(*other, LoginAsked::ByProgram));
    EXPECT_EQ(server.logins(), 1);

    server.cutConnections();
    EXPECT_TRUE(test::waitFor([&] { return alerts_.alerts.size() == 2U; })) << "the loss";
    other->tryAgain();
    EXPECT_TRUE(test::waitFor([&] { return other->wasRefused(); }));
    EXPECT_FALSE(isIn(*other, LoginAsked::ByProgram));
    EXPECT_EQ(alerts_.alerts.size(), 2U);
    alerts_.willEnter(u"secret"_s);
    EXPECT_TRUE(isIn(*other, LoginAsked::ByUser));
    EXPECT_TRUE(one->isConnected());
    one->disconnect();
    EXPECT_FALSE(one->isConnected());
    EXPECT_TRUE(other->isConnected());
    other->disconnect();
    EXPECT_FALSE(connection_->isConnected());
}

TEST_F(SharedConnectionTest, AServerThatComesBackIsFoundByWhoeverIsInView) {
    test::SshServer server;
    openFour(server);
    server.stop();
    EXPECT_TRUE(areAll(ConnectionState::Lost));
    EXPECT_TRUE(documents_[2]->triesToConnect());
    test::waitFor([this] {
        documents_[2]->stayConnected();
        return !connection_->fault().isEmpty();
    });
    EXPECT_FALSE(connection_->wasRefused());
    server.start();
    EXPECT_TRUE(test::waitFor([this] {
        documents_[2]->stayConnected();
        return documents_[2]->connectionState() == ConnectionState::Connected;
    }));
    EXPECT_TRUE(areAll(ConnectionState::Connected));
    EXPECT_TRUE(test::waitFor([this] { return text(*documents_[0], 9999) == u"line 10000"_s; }));
    EXPECT_EQ(alerts_.alerts.size(), 1U) << "what the program tries is not told";
}

} // namespace
} // namespace korvane
