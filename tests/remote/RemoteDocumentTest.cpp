#include "core/FileObserverProtocol.h"
#include "core/search/SearchItem.h"
#include "documents/AppDocumentController.h"
#include "foundation/FilePath.h"
#include "remote/RemoteLogDataSource.h"
#include "remote/RemoteSession.h"
#include "remote/ShellClient.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "support/RecordingNotificationCenter.h"

#include <gtest/gtest.h>
#include <thread>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using Logins = test::ShellClient::Logins;

/// Over the shell of this computer instead of a server's.
class RemoteDocumentTest : public test::RemoteSession {
protected:
    ~RemoteDocumentTest() override {
        if (client_)
            client_->hold(false);
    }

    void make() {
        document_ = RemoteDocument::create(std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s), alerts_,
                                           [this](const std::shared_ptr<RemoteHost>& host) {
                                               client_ = std::make_shared<test::ShellClient>(host, alerts_);
                                               return client_;
                                           });
    }
    void open(const QByteArray& content) {
        make();
        file_ = std::make_unique<test::TemporaryFile>(content, "a b.log");
        RemoteSession::open(document_, path());
    }
    void openLoaded(const QByteArray& content) {
        open(content);
        ASSERT_TRUE(loaded());
        ASSERT_TRUE(waitForRows(content.count('\n')));
    }
    QString path() const { return QString::fromUtf8(file_->path()); }
    QString pageCommand(int page) const {
        return u"tail -n+%1 \"/%2\" | head -n 5000"_s.arg((page - 1) * 5000 + 1).arg(path());
    }
    QStringList pageCommands() const { return client_->commands(u"tail"_s); }
    void follow() {
        document_->startTailingWhenLoaded();
        ASSERT_TRUE(test::waitFor([this] {
            return document_->logFileObserver()->isTailing() && client_->commands(u"ls"_s).size() > 1;
        }));
        changes_.clear();
    }

    std::unique_ptr<test::TemporaryFile> file_;
    std::shared_ptr<test::ShellClient> client_;
};

// ---- Loading

