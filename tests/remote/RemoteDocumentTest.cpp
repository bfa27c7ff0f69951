#include "core/search/SearchItem.h"
#include "documents/LoadProgressController.h"
#include "remote/ShellSession.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "support/Gate.h"
#include "support/Rows.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using Logins = test::ShellClient::Logins;

class RemoteDocumentTest : public test::ShellSession {};

// ---- Loading

TEST_F(RemoteDocumentTest, PagesComeByTheSettledCommandsAndOnce) {
    openShown(test::numberedLines(1, 12'345));
    EXPECT_EQ(client_->commands(u"wc"_s), QStringList{u"wc -l < \"/%1\""_s.arg(path())});
    for (const qint64 line : {1, 12'345, 1, 5000, 5001, 10'000, 10'001, 2})
        EXPECT_EQ(row(line - 1), u"line %1"_s.arg(line));
    EXPECT_EQ(pageCommands().mid(0, 2), (QStringList{pageCommand(1), pageCommand(3)}));
    ASSERT_EQ(pageCommands().size(), 3);
    EXPECT_TRUE(pageCommands().last().startsWith(u"tail -c +"_s)) << "from where the first page has ended";
    // A row is readable shortly before its notice is delivered.
    EXPECT_TRUE(test::waitFor([this] { return loadedPages_.size() == 3; }));
    EXPECT_EQ(loadedPages_, (std::vector<qint64>{1, 3, 2}));
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
    const test::Rows<Logins, QString> cases{
        {Logins::Unauthorised, u"Could not connect to remote host!|"
                               "Check if the server is up and re-open the log file"_s},
        {Logins::Refused, u"wrong password|"_s},
    };
    for (int number = 0; const auto& [logins, alert] : cases) {
        make();
        client_->logins = logins;
        Preferences::shared().setStartTailingOnFileOpen(true);
        RemoteSession::open(document_, u"/tmp/%1"_s.arg(number));
        ASSERT_TRUE(test::waitFor([this] { return !alerts_.alerts.empty(); }));
        EXPECT_EQ(alerts_.texts(), QStringList(alert));
        EXPECT_EQ(document_->connectionState(), ConnectionState::Unconnected);
        EXPECT_FALSE(document_->openFault().isEmpty());
        EXPECT_EQ(announced_, number);
        EXPECT_EQ(RemoteRecentFilesManager::shared().recentUrls().size(), number);
        EXPECT_TRUE(client_->commands().isEmpty());
        EXPECT_FALSE(document_->logFileObserver());
        alerts_.alerts.clear();

        client_->logins = Logins::Accepted;
        document_->reconnect();
        ++number;
        EXPECT_TRUE(test::waitFor([&] { return announced_ == number; }));
        EXPECT_TRUE(document_->openFault().isEmpty());
        EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
        document_->close();
    }
}

TEST_F(RemoteDocumentTest, AnUnknownHostOpensNothing) {
    const QTemporaryDir directory;
    const auto hosts =
        std::move(RemoteHostsManager::load(directory.path(), Preferences::shared().userDefaults())).value();
    ASSERT_TRUE(hosts->add(std::make_shared<RemoteHost>(u"h"_s, 22, u"u"_s)));
    EXPECT_TRUE(RemoteDocument::createForUrl(QUrl(u"ssh://u@h:22//tmp/x.log"_s), *hosts, alerts_));
    const QUrl url(u"ssh://u@h:2222//tmp/x.log"_s);
    const auto refused = RemoteDocument::createForUrl(url, *hosts, alerts_);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().userText, u"Could not find remote host information for URL"_s);
    EXPECT_EQ(refused.error().recoverySuggestion,
              u"Ensure the remote host referenced in the URL is present and configured with the same user "
              "and server host:port information"_s);
    EXPECT_EQ(refused.error().url, url.toString());
    EXPECT_EQ(refused.error().code, -1004);
}

TEST_F(RemoteDocumentTest, OneCountIsUnderWayAndTheLastOneIsShownMeanwhile) {
    openShown(test::numberedLines(1, 10));
    document_->reload();
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60))); // its end is not reported yet
    const auto asked = client_->commands().size();
    client_->isHeld = true;
    file_->append(test::numberedLines(11, 5));
    document_->reload();
    ASSERT_TRUE(test::waitFor([&] { return client_->commands().size() > asked; }));
    EXPECT_TRUE(document_->isLoading()) << "ended by the end of the earlier load";
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(rows(), 10);
    client_->isHeld = false;
    EXPECT_TRUE(waitForRows(15));
    EXPECT_EQ(counts(), 3);
}

