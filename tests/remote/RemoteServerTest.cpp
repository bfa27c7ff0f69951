#include "RemoteSession.h"
#include "core/FileObserverProtocol.h"
#include "core/SearchItem.h"
#include "remote/AuthnType.h"
#include "remote/Client.h"
#include "remote/SessionSettings.h"
#include "support/SshServer.h"

#include <QFile>

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

/// Over a server's own SSH.
class RemoteServerTest : public test::RemoteSession {
protected:
    void open(const QByteArray& content) {
        QFile file(path_);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(content), content.size());
        // The server's user is another one.
        ASSERT_TRUE(file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
        file.close();
        const auto host = std::make_shared<RemoteHost>(QString::fromLatin1(test::SshServer::host),
                                                       server_.port(), server_.user());
        const auto login = std::make_shared<PublicKeyAuthnType>();
        login->privateKeyFilePath = server_.makeKey(u"id"_s);
        login->publicKeyFilePath = server_.path(u"id.pub"_s);
        host->setAuthnType(login);
        const auto document =
            RemoteDocument::create(host, alerts_, [this](const std::shared_ptr<RemoteHost>& configured) {
                return Client::create(configured, alerts_, SessionSettings{});
            });
        RemoteSession::open(document, path_);
        ASSERT_TRUE(loaded());
        ASSERT_TRUE(waitForRows(content.count('\n')));
    }
    /// Another process changes the file.
    void inShell(const QByteArray& command) const {
        ASSERT_TRUE(test::runProgram({"/bin/sh", "-c", command + " \"$0\"", path_.toUtf8()}));
    }
    bool isLost() {
        return test::waitFor([this] {
            document_->checkFile([](FileFault) {});
            return document_->connectionState() == ConnectionState::Lost;
        });
    }
    void reconnect() {
        document_->reconnect();
        ASSERT_TRUE(test::waitFor(
            [this] { return document_->connectionState() == ConnectionState::Connected && !isLoading(); }));
    }
    /// The alert of a loss, and what other alerts there are by then; they are forgotten.
    QStringList takeAlertsOfLoss() {
        test::waitFor([this] { return !alerts_.alerts.empty(); });
        return takeAlerts();
    }
    QStringList takeAlerts() {
        QStringList messages;
        for (const Alert& alert : std::exchange(alerts_.alerts, {}))
            messages << alert.message;
        return messages;
    }

    test::SshServer server_;
    const QString path_ = server_.path(u"a b.log"_s);
};

TEST_F(RemoteServerTest, AFileIsShownSearchedAndFollowed) {
    const QByteArray content = test::numberedLines(1, 12'345);
    open(content);
    const QList<QByteArray> lines = content.split('\n');
    for (const qint64 line : {0, 4999, 5000, 9999, 10'000, 12'344})
        EXPECT_EQ(row(line), QString::fromUtf8(lines[line]));
    for (qint64 line = 0; line < 12'345; ++line)
        ASSERT_EQ(document_->dataSource()->cachedRowLine(line)->line.string(),
                  QString::fromUtf8(lines[line]));
    EXPECT_EQ(document_->knownFileSize(), static_cast<quint64>(content.size()));
    std::optional<FileInformation> information;
    document_->askFileInformation([&](const auto& found) { information = found; });
    ASSERT_TRUE(test::waitFor([&] { return information.has_value(); }));
    EXPECT_EQ(information->name, u"a b.log"_s);
    EXPECT_EQ(information->size, static_cast<quint64>(content.size()));
    EXPECT_LT(std::abs(information->modificationDate.secsTo(QDateTime::currentDateTime())), 3600);

    document_->startTailingWhenLoaded();
    ASSERT_TRUE(test::waitFor([this] { return document_->logFileObserver()->isTailing(); }));
    inShell("printf 'needle\\nlast\\n' >>");
    EXPECT_TRUE(rowBecomes(12'346, u"last"_s));
    const auto match =
        document_->dataSource()->findNextMatch(0, rows() - 1, SearchItem(u"NEEDLE"_s), [] { return false; });
    EXPECT_EQ(match ? match->row : -1, 12'345);
    inShell("printf 'new\\n' >");
    EXPECT_TRUE(rowBecomes(0, u"new"_s));
    EXPECT_EQ(rows(), 1);
    EXPECT_TRUE(alerts_.alerts.empty());
}

TEST_F(RemoteServerTest, ALossLeavesTheRowsAndReconnectingGoesOn) {
    open(test::numberedLines(1, 12'345));
    EXPECT_EQ(row(0), u"line 1"_s);
    server_.killConnections();
    EXPECT_TRUE(isLost());
    EXPECT_EQ(takeAlertsOfLoss(), QStringList{u"Disconnected from remote server host!"_s});
    EXPECT_EQ(row(0), u"line 1"_s);
    EXPECT_EQ(rows(), 12'345);

    server_.stop();
    document_->dataSource()->rowLine(5000);
    document_->dataSource()->rowLine(10'000);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
    test::waitFor([] { return true; });
    EXPECT_EQ(takeAlerts(), QStringList()) << "one for a loss, whatever fails afterwards";
    document_->reconnect();
    ASSERT_TRUE(test::waitFor([this] { return !alerts_.alerts.empty(); }, std::chrono::seconds(60)));
    EXPECT_EQ(takeAlerts(), QStringList{u"Could not connect to remote host!"_s});
    EXPECT_EQ(document_->connectionState(), ConnectionState::Lost);

    server_.start();
    reconnect();
    EXPECT_EQ(row(10'000), u"line 10001"_s);
    EXPECT_EQ(row(5000), u"line 5001"_s);
    EXPECT_EQ(announced_, 1);
    EXPECT_EQ(takeAlerts(), QStringList());
}

TEST_F(RemoteServerTest, ALossWhileFollowingIsToldOnceAndFollowingGoesOnAfterIt) {
    Preferences::shared().setStartTailingOnFileOpen(true);
    open(test::numberedLines(1, 100));
    inShell("printf 'followed\\n' >>");
    ASSERT_TRUE(rowBecomes(100, u"followed"_s)); // nothing else is asked for any more
    server_.killConnections();
    EXPECT_TRUE(waitForRows(0));
    EXPECT_TRUE(isLost());
    EXPECT_EQ(takeAlertsOfLoss(), QStringList{u"Disconnected from remote server host!"_s});
    reconnect();
    EXPECT_TRUE(rowBecomes(100, u"followed"_s));
    inShell("printf 'more\\n' >>");
    EXPECT_TRUE(rowBecomes(101, u"more"_s));
    EXPECT_EQ(takeAlerts(), QStringList());
}

TEST_F(RemoteServerTest, ClosingBreaksOffWhatAFrozenServerHolds) {
    open(test::numberedLines(1, 12'345));
    server_.freezeConnections();
    document_->dataSource()->rowLine(0);
    document_->startTailingWhenLoaded();
    const auto start = std::chrono::steady_clock::now();
    document_->close();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    server_.resumeConnections();
    EXPECT_EQ(takeAlerts(), QStringList());
}

} // namespace
} // namespace korvane