TEST_F(RemoteDocumentTest, PagesComeByTheSettledCommandsAndOnce) {
    const auto token = NotificationCenter::shared().observe(
        notification::dataSourceLoadedLines, [this](const Notification& posted) {
            told_ << QString::number(std::any_cast<qint64>(posted.object));
        });
    openLoaded(test::numberedLines(1, 12'345));
    EXPECT_EQ(client_->commands(), QStringList{u"wc -l < \"/%1\""_s.arg(path())});
    for (const qint64 line : {12'345, 1, 5000, 5001, 10'000, 10'001, 2})
        EXPECT_EQ(row(line - 1), u"line %1"_s.arg(line));
    EXPECT_EQ(pageCommands(), (QStringList{pageCommand(3), pageCommand(1), pageCommand(2)}));
    // A row is there a moment before its notice.
    EXPECT_TRUE(test::waitFor([this] { return told_.size() == 3; }));
    EXPECT_EQ(told_, (QStringList{u"3"_s, u"1"_s, u"2"_s}));
    EXPECT_EQ(client_->loginCount, 1);
    EXPECT_EQ(announced_, 1);
    EXPECT_EQ(RemoteRecentFilesManager::shared().recentUrls(),
              QStringList{u"ssh://u@h:22/%1"_s.arg(path().replace(u' ', u"%20"_s))});
}

TEST_F(RemoteDocumentTest, LinesEndWithNewlinesAndAreReadAsUtf8) {
    openLoaded("caf\xc3\xa9\r\n\n\xff|\n" + QByteArray(3 << 20, 'x') + "\nlost");
    EXPECT_EQ(row(0), u"café\r"_s);
    EXPECT_EQ(row(1), QString());
    EXPECT_EQ(row(2), u"\uFFFD|"_s);
    EXPECT_EQ(row(3).size(), 1 << 20);
    EXPECT_EQ(document_->dataSource()->rowLine(3).cutBytes, 2U << 20);
    EXPECT_EQ(rows(), 4);
}

TEST_F(RemoteDocumentTest, AFailedLoadIsToldOnceAndLeavesNoTrace) {
    const struct {
        Logins logins;
        QString message;
        QString text;
    } cases[] = {
        {Logins::Unauthorised, u"Could not connect to remote host!"_s,
         u"Check if the server is up and re-open the log file"_s},
        {Logins::Refused, u"wrong password"_s, {}},
    };
    for (const auto& [logins, message, text] : cases) {
        make();
        client_->setLogins(logins);
        Preferences::shared().setStartTailingOnFileOpen(true);
        RemoteSession::open(document_, u"/tmp/x"_s);
        ASSERT_TRUE(test::waitFor([this] { return !alerts_.alerts.empty(); }));
        ASSERT_EQ(alerts_.alerts.size(), 1U);
        EXPECT_EQ(alerts_.alerts[0].message, message);
        EXPECT_EQ(alerts_.alerts[0].informativeText, text);
        EXPECT_EQ(document_->connectionState(), ConnectionState::Unconnected);
        EXPECT_FALSE(document_->openFault().isEmpty());
        EXPECT_EQ(announced_, 0);
        EXPECT_TRUE(RemoteRecentFilesManager::shared().recentUrls().isEmpty());
        EXPECT_TRUE(client_->commands().isEmpty());
        EXPECT_FALSE(document_->logFileObserver());
        alerts_.alerts.clear();

        client_->setLogins(Logins::Accepted);
        document_->reconnect();
        EXPECT_TRUE(test::waitFor([this] { return announced_ == 1; }));
        EXPECT_TRUE(document_->openFault().isEmpty());
        EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
        document_->close();
        announced_ = 0;
        RemoteRecentFilesManager::setShared(nullptr);
        Preferences::shared().userDefaults().remove(RemoteRecentFilesManager::RECENT_FILES_KEY);
        RemoteRecentFilesManager::setShared(
            std::make_unique<RemoteRecentFilesManager>(Preferences::shared().userDefaults()));
    }
}

TEST_F(RemoteDocumentTest, AnUnknownHostOpensNothing) {
    class NoWindows : public DocumentWindowFactory {
        void makeWindow(const std::shared_ptr<Document>&) override { ADD_FAILURE(); }
        void changesEnd(const std::shared_ptr<Document>&) override {}
        void waitForFile(const QUrl&, std::optional<qint64>, const QString&) override {}
        void closeWindow(const std::shared_ptr<Document>&) override {}
        void goToLine(const std::shared_ptr<Document>&, qint64) override {}
    } windows;
    const QTemporaryDir directory;
    const auto hosts =
        std::move(RemoteHostsManager::load(directory.path(), Preferences::shared().userDefaults())).value();
    ASSERT_TRUE(hosts->add(std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s)));
    AppDocumentController controller(windows, alerts_);
    controller.registerDocumentClass(AppDocumentController::remoteDocumentType, [&](const QUrl& url) {
        return RemoteDocument::createForUrl(url, *hosts, alerts_);
    });
    const QUrl url(u"ssh://u@h:2222//tmp/x.log"_s);
    EXPECT_FALSE(controller.openDocument(url));
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(alerts_.alerts[0].message, u"Could not find remote host information for URL"_s);
    EXPECT_EQ(alerts_.alerts[0].informativeText,
              u"Ensure the remote host referenced in the URL is present and configured with the same user "
              "and server host:port information"_s);
    const auto error = controller.makeDocument(url, AppDocumentController::remoteDocumentType);
    ASSERT_FALSE(error);
    EXPECT_EQ(error.error().url, url.toString());
    EXPECT_EQ(error.error().code, -1004);
    EXPECT_TRUE(controller.makeDocument(QUrl(u"ssh://u@h:22//tmp/x.log"_s),
                                        AppDocumentController::remoteDocumentType));
}

TEST_F(RemoteDocumentTest, OneCountIsUnderWayAndTheLastOneIsShownMeanwhile) {
    openLoaded(test::numberedLines(1, 10));
    client_->hold(true);
    file_->append(test::numberedLines(11, 5));
    document_->reload();
    ASSERT_TRUE(test::waitFor([this] { return client_->commands(u"wc"_s).size() == 2; }));
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(rows(), 10);
    client_->hold(false);
    EXPECT_TRUE(waitForRows(15));
    EXPECT_EQ(client_->commands(u"wc"_s).size(), 2);
}

TEST_F(RemoteDocumentTest, AnEmptyFileIsAskedForAgain) {
    openLoaded({});
    file_->append(test::numberedLines(1, 3));
    EXPECT_TRUE(waitForRows(3)); // each look asks, none waits
    EXPECT_EQ(row(2), u"line 3"_s);
}

TEST_F(RemoteDocumentTest, CancellingACountLeavesTheConnectionAndTheFileCanBeReadAnew) {
    make();
    client_->hold(true);
    file_ = std::make_unique<test::TemporaryFile>(test::numberedLines(1, 10));
    RemoteSession::open(document_, path());
    ASSERT_TRUE(test::waitFor([this] { return client_->commands(u"wc"_s).size() == 1; }));
    ASSERT_TRUE(test::waitFor([this] { return document_->connectionState() == ConnectionState::Connected; }));
    rows(); // as a window does, which asks for a count as well
    document_->cancelLoading();
    EXPECT_EQ(document_->loadProgress()->statusText(), u"Canceled!"_s);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20))) << "the command goes on";
    client_->hold(false);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(rows(), 0);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    EXPECT_EQ(client_->commands().size(), 1) << "a look at the rows begins it again";
    EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
    EXPECT_TRUE(client_->isConnected());
    EXPECT_FALSE(document_->isClosed());
    document_->reload();
    EXPECT_TRUE(waitForRows(10));
    EXPECT_TRUE(loaded());
    EXPECT_EQ(document_->loadProgress()->statusText(), u"Completed!"_s);

    // And it can be followed after another one.
    client_->hold(true);
    document_->reload();
    ASSERT_TRUE(test::waitFor([this] { return client_->commands(u"wc"_s).size() == 3; }));
    document_->cancelLoading();
    file_->append(test::numberedLines(11, 1));
    document_->startTailingWhenLoaded();
    client_->hold(false);
    EXPECT_TRUE(rowBecomes(10, u"line 11"_s));
    EXPECT_EQ(client_->loginCount, 1);
}