TEST_F(RemoteDocumentTest, AnEmptyFileIsAskedForAgain) {
    openLoaded({});
    file_->append(test::numberedLines(1, 3));
    EXPECT_TRUE(waitForRows(3)); // each poll requests a count, none blocks
    EXPECT_EQ(row(2), u"line 3"_s);
}

TEST_F(RemoteDocumentTest, CancellingACountLeavesTheConnectionAndTheFileCanBeReadAnew) {
    make();
    client_->isHeld = true;
    open(test::numberedLines(1, 10));
    ASSERT_TRUE(test::waitFor([this] { return client_->commands().size() == 2; }));
    ASSERT_TRUE(connectionBecomes(ConnectionState::Connected));
    rows(); // like a window, which also requests a count
    document_->cancelLoading();
    EXPECT_EQ(document_->loadProgress()->statusText(), u"Canceled!"_s);
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60))) << "the command goes on";
    client_->isHeld = false;
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(rows(), 0);
    settle();
    EXPECT_EQ(client_->commands().size(), 2) << "a look at the rows begins it again";
    EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
    EXPECT_TRUE(client_->isConnected());
    EXPECT_FALSE(document_->isClosed());
    document_->reload();
    EXPECT_TRUE(waitForRows(10));
    EXPECT_TRUE(loaded());
    EXPECT_EQ(document_->loadProgress()->statusText(), u"Completed!"_s);

    // Following works after another cancelled load.
    const auto asked = client_->commands().size();
    client_->isHeld = true;
    document_->reload();
    ASSERT_TRUE(test::waitFor([&] { return client_->commands().size() > asked; }));
    document_->cancelLoading();
    file_->append(test::numberedLines(11, 1));
    document_->startTailingWhenLoaded();
    client_->isHeld = false;
    EXPECT_TRUE(rowBecomes(10, u"line 11"_s));
    EXPECT_EQ(client_->loginCount, 1);
}

TEST_F(RemoteDocumentTest, CancellingALoginEndsItAndOneOfOthersStays) {
    make();
    test::Gate login;
    // Cancels the loading that the action starts, during its login.
    const auto cancelDuring = [&](const std::function<void()>& action) {
        login.shut();
        client_->onConnect = [&] { login.pass(); };
        action();
        ASSERT_TRUE(test::waitFor([&] { return login.waiting() == 1; }));
        document_->cancelLoading();
        login.open();
    };
    cancelDuring([this] { open(test::numberedLines(1, 10)); });
    EXPECT_EQ(document_->connectionState(), ConnectionState::Unconnected);
    EXPECT_EQ(document_->loadProgress()->statusText(), u"Canceled!"_s);
    settle();
    EXPECT_FALSE(client_->isConnected()) << "the login was completed after the end";
    EXPECT_EQ(announced_, 0);
    EXPECT_TRUE(alerts_.alerts.empty());

    reconnect();
    ASSERT_TRUE(waitForRows(10));
    cancelDuring([this] { document_->reload(); });
    settle();
    EXPECT_TRUE(client_->isConnected());
    EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
    EXPECT_EQ(client_->loginCount, 2);
}

TEST_F(RemoteDocumentTest, TextInPlaceOfANumberIsToldOncePerLogin) {
    make();
    client_->printsText = true;
    Preferences::shared().setStartTailingOnFileOpen(true);
    open(test::numberedLines(1, 3));
    ASSERT_TRUE(loaded());
    ASSERT_TRUE(waitForPolls(3));
    EXPECT_EQ(rows(), 0);
    const auto told = [this] { return told_.filter(u"The server prints text at login: Welcome "_s).size(); };
    EXPECT_EQ(told(), 1);
    client_->disconnect();
    document_->checkFile([](FileFault) {});
    document_->reconnect();
    EXPECT_TRUE(test::waitFor([&] { return told() == 2; }));
}

