#include "core/FileObserverProtocol.h"
#include "foundation/FilePath.h"
#include "remote/RemoteLogDataSource.h"
#include "remote/ShellSession.h"
#include "support/Rules.h"

#include <thread>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class RemoteFollowingTest : public test::ShellSession {
protected:
    /// Counts the lines as the document does when it opens the file.
    void countLines() const {
        const auto never = [] { return false; };
        std::dynamic_pointer_cast<RemoteLogDataSource>(document_->dataSource())->countLines(never);
    }
};

TEST_F(RemoteFollowingTest, GrowthCostsWhatHasGrown) {
    openShown(test::numberedLines(1, 4998) + "last ");
    const auto pages = pageCommands();
    follow();
    EXPECT_EQ(client_->commands(u"ls -nl \""_s).front(), u"ls -nl \"/%1\" | awk '{print $5}'"_s.arg(path()));
    EXPECT_EQ(rows(), 4998);
    file_->append("but one\n" + test::numberedLines(5000, 11) + "unfin");
    EXPECT_TRUE(rowBecomes(5009, u"line 5010"_s));
    ASSERT_FALSE(changes_.empty());
    EXPECT_EQ(changes_.back(), (LineRange{4998, 12}));
    EXPECT_EQ(row(4998), u"last but one"_s);
    EXPECT_EQ(row(0), u"line 1"_s);
    file_->append("ished\n");
    EXPECT_TRUE(rowBecomes(5010, u"unfinished"_s));
    EXPECT_EQ(pageCommands(), pages) << "what came was read by the way";
    EXPECT_EQ(counts(), 1);

    // Large growth is counted on the server.
    file_->append(test::numberedLines(5012, 200'000) + "half");
    EXPECT_TRUE(rowBecomes(205'010, u"line 205011"_s));
    file_->append(" and half\n");
    EXPECT_TRUE(rowBecomes(205'011, u"half and half"_s));
    EXPECT_EQ(row(150'000), u"line 150001"_s);
    EXPECT_EQ(counts(), 1) << "not from the start";
    EXPECT_TRUE(knownSizeBecomes(QFile(path()).size()));

    client_->isHeld = true;
    ASSERT_TRUE(waitForPolls(0));
    document_->stopTailing();
    ASSERT_TRUE(test::waitFor([this] { return !document_->logFileObserver()->isTailing(); }));
    EXPECT_TRUE(client_->isConnected());
    EXPECT_EQ(rows(), 205'012) << "a poll that was given up is no empty file";
}

TEST_F(RemoteFollowingTest, ALineThatBeganLongBeforeTheEndIsShownWhole) {
    openShown("first\n" + QByteArray(5000, 'x'));
    follow();
    file_->append("\nlast\n");
    EXPECT_TRUE(rowBecomes(2, u"last"_s));
    EXPECT_TRUE(rowBecomes(1, QString(5000, u'x')));
}

TEST_F(RemoteFollowingTest, ALargerFileInItsPlaceIsAnotherFile) {
    for (const bool isRenamed : {false, true}) {
        openShown(test::numberedLines(1, 12'000));
        row(6000);
        follow();
        const QByteArray larger = "new " + test::numberedLines(1, 13'000).replace("\nl", "\nnew l");
        isRenamed ? file_->replace(larger) : file_->overwrite(larger);
        EXPECT_TRUE(rowBecomes(0, u"new line 1"_s));
        EXPECT_TRUE(rowBecomes(6000, u"new line 6001"_s));
        EXPECT_TRUE(rowBecomes(12'999, u"new line 13000"_s));
        document_->close();
    }
}

TEST_F(RemoteFollowingTest, AFileThatIsOnlyGrownByACopyOfItselfIsAnotherFile) {
    openShown("a\nb\n");
    follow();
    file_->replace("a\nb\nc\n");
    EXPECT_TRUE(rowBecomes(2, u"c"_s));
    EXPECT_EQ(counts(), 2);
}

TEST_F(RemoteFollowingTest, WhatIsWrittenAndEmptiedBetweenTwoPollsLeavesNoRows) {
    openLoaded({});
    follow();
    file_->append(test::numberedLines(1, 50));
    countLines();
    file_->truncate(0);
    ASSERT_TRUE(waitForPolls(2));
    EXPECT_TRUE(waitForRows(0));
}

TEST_F(RemoteFollowingTest, AShorterFileIsShownFromItsFirstLine) {
    for (const bool isFollowedBefore : {true, false}) {
        openLoaded(test::numberedLines(1, 100));
        EXPECT_EQ(row(0), u"line 1"_s);
        if (isFollowedBefore)
            follow();
        file_->truncate(0);
        if (!isFollowedBefore)
            follow();
        EXPECT_TRUE(waitForRows(0));
        file_->append("new one\nnew two\n");
        EXPECT_TRUE(rowBecomes(1, u"new two"_s));
        EXPECT_EQ(row(0), u"new one"_s);
        file_->overwrite("x\n");
        EXPECT_TRUE(rowBecomes(0, u"x"_s));
        EXPECT_EQ(rows(), 1);
        document_->close();
    }
}

TEST_F(RemoteFollowingTest, ACountThatBeganBeforeTheFileWasEmptiedIsForgotten) {
    openLoaded(test::numberedLines(1, 100));
    follow();
    client_->heldOutput = "ls -diL";
    std::jthread counting([&] { countLines(); });
    EXPECT_TRUE(test::waitFor([this] { return client_->isHolding.load(); }));
    file_->truncate(0);
    EXPECT_TRUE(waitForRows(0));
    client_->heldOutput = nullptr;
    counting.join();
    EXPECT_EQ(rows(), 0);
    file_->append("new\n");
    EXPECT_TRUE(rowBecomes(0, u"new"_s));
}

TEST_F(RemoteFollowingTest, AnotherFileIsNotTakenForTheOldOneWhenItsCountFailed) {
    // More than two pages, so that growth alone would leave the first row as it is.
    openLoaded(test::numberedLines(1, 12'000));
    EXPECT_EQ(row(0), u"line 1"_s);
    follow();
    client_->unanswered = "wc";
    file_->overwrite("a\n");
    ASSERT_TRUE(knownSizeBecomes(2));
    const QByteArray grown = "a\n" + test::numberedLines(102, 12'020);
    file_->overwrite(grown);
    ASSERT_TRUE(knownSizeBecomes(grown.size()));
    EXPECT_EQ(rows(), 12'000);
    client_->unanswered = nullptr;
    EXPECT_TRUE(waitForRows(12'021));
    EXPECT_TRUE(rowBecomes(0, u"a"_s));
}

TEST_F(RemoteFollowingTest, ALossKeepsTheRowsUntilReconnected) {
    openShown(test::numberedLines(1, 100));
    follow();
    client_->fails = true;
    EXPECT_TRUE(connectionBecomes(ConnectionState::Lost));
    client_->fails = false;
    ASSERT_TRUE(waitForPolls(2));
    EXPECT_EQ(rows(), 100);
    EXPECT_EQ(client_->loginCount, 1) << "the monitor connects only once";
    document_->reconnect();
    EXPECT_TRUE(test::waitFor([this] { return document_->logFileObserver()->isTailing(); }));
    file_->append("more\n");
    EXPECT_TRUE(rowBecomes(100, u"more"_s));
    EXPECT_EQ(row(99), u"line 100"_s);
    EXPECT_EQ(counts(), 1);
}

// ---- Rules that report appended lines

/// With a rule that reports every line containing "error". No row is requested.
class RuledRemoteTest : public test::ShellSession {
protected:
    ~RuledRemoteTest() override { document_->close(); }

    void openRuled(const QByteArray& content) {
        openLoaded(content);
        const auto rule = test::Rules::add(u"error"_s, Qt::red, Frequency::Always);
        test::Rules::active().addActiveRule(rule->id(), absoluteString(document_->fileUrl()));
    }
    /// The one-based numbers of the reported lines, after three more polls.
    std::vector<qint64> told() {
        waitForPolls(3);
        return rules_.told();
    }
    bool waitForTold(std::size_t count) {
        return test::waitFor([&] { return rules_.told().size() >= count; });
    }

    test::Rules rules_;
};

TEST_F(RuledRemoteTest, WhatArrivesIsToldOnceAndWhatWasThereIsNot) {
    openRuled("error 1\nline 2\n");
    follow();
    EXPECT_EQ(told(), std::vector<qint64>{});
    file_->append("line 3\nerror 4\nerror wi");
    EXPECT_TRUE(waitForTold(1));
    file_->append("th more\n");
    EXPECT_TRUE(waitForTold(2));
    EXPECT_EQ(told(), (std::vector<qint64>{4, 5}));

    // More lines than one request reads; the last line ends a request's range, and is also shown as a row.
    QByteArray many = test::numberedLines(6, 9999);
    many.insert(many.size() - 1, " error");
    file_->append(many + "error 10005\n");
    EXPECT_TRUE(rowBecomes(10'004, u"error 10005"_s));
    EXPECT_TRUE(waitForTold(4));
    auto lines = told();
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (std::vector<qint64>{4, 5, 10'004, 10'005}));
}

TEST_F(RuledRemoteTest, AnotherContentIsToldOfFromItsFirstLine) {
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

TEST_F(RuledRemoteTest, WhatCameDuringALossIsToldOfWhenItIsOver) {
    openRuled("error 1\n");
    follow();
    client_->fails = true;
    EXPECT_TRUE(connectionBecomes(ConnectionState::Lost));
    client_->fails = false;
    file_->append("error 2\n");
    document_->reconnect();
    EXPECT_TRUE(waitForTold(1));
    file_->append("error 3\n");
    EXPECT_TRUE(waitForTold(2));
    EXPECT_EQ(told(), (std::vector<qint64>{2, 3}));
}

} // namespace
} // namespace korvane