TEST_F(RemoteDocumentTest, CancellingALoginEndsItAndOneOfOthersStays) {
    make();
    file_ = std::make_unique<test::TemporaryFile>(test::numberedLines(1, 10));
    std::atomic<int> begun{0};
    std::atomic<bool> isCancelled{false};
    client_->setOnConnect([&] {
        ++begun;
        isCancelled.wait(false);
    });
    RemoteSession::open(document_, path());
    ASSERT_TRUE(test::waitFor([&] { return begun == 1; }));
    document_->cancelLoading();
    isCancelled = true;
    isCancelled.notify_all();
    EXPECT_EQ(document_->connectionState(), ConnectionState::Unconnected);
    EXPECT_EQ(document_->loadProgress()->statusText(), u"Canceled!"_s);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    test::waitFor([] { return true; });
    EXPECT_FALSE(client_->isConnected()) << "it was reached behind the end";
    EXPECT_EQ(announced_, 0);
    EXPECT_TRUE(alerts_.alerts.empty());

    document_->reconnect();
    ASSERT_TRUE(loaded());
    ASSERT_TRUE(waitForRows(10));
    isCancelled = false;
    client_->setOnConnect([&] {
        ++begun;
        isCancelled.wait(false);
    });
    document_->reload();
    ASSERT_TRUE(test::waitFor([&] { return begun == 2; }));
    document_->cancelLoading();
    isCancelled = true;
    isCancelled.notify_all();
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    EXPECT_TRUE(client_->isConnected());
    EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
    EXPECT_EQ(client_->loginCount, 2);
}