TEST_F(RemoteDocumentTest, NothingLogsInBehindTheEnd) {
    openShown(test::numberedLines(1, 10'000));
    client_->onConnect = [this] { document_->close(); };
    document_->dataSource()->loadPage(2, false);
    EXPECT_EQ(document_->connectionState(), ConnectionState::Closed);
    EXPECT_FALSE(client_->isConnected());
}

// ---- When the link is bad

TEST_F(RemoteDocumentTest, ALossIsToldOnceAndReconnectingLoadsWhatFailed) {
    openShown(test::numberedLines(1, 25'000));
    EXPECT_EQ(row(0), u"line 1"_s);
    client_->logins = Logins::Unauthorised;
    for (const qint64 missing : {5000, 10'000, 15'000})
        document_->dataSource()->rowLine(missing);
    ASSERT_TRUE(connectionBecomes(ConnectionState::Lost));
    settle();
    EXPECT_EQ(alerts_.texts(), QStringList(u"Connection lost to remote host!|Check if the server is up and "
                                           "open the log file again"_s));
    EXPECT_FALSE(document_->openFault().isEmpty());
    EXPECT_EQ(row(0), u"line 1"_s);
    EXPECT_FALSE(document_->dataSource()->rowLine(5000).isLoaded);
    EXPECT_EQ(rows(), 25'000);
    alerts_.alerts.clear();
    document_->reconnect();
    EXPECT_TRUE(test::waitFor([this] { return !alerts_.alerts.empty(); }));
    EXPECT_EQ(takeAlerts(), QStringList{u"Could not connect to remote host!"_s});
    EXPECT_EQ(document_->connectionState(), ConnectionState::Lost);

    client_->logins = Logins::Accepted;
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
    openShown(test::numberedLines(1, 25'000));
    const QString byClient = u"Disconnected from remote server host!"_s;
    const QString byPage = u"Connection lost to remote host!"_s;
    qint64 missing = 5000;
    for (const QString& first : {byClient, byPage, byClient}) {
        client_->logins = Logins::Unauthorised;
        if (first == byClient)
            client_->loseConnection();
        document_->dataSource()->rowLine(missing);
        ASSERT_TRUE(connectionBecomes(ConnectionState::Lost));
        if (first == byPage)
            client_->loseConnection();
        settle();
        EXPECT_EQ(takeAlerts(), QStringList(first));
        client_->logins = Logins::Accepted;
        reconnect();
        missing += 5000;
    }
}

TEST_F(RemoteDocumentTest, APageThatFailsLeavesTheLoginOfOthers) {
    openShown(test::numberedLines(1, 10'000));
    client_->disconnect();
    client_->logins = Logins::Unauthorised;
    client_->onConnected = [this] {
        // While the page load finds the server unreachable, the user reconnects.
        client_->logins = Logins::Accepted;
        EXPECT_TRUE(client_->connect());
    };
    document_->dataSource()->loadPage(2, false);
    EXPECT_TRUE(client_->isConnected());
}

TEST_F(RemoteDocumentTest, ARefusedLoginIsNotTriedAgainByPages) {
    openShown(test::numberedLines(1, 25'000));
    client_->disconnect();
    client_->logins = Logins::Refused;
    const int before = client_->connectCount;
    for (const qint64 missing : {5000, 10'000, 15'000}) {
        document_->dataSource()->rowLine(missing);
        settle();
    }
    EXPECT_EQ(client_->connectCount, before + 1);
    ASSERT_TRUE(connectionBecomes(ConnectionState::Lost));
    document_->reconnect();
    ASSERT_TRUE(test::waitFor([this] { return alerts_.alerts.size() == 1; }));
    EXPECT_EQ(client_->connectCount, before + 2) << "the user's own attempt";
    client_->logins = Logins::Accepted;
    document_->reconnect();
    for (const qint64 line : {1, 5001, 10'001, 15'001})
        EXPECT_EQ(row(line - 1), u"line %1"_s.arg(line));
}

TEST_F(RemoteDocumentTest, NoAnswerIsNoEmptyAnswer) {
    openShown(test::numberedLines(1, 6000));
    client_->unanswered = "tail";
    document_->dataSource()->rowLine(5000);
    settle();
    EXPECT_FALSE(document_->dataSource()->cachedRowLine(5000)) << "a line without text";
    client_->unanswered = nullptr;
    document_->reload();
    EXPECT_EQ(row(5000), u"line 5001"_s);
}

// ---- Rows that are not loaded

TEST_F(RemoteDocumentTest, SearchAndCopyFetchPagesWithoutKeepingThem) {
    openShown(test::numberedLines(1, 12'345));
    const auto source = document_->dataSource();
    const auto never = [] { return false; };
    const auto found = [&](qint64 from, qint64 to, const QString& text) {
        const auto match = source->findNextMatch(from, to, SearchItem(text), never);
        return match ? match->row : -1;
    };
    EXPECT_EQ(found(0, 12'344, u"line 12345"_s), 12'344);
    EXPECT_EQ(pageCommands().size(), 3);
    EXPECT_EQ(client_->commands(u"tail -n+"_s).size(), 1) << "nothing is read twice to get to a page";
    EXPECT_EQ(found(12'344, 0, u"LINE 4999"_s), 4998);
    EXPECT_EQ(found(10, 12'344, u"line 10"_s), 99) << "what stands before the first row to search";
    EXPECT_EQ(found(0, 12'343, u"line 12345"_s), -1);
    EXPECT_EQ(found(5001, 5000, u"line 5001"_s), 5000);
    EXPECT_EQ(found(0, 99'999, u"absent"_s), -1);
    EXPECT_FALSE(source->cachedRowLine(5000));
    EXPECT_EQ(source->readLines(4999, 2, never), (QStringList{u"line 5000"_s, u"line 5001"_s}));
    EXPECT_EQ(source->readLines(12'344, 9, never), QStringList{u"line 12345"_s});

    // Loaded pages are not requested again.
    const auto asked = pageCommands().size();
    EXPECT_EQ(found(0, 4999, u"line 5000"_s), 4999);
    EXPECT_EQ(pageCommands().size(), asked);

    int looks = 0;
    EXPECT_FALSE(source->findNextMatch(5000, 12'344, SearchItem(u"absent"_s), [&] { return ++looks > 2; }));
    EXPECT_LE(pageCommands().size(), asked + 1) << "cancelled after the first page";
    client_->fails = true;
    const auto brokenOff = source->findNextMatch(5000, 12'344, SearchItem(u"line 12345"_s), never);
    EXPECT_TRUE(!brokenOff && brokenOff.fault.contains(u"server"_s));
    EXPECT_FALSE(source->readLines(5000, 1, never));
}

TEST_F(RemoteDocumentTest, LinesThatComeSlowlyShowBeforeTheirPageIsComplete) {
    make();
    client_->isSlow = true;
    client_->heldOutput = "wc";
    open(test::numberedLines(1, 60'000));
    const auto source = document_->dataSource();
    const auto shows = [&](qint64 row) { return row < rows() && source->rowLine(row).isLoaded; };
    EXPECT_TRUE(test::waitFor([&] { return shows(100); })) << "without a count, too";
    EXPECT_EQ(source->rowLine(100).line.string(), u"line 101"_s);
    EXPECT_FALSE(shows(4999));
    client_->heldOutput = nullptr;
    EXPECT_TRUE(waitForRows(60'000));
    // The transfer rate is known now, and visible rows come first.
    EXPECT_TRUE(test::waitFor([&] { return shows(59'950); }));
    EXPECT_EQ(source->rowLine(59'950).line.string(), u"line 59951"_s);
    EXPECT_TRUE(test::waitFor([&] { return pageCommands().size() == 3; }));
    EXPECT_FALSE(shows(55'100));
    client_->isSlow = false;
    for (const qint64 line : {1, 5000, 55'101, 60'000})
        EXPECT_EQ(row(line - 1), u"line %1"_s.arg(line));
    settle();
    EXPECT_EQ(pageCommands().size(), 3) << "what is on its way was asked for again";
    // A cancelled page request keeps the lines it has loaded, and the page is requested again on the next
    // access.
    client_->isSlow = true;
    EXPECT_TRUE(test::waitFor([&] { return shows(30'000); }));
    source->dropRequestsOutside(0, 10);
    settle();
    EXPECT_TRUE(source->cachedRowLine(30'000)->isLoaded);
    client_->isSlow = false;
    EXPECT_EQ(row(34'999), u"line 35000"_s);
}

TEST_F(RemoteDocumentTest, APageOfLongLinesComesInPieces) {
    QByteArray content;
    for (int line = 0; line < 60; ++line)
        content += QByteArray(700'000, static_cast<char>('a' + line % 26)) + '<' + QByteArray::number(line) +
                   '>' + '\n';
    content += QByteArray(20 << 20, 'x') + " end\nlast\n";
    openLoaded(content);
    const auto source = document_->dataSource();
    EXPECT_TRUE(row(0).endsWith(u"<0>"_s));
    EXPECT_FALSE(source->cachedRowLine(59)) << "it is left until it is looked at";
    for (int line = 0; line < 60; ++line) {
        EXPECT_TRUE(row(line).endsWith(u"<%1>"_s.arg(line))) << line;
        EXPECT_GT(row(line).size(), 700'000) << line;
    }
    EXPECT_TRUE(row(59).endsWith(u"<59>"_s));
    EXPECT_TRUE(row(0).endsWith(u"<0>"_s));
    EXPECT_EQ(row(60).size(), 1 << 20);
    EXPECT_EQ(source->rowLine(60).cutBytes, (19U << 20) + 4);
    EXPECT_EQ(row(61), u"last"_s);
    EXPECT_EQ(rows(), 62);

    const auto never = [] { return false; };
    for (const int line : {3, 40, 59}) {
        const SearchItem text(u"<%1>"_s.arg(line));
        EXPECT_EQ(source->findNextMatch(0, 61, text, never).match->row, line);
        EXPECT_EQ(source->findNextMatch(61, 0, text, never).match->row, line);
    }
    const auto copied = source->readLines(58, 2, never);
    ASSERT_TRUE(copied && copied->size() == 2);
    EXPECT_TRUE(copied->at(1).endsWith(u"<59>"_s));
}

TEST_F(RemoteDocumentTest, NamesThatMeanMoreToAShellAreOnlyNames) {
    for (const QByteArray& name : {QByteArray("a\"b.log"), QByteArray("a$(touch OWNED)`touch OWNED`.log"),
                                   QByteArray("\\a\\\\n%d '$HOME'\n\n"), QByteArray("a!b.log")}) {
        open(test::numberedLines(1, 6000), name);
        ASSERT_TRUE(waitForRows(6000)) << name.constData();
        EXPECT_EQ(row(0), u"line 1"_s);
        EXPECT_EQ(row(5999), u"line 6000"_s);
        document_->startTailingWhenLoaded();
        file_->append("more\n");
        EXPECT_TRUE(rowBecomes(6000, u"more"_s));
        EXPECT_EQ(client_->commands(u"sh -c"_s).size(), client_->commands().size());
        document_->close();
    }
    EXPECT_FALSE(QFile::exists(u"OWNED"_s));
}

TEST_F(RemoteDocumentTest, AnotherFileIsNoticedByAPageThatBeginsElsewhere) {
    openShown(test::numberedLines(1, 12'000));
    file_->overwrite("a\n" + test::numberedLines(2, 11'999).replace("line", "LINE"));
    document_->dataSource()->rowLine(5000);
    EXPECT_TRUE(rowBecomes(5000, u"LINE 5001"_s));
    EXPECT_TRUE(rowBecomes(0, u"a"_s));
}

TEST_F(RemoteDocumentTest, ScrollingAsksAheadAndDropsWhatWasPassed) {
    openShown(test::numberedLines(1, 100'000));
    const auto source = document_->dataSource();
    source->dropRequestsOutside(5000, 5050);
    ASSERT_TRUE(test::waitFor([this] { return pageCommands().size() == 3; }));
    EXPECT_TRUE(pageCommands().contains(pageCommand(3))) << "ahead of the view";
    settle();

    client_->isHeld = true;
    for (qint64 page = 4; page < 20; ++page) {
        source->dropRequestsOutside((page - 1) * 5000, (page - 1) * 5000 + 50);
        source->rowLine((page - 1) * 5000);
    }
    source->dropRequestsOutside(90'000, 90'050);
    EXPECT_TRUE(test::waitFor([&] { return pageCommands().contains(pageCommand(19)); }))
        << "loads under way of what has been passed make room";
    client_->isHeld = false;
    EXPECT_EQ(row(90'000), u"line 90001"_s);
    settle();
    EXPECT_FALSE(source->cachedRowLine(40'000));
    EXPECT_EQ(row(50'000), u"line 50001"_s) << "what was dropped can be asked for again";
}

} // namespace
} // namespace korvane