TEST_F(RemoteDocumentTest, TextInPlaceOfANumberIsToldOncePerLogin) {
    make();
    client_->setPrintsText(true);
    file_ = std::make_unique<test::TemporaryFile>(test::numberedLines(1, 3));
    Preferences::shared().setStartTailingOnFileOpen(true);
    RemoteSession::open(document_, path());
    ASSERT_TRUE(loaded());
    ASSERT_TRUE(test::waitFor([this] { return client_->commands(u"ls"_s).size() > 3; }));
    EXPECT_EQ(rows(), 0);
    const auto told = [this] { return told_.filter(u"The server prints text at login: Welcome "_s).size(); };
    EXPECT_EQ(told(), 1);
    client_->disconnect();
    document_->checkFile([](FileFault) {});
    document_->reconnect();
    EXPECT_TRUE(test::waitFor([&] { return told() == 2; }));
}

TEST_F(RemoteDocumentTest, ClosingWaitsForNothing) {
    openLoaded(test::numberedLines(1, 6000));
    client_->hold(true);
    document_->dataSource()->rowLine(0);
    document_->dataSource()->rowLine(5999);
    ASSERT_TRUE(test::waitFor([this] { return pageCommands().size() == 2; }));
    const auto start = std::chrono::steady_clock::now();
    document_->close();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_FALSE(client_->isConnected());
    EXPECT_EQ(document_->connectionState(), ConnectionState::Closed);
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    EXPECT_TRUE(alerts_.alerts.empty());
}

TEST_F(RemoteDocumentTest, NothingLogsInBehindTheEnd) {
    openLoaded(test::numberedLines(1, 100));
    client_->setOnConnect([this] { document_->close(); });
    document_->dataSource()->loadPage(1, false);
    EXPECT_EQ(document_->connectionState(), ConnectionState::Closed);
    EXPECT_FALSE(client_->isConnected());
}

// ---- Following

TEST_F(RemoteDocumentTest, GrowthReloadsFromTheLastLineOn) {
    openLoaded(test::numberedLines(1, 5000));
    EXPECT_EQ(row(4999), u"line 5000"_s);
    follow();
    EXPECT_EQ(client_->commands(u"ls"_s).front(), u"ls -nl \"/%1\" | awk '{print $5}'"_s.arg(path()));
    EXPECT_EQ(rows(), 5000);
    file_->append(test::numberedLines(5001, 10));
    EXPECT_TRUE(rowBecomes(5009, u"line 5010"_s));
    ASSERT_FALSE(changes_.empty());
    EXPECT_EQ(changes_.back(), (LineRange{4999, 11}));
    EXPECT_EQ(row(0), u"line 1"_s);
    EXPECT_EQ(pageCommands().count(pageCommand(2)), 1);
    EXPECT_EQ(document_->knownFileSize(), static_cast<quint64>(test::numberedLines(1, 5010).size()));

    document_->stopTailing();
    ASSERT_TRUE(test::waitFor([this] { return !document_->logFileObserver()->isTailing(); }));
    EXPECT_TRUE(client_->isConnected());
    EXPECT_EQ(rows(), 5010) << "a poll that was given up is no empty file";
}

TEST_F(RemoteDocumentTest, AShorterFileIsShownFromItsFirstLine) {
    openLoaded(test::numberedLines(1, 100));
    EXPECT_EQ(row(0), u"line 1"_s);
    follow();
    file_->truncate(0);
    EXPECT_TRUE(waitForRows(0));
    file_->append("new one\nnew two\n");
    EXPECT_TRUE(rowBecomes(1, u"new two"_s));
    EXPECT_EQ(row(0), u"new one"_s);
    file_->overwrite("x\n");
    EXPECT_TRUE(rowBecomes(0, u"x"_s));
    EXPECT_EQ(rows(), 1);
}

TEST_F(RemoteDocumentTest, ACountThatBeganBeforeTheFileWasEmptiedIsForgotten) {
    openLoaded(test::numberedLines(1, 100));
    follow();
    client_->holdOutput(u"wc"_s);
    const auto source = std::dynamic_pointer_cast<RemoteLogDataSource>(document_->dataSource());
    std::thread counting([&] { source->countLines([] { return false; }); });
    EXPECT_TRUE(test::waitFor([this] { return client_->heldOutputs() == 1; }));
    file_->truncate(0);
    EXPECT_TRUE(waitForRows(0));
    client_->holdOutput({});
    counting.join();
    EXPECT_EQ(rows(), 0);
    file_->append("new\n");
    EXPECT_TRUE(rowBecomes(0, u"new"_s));
}

TEST_F(RemoteDocumentTest, AFileEmptiedBeforeItIsFollowedIsShownEmpty) {
    openLoaded(test::numberedLines(1, 100));
    EXPECT_EQ(row(0), u"line 1"_s);
    file_->truncate(0);
    follow();
    EXPECT_TRUE(waitForRows(0));
    file_->overwrite("new\n");
    EXPECT_TRUE(rowBecomes(0, u"new"_s));
    EXPECT_EQ(rows(), 1);
}

TEST_F(RemoteDocumentTest, AnotherFileIsNotTakenForTheOldOneWhenItsCountFailed) {
    // More than two pages, so that growth alone would leave the first row as it is.
    openLoaded(test::numberedLines(1, 12'000));
    EXPECT_EQ(row(0), u"line 1"_s);
    follow();
    client_->setUnanswered(u"wc"_s);
    file_->overwrite("a\n");
    ASSERT_TRUE(test::waitFor([this] { return document_->knownFileSize() == 2U; }));
    const QByteArray grown = "a\n" + test::numberedLines(102, 12'020);
    file_->overwrite(grown);
    ASSERT_TRUE(
        test::waitFor([&] { return document_->knownFileSize() == static_cast<quint64>(grown.size()); }));
    EXPECT_EQ(rows(), 12'000);
    client_->setUnanswered({});
    EXPECT_TRUE(waitForRows(12'021));
    EXPECT_TRUE(rowBecomes(0, u"a"_s));
}

TEST_F(RemoteDocumentTest, NoAnswerIsNoEmptyAnswer) {
    openLoaded(test::numberedLines(1, 100));
    client_->setUnanswered(u"tail"_s);
    document_->dataSource()->rowLine(0);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    EXPECT_FALSE(document_->dataSource()->cachedRowLine(0)) << "a line without text";
    client_->setUnanswered({});
    document_->reload();
    EXPECT_EQ(row(0), u"line 1"_s);
}

TEST_F(RemoteDocumentTest, StoppingDuringAPollLeavesTheRows) {
    openLoaded(test::numberedLines(1, 100));
    follow();
    client_->hold(true);
    const auto polls = client_->commands(u"ls"_s).size();
    ASSERT_TRUE(test::waitFor([&] { return client_->commands(u"ls"_s).size() > polls; }));
    document_->stopTailing();
    ASSERT_TRUE(test::waitFor([this] { return !document_->logFileObserver()->isTailing(); }));
    EXPECT_EQ(rows(), 100);
}

// ---- When the link is bad

TEST_F(RemoteDocumentTest, ALossIsToldOnceAndReconnectingLoadsWhatFailed) {
    openLoaded(test::numberedLines(1, 25'000));
    EXPECT_EQ(row(0), u"line 1"_s);
    client_->setLogins(Logins::Unauthorised);
    for (const qint64 missing : {5000, 10'000, 15'000})
        document_->dataSource()->rowLine(missing);
    ASSERT_TRUE(test::waitFor([this] { return document_->connectionState() == ConnectionState::Lost; }));
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    test::waitFor([] { return true; });
    ASSERT_EQ(alerts_.alerts.size(), 1U);
    EXPECT_EQ(alerts_.alerts[0].message, u"Connection lost to remote host!"_s);
    EXPECT_EQ(alerts_.alerts[0].informativeText, u"Check if the server is up and open the log file again"_s);
    EXPECT_FALSE(document_->openFault().isEmpty());
    EXPECT_EQ(row(0), u"line 1"_s);
    EXPECT_FALSE(document_->dataSource()->rowLine(5000).isLoaded);
    EXPECT_EQ(rows(), 25'000);

    client_->setLogins(Logins::Accepted);
    EXPECT_FALSE(document_->dataSource()->rowLine(5000).isLoaded);
    EXPECT_FALSE(client_->isConnected()) << "what failed is not tried again by looking at it";
    document_->reconnect();
    EXPECT_EQ(row(5000), u"line 5001"_s);
    EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
    EXPECT_TRUE(document_->openFault().isEmpty());
    EXPECT_EQ(rows(), 25'000);
    EXPECT_EQ(announced_, 1);
}

TEST_F(RemoteDocumentTest, ALossIsToldByWhoeverNoticesItFirst) {
    openLoaded(test::numberedLines(1, 25'000));
    const QString byClient = u"Disconnected from remote server host!"_s;
    const QString byPage = u"Connection lost to remote host!"_s;
    qint64 missing = 5000;
    for (const QString& first : {byClient, byPage, byClient}) {
        alerts_.alerts.clear();
        client_->setLogins(Logins::Unauthorised);
        const auto notice = [this] { client_->didDisconnectWithError(Error{1, u"test"_s, u"gone"_s}); };
        if (first == byClient)
            notice();
        document_->dataSource()->rowLine(missing);
        ASSERT_TRUE(test::waitFor([this] { return document_->connectionState() == ConnectionState::Lost; }));
        if (first == byPage)
            notice();
        ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
        test::waitFor([] { return true; });
        ASSERT_EQ(alerts_.alerts.size(), 1U);
        EXPECT_EQ(alerts_.alerts[0].message, first);
        client_->setLogins(Logins::Accepted);
        document_->reconnect();
        ASSERT_TRUE(test::waitFor(
            [this] { return document_->connectionState() == ConnectionState::Connected && !isLoading(); }));
        missing += 5000;
    }
}

TEST_F(RemoteDocumentTest, ALossWhileFollowingEmptiesTheViewUntilReconnected) {
    openLoaded(test::numberedLines(1, 100));
    follow();
    client_->setFails(true);
    EXPECT_TRUE(waitForRows(0));
    EXPECT_TRUE(test::waitFor([this] { return document_->connectionState() == ConnectionState::Lost; }));
    client_->setFails(false);
    const auto polls = client_->commands(u"ls"_s).size();
    ASSERT_TRUE(test::waitFor([&] { return client_->commands(u"ls"_s).size() > polls + 2; }));
    EXPECT_EQ(client_->loginCount, 1) << "the monitor connects only once";
    document_->reconnect();
    EXPECT_TRUE(rowBecomes(99, u"line 100"_s));
    EXPECT_TRUE(document_->logFileObserver()->isTailing());
    file_->append("more\n");
    EXPECT_TRUE(rowBecomes(100, u"more"_s));
}

TEST_F(RemoteDocumentTest, APageThatFailsLeavesTheLoginOfOthers) {
    openLoaded(test::numberedLines(1, 10));
    client_->disconnect();
    client_->setLogins(Logins::Unauthorised);
    client_->setOnConnected([this] {
        // While the page has found the server unreachable, the user has connected anew.
        client_->setLogins(Logins::Accepted);
        EXPECT_TRUE(client_->connect());
    });
    document_->dataSource()->loadPage(1, false);
    EXPECT_TRUE(client_->isConnected());
}

TEST_F(RemoteDocumentTest, ARefusedLoginIsNotTriedAgainByPages) {
    openLoaded(test::numberedLines(1, 25'000));
    client_->disconnect();
    client_->setLogins(Logins::Refused);
    const int before = client_->connectCount;
    for (const qint64 missing : {0, 5000, 10'000, 15'000}) {
        document_->dataSource()->rowLine(missing);
        ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    }
    EXPECT_EQ(client_->connectCount, before + 1);
    ASSERT_TRUE(test::waitFor([this] { return document_->connectionState() == ConnectionState::Lost; }));
    document_->reconnect();
    ASSERT_TRUE(test::waitFor([this] { return alerts_.alerts.size() == 1; }));
    EXPECT_EQ(client_->connectCount, before + 2) << "the user's own attempt";
    client_->setLogins(Logins::Accepted);
    document_->reconnect();
    for (const qint64 line : {1, 5001, 10'001, 15'001})
        EXPECT_EQ(row(line - 1), u"line %1"_s.arg(line));
}

// ---- Rows that are not loaded

TEST_F(RemoteDocumentTest, SearchAndCopyFetchPagesWithoutKeepingThem) {
    openLoaded(test::numberedLines(1, 12'345));
    const auto source = document_->dataSource();
    const auto never = [] { return false; };
    const auto found = [&](qint64 from, qint64 to, const QString& text) {
        const auto match = source->findNextMatch(from, to, SearchItem(text), never);
        return match ? match->row : -1;
    };
    EXPECT_EQ(found(0, 12'344, u"line 12345"_s), 12'344);
    EXPECT_EQ(pageCommands(), (QStringList{pageCommand(1), pageCommand(2), pageCommand(3)}));
    EXPECT_EQ(found(12'344, 0, u"LINE 4999"_s), 4998);
    EXPECT_EQ(found(10, 12'344, u"line 10"_s), 99) << "what stands before the first row to search";
    EXPECT_EQ(found(0, 12'343, u"line 12345"_s), -1);
    EXPECT_EQ(found(5001, 5000, u"line 5001"_s), 5000);
    EXPECT_EQ(found(0, 99'999, u"absent"_s), -1);
    EXPECT_FALSE(source->cachedRowLine(0));
    EXPECT_EQ(source->readLines(4999, 2, never), (QStringList{u"line 5000"_s, u"line 5001"_s}));
    EXPECT_EQ(source->readLines(12'344, 9, never), QStringList{u"line 12345"_s});

    // What has been loaded is not asked for again.
    EXPECT_EQ(row(0), u"line 1"_s);
    const auto asked = pageCommands().size();
    EXPECT_EQ(found(0, 4999, u"line 5000"_s), 4999);
    EXPECT_EQ(pageCommands().size(), asked);

    int looks = 0;
    EXPECT_FALSE(source->findNextMatch(0, 12'344, SearchItem(u"absent"_s), [&] { return ++looks > 1; }));
    EXPECT_LE(pageCommands().size(), asked + 1) << "cancelled after the first page";
    told_.clear();
    client_->setFails(true);
    const auto brokenOff = source->findNextMatch(5000, 12'344, SearchItem(u"line 12345"_s), never);
    EXPECT_TRUE(!brokenOff && brokenOff.fault.contains(u"server"_s));
    EXPECT_FALSE(source->readLines(5000, 1, never));
}

TEST_F(RemoteDocumentTest, ScrollingAsksAheadAndDropsWhatWasPassed) {
    openLoaded(test::numberedLines(1, 100'000));
    const auto source = document_->dataSource();
    source->dropRequestsOutside(5000, 5050);
    ASSERT_TRUE(test::waitFor([this] { return pageCommands().size() == 2; }));
    EXPECT_TRUE(pageCommands().contains(pageCommand(2)));
    EXPECT_TRUE(pageCommands().contains(pageCommand(3))) << "ahead of the view";

    client_->hold(true);
    for (qint64 page = 4; page < 20; ++page) {
        source->dropRequestsOutside((page - 1) * 5000, (page - 1) * 5000 + 50);
        source->rowLine((page - 1) * 5000);
    }
    client_->hold(false);
    EXPECT_EQ(row(90'000), u"line 90001"_s);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(20)));
    EXPECT_LE(pageCommands().size(), 2 + 4 + 3) << "those under way, and those around the view";
    EXPECT_TRUE(pageCommands().contains(pageCommand(20)));
    EXPECT_EQ(row(50'000), u"line 50001"_s) << "what was dropped can be asked for again";
}

// ---- Rules that tell of what arrives

/// With a rule that tells of every line with the word "error", and nobody looking at the rows.
class RuledRemoteDocumentTest : public RemoteDocumentTest {
protected:
    RuledRemoteDocumentTest() {
        FiltersManager::setShared(std::move(FiltersManager::load(stores_.path()).value()));
        FilterRulesMemento::setShared(std::move(FilterRulesMemento::load(stores_.path()).value()));
    }
    ~RuledRemoteDocumentTest() override {
        document_->close();
        FiltersManager::setShared(nullptr);
        FilterRulesMemento::setShared(nullptr);
    }

    void openRuled(const QByteArray& content) {
        openLoaded(content);
        const auto rule = std::make_shared<FilterRule>(
            false, std::make_shared<SearchItem>(u"error"_s),
            std::make_shared<HighlightRule>(false, false, false, Qt::red, Qt::white),
            std::make_shared<NotificationRule>(true, false, Frequency::Always));
        FiltersManager::shared().addRule(rule);
        FilterRulesMemento::shared().addActiveRule(rule->id(), absoluteString(document_->fileUrl()));
    }
    /// The one-based numbers of the lines told of, once nothing is under way.
    std::vector<qint64> told() {
        const auto polls = client_->commands(u"ls"_s).size();
        test::waitFor([&] { return client_->commands(u"ls"_s).size() > polls + 3; });
        std::vector<qint64> lines;
        for (const UserNotification& notification : center_.delivered)
            lines.push_back(notification.userInfo->lineNum);
        return lines;
    }
    bool waitForTold(std::size_t count) {
        return test::waitFor([&] { return center_.delivered.size() >= count; });
    }

    QTemporaryDir stores_;
    test::RecordingNotificationCenter center_;
};

TEST_F(RuledRemoteDocumentTest, WhatArrivesIsToldOnceAndWhatWasThereIsNot) {
    openRuled("error 1\nline 2\n");
    follow();
    EXPECT_EQ(told(), std::vector<qint64>{});
    file_->append("line 3\nerror 4\nerror wi");
    EXPECT_TRUE(waitForTold(1));
    file_->append("th more\n");
    EXPECT_TRUE(waitForTold(2));
    EXPECT_EQ(told(), (std::vector<qint64>{4, 5}));
    EXPECT_TRUE(pageCommands().contains(u"tail -n+3 \"/%1\" | head -n 2"_s.arg(path())));

    // Beyond what is asked for at once, the last line being the last of a piece; and shown as well.
    QByteArray many = test::numberedLines(6, 9999);
    many.insert(many.size() - 1, " error");
    file_->append(many + "error 10005\n");
    EXPECT_TRUE(rowBecomes(10'004, u"error 10005"_s));
    EXPECT_TRUE(waitForTold(4));
    auto lines = told();
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (std::vector<qint64>{4, 5, 10'004, 10'005}));
}

TEST_F(RuledRemoteDocumentTest, AnotherContentIsToldOfFromItsFirstLine) {
    openRuled("error 1\nerror 2\nline 3\n");
    follow();
    file_->overwrite("error a\n");
    EXPECT_TRUE(waitForTold(1));
    EXPECT_EQ(told(), std::vector<qint64>{1});
    file_->truncate(0);
    EXPECT_TRUE(waitForRows(0));
    file_->append("line\nerror b\n");
    EXPECT_TRUE(waitForTold(2));
    EXPECT_EQ(told(), (std::vector<qint64>{1, 2}));
}

TEST_F(RuledRemoteDocumentTest, OfWhatCameWhileNobodyLookedNothingIsTold) {
    openRuled("error 1\n");
    follow();
    client_->setFails(true);
    EXPECT_TRUE(waitForRows(0));
    client_->setFails(false);
    file_->append("error 2\n");
    document_->reconnect();
    EXPECT_TRUE(waitForRows(2));
    file_->append("error 3\n");
    EXPECT_TRUE(waitForTold(1));
    EXPECT_EQ(told(), std::vector<qint64>{3});
}

} // namespace
} // namespace korvane
