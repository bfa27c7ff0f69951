#include "core/FileObserverProtocol.h"
#include "core/search/SearchItem.h"
#include "remote/RemoteSession.h"
#include "remote/SshTest.h"

#include <fcntl.h>
#include <poll.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

/// Over SSH to a real server.
class RemoteServerTest : public test::RemoteSession, public test::WithEachServer {
protected:
    void open(const QByteArray& content) {
        test::writeFile(path_, content);
        openPath(path_);
        ASSERT_TRUE(waitForRows(content.count('\n')));
    }
    /// On another server if one is given.
    void openPath(const QString& path, const test::SshServer* server = nullptr) {
        const auto document =
            RemoteDocument::create(test::SshTest::keyHost(server ? *server : server_),
                                   [this](const std::shared_ptr<RemoteHost>& configured) {
                                       return Client::create(configured, alerts_, SessionSettings{});
                                   });
        RemoteSession::open(document, path);
        ASSERT_TRUE(loaded());
    }
    void follow() {
        document_->startTailingWhenLoaded();
        ASSERT_TRUE(test::waitFor([this] { return document_->logFileObserver()->isTailing(); }));
    }
    bool faultBecomes(const QString& text) {
        return test::waitFor([&] {
            rows(); // polls, as a window does
            return document_->openFault() == text;
        });
    }
    void append(const QByteArray& bytes) const { test::writeFile(path_, bytes, QIODevice::Append); }
    test::SshServer server_{{}, GetParam()};
    const QString path_ = server_.path(u"a b.log"_s);
};

INSTANTIATE_TEST_SUITE_P(Servers, RemoteServerTest, RemoteServerTest::programs(), RemoteServerTest::name);

TEST_P(RemoteServerTest, AFileIsShownSearchedAndFollowed) {
    const QByteArray content = test::numberedLines(1, 12'345);
    open(content);
    for (qint64 line = 0; line < 12'345; ++line)
        ASSERT_EQ(row(line), u"line %1"_s.arg(line + 1));
    EXPECT_EQ(document_->knownFileSize(), static_cast<quint64>(content.size()));
    std::optional<FileInformation> information;
    document_->askFileInformation([&](const auto& found) { information = found; });
    ASSERT_TRUE(test::waitFor([&] { return information.has_value(); }));
    EXPECT_EQ(information->name, u"a b.log"_s);
    EXPECT_EQ(information->size, static_cast<quint64>(content.size()));
    EXPECT_LT(std::abs(information->modificationDate.secsTo(QDateTime::currentDateTime())), 3600);

    follow();
    append("needle\nlast\n");
    EXPECT_TRUE(rowBecomes(12'346, u"last"_s));
    const auto match =
        document_->dataSource()->findNextMatch(0, rows() - 1, SearchItem(u"NEEDLE"_s), [] { return false; });
    EXPECT_EQ(match ? match->row : -1, 12'345);
    test::writeFile(path_, "new\n");
    EXPECT_TRUE(rowBecomes(0, u"new"_s));
    EXPECT_EQ(rows(), 1);
    EXPECT_TRUE(alerts_.alerts.empty());
}

TEST_P(RemoteServerTest, AFileThatIsMissingOrCannotBeReadIsNoEmptyOne) {
    openPath(path_);
    EXPECT_TRUE(faultBecomes(u"\"%1\" cannot be read: it does not exist."_s.arg(path_)));
    EXPECT_EQ(document_->knownFileSize(), std::nullopt);
    EXPECT_EQ(document_->connectionState(), ConnectionState::Connected);
    test::writeFile(path_, "");
    EXPECT_TRUE(faultBecomes({}));
    EXPECT_EQ(rows(), 0);

    test::writeFile(path_, "no newline");
    EXPECT_TRUE(faultBecomes(u"\"%1\" cannot be read, or holds no complete line."_s.arg(path_)));
    test::writeFile(path_, "one\ntwo\n");
    EXPECT_TRUE(waitForRows(2));
    EXPECT_TRUE(faultBecomes({}));

    ASSERT_TRUE(QFile::setPermissions(path_, {}));
    document_->reload();
    EXPECT_TRUE(faultBecomes(u"\"%1\" cannot be read: permission denied."_s.arg(path_)));
    EXPECT_EQ(rows(), 0);
    EXPECT_EQ(document_->knownFileSize(), 8U);
    ASSERT_TRUE(QFile::setPermissions(path_, QFile::ReadOwner | QFile::ReadOther));
    document_->reload();
    EXPECT_TRUE(waitForRows(2));
    EXPECT_TRUE(faultBecomes({}));
    EXPECT_TRUE(alerts_.alerts.empty());
}

TEST_P(RemoteServerTest, WhatIsNoFileIsSaidAndNotWaitedFor) {
    const QString directory = server_.path(u"logs"_s);
    ASSERT_TRUE(QDir().mkdir(directory));
    Preferences::shared().setStartTailingOnFileOpen(true);
    openPath(directory);
    EXPECT_TRUE(faultBecomes(u"\"%1\" is a directory: choose a file in it."_s.arg(directory)));
    EXPECT_EQ(rows(), 0);
    EXPECT_FALSE(told_.join(u' ').contains(u"prints text"_s));
    document_->close();

    const QString pipe = server_.path(u"pipe"_s);
    ASSERT_EQ(::mkfifo(pipe.toUtf8().constData(), 0666), 0);
    openPath(pipe);
    EXPECT_TRUE(faultBecomes(u"\"%1\" is no file whose lines could be read."_s.arg(pipe)));
    document_->close();
    // A command still reading the pipe on the server gets neither bytes nor end-of-file here: it must be
    // stopped.
    const int end = ::open(pipe.toUtf8().constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_TRUE(end < 0 || test::waitFor([end] {
                    pollfd watched{end, POLLOUT, 0};
                    return ::poll(&watched, 1, 0) == 1 && (watched.revents & POLLERR);
                }));
    ::close(end);
    EXPECT_TRUE(alerts_.alerts.empty());
}

TEST_P(RemoteServerTest, ASizeThatCannotBeAskedForIsAFaultThatStands) {
    const QTemporaryDir tools(u"/tmp/korvane-tools-XXXXXX"_s);
    ASSERT_TRUE(QFile::setPermissions(tools.path(), QFile::Permissions(0x7755)));
    for (const QString& tool : {u"ls"_s, u"wc"_s, u"tail"_s, u"head"_s})
        ASSERT_TRUE(QFile::link(u"/usr/bin/"_s + tool, tools.filePath(tool)));
    const test::SshServer server("SetEnv PATH=" + tools.path().toUtf8());
    const QString path = server.path(u"a.log"_s);
    test::writeFile(path, test::numberedLines(1, 100));
    openPath(path, &server);
    ASSERT_TRUE(waitForRows(100));
    document_->startTailingWhenLoaded();
    EXPECT_TRUE(faultBecomes(u"The server does not tell the size of \"%1\" by \"ls\" and \"awk\": lines "
                             "that are added are not noticed."_s.arg(path)));
    EXPECT_EQ(rows(), 100) << "what is there stays";
    test::writeFile(path, test::numberedLines(1, 101));
    document_->reload();
    EXPECT_TRUE(waitForRows(101));
}

TEST_P(RemoteServerTest, AFileThatIsGoneWhileItIsFollowedIsNamedUntilItIsBack) {
    open(test::numberedLines(1, 100));
    follow();
    ASSERT_TRUE(rowBecomes(99, u"line 100"_s));
    const QString gone = u"\"%1\" cannot be read: it does not exist."_s.arg(path_);
    int changes = 0;
    const auto subscription = document_->notices().connectionStateChanged.subscribe(
        [&] { changes += document_->openFault() == gone ? 1 : 0; });
    ASSERT_TRUE(QFile::rename(path_, path_ + u".1"_s));
    // No row is requested.
    EXPECT_TRUE(test::waitFor([&] { return document_->openFault() == gone; }));
    EXPECT_GT(changes, 0) << "the windows are not told";
    EXPECT_EQ(rows(), 0);
    ASSERT_TRUE(QFile::rename(path_ + u".1"_s, path_));
    EXPECT_TRUE(rowBecomes(99, u"line 100"_s));
    EXPECT_TRUE(faultBecomes({}));
}

TEST_P(RemoteServerTest, ASymbolicLinkIsFollowedToWhateverItLeadsTo) {
    const QString first = server_.path(u"first.log"_s);
    const QString second = server_.path(u"second.log"_s);
    const QByteArray content = test::numberedLines(1, 100);
    test::writeFile(first, content);
    ASSERT_TRUE(QFile::link(u"first.log"_s, path_));
    openPath(path_);
    ASSERT_TRUE(waitForRows(100));
    EXPECT_EQ(row(0), u"line 1"_s);
    follow();
    test::writeFile(first, "grown\n", QIODevice::Append);
    EXPECT_TRUE(rowBecomes(100, u"grown"_s));
    EXPECT_TRUE(knownSizeBecomes(content.size() + 6));
    EXPECT_GT(document_->dataSource()->byteCount(0, 100), 0U);

    // The link leads to a larger file, then to one of equal size, and is then replaced by a file.
    const auto leadTo = [&](const QString& target) {
        ASSERT_TRUE(QFile::link(target, server_.path(u"new"_s)));
        ASSERT_EQ(::rename(server_.path(u"new"_s).toUtf8().constData(), path_.toUtf8().constData()), 0);
    };
    test::writeFile(second, "second 1\n" + content + "grown\n");
    leadTo(second);
    EXPECT_TRUE(rowBecomes(0, u"second 1"_s));
    EXPECT_TRUE(waitForRows(102));
    test::writeFile(first, "another \n" + content + "grown\n");
    leadTo(first);
    EXPECT_TRUE(rowBecomes(0, u"another "_s));
    test::writeFile(second, "own\n");
    ASSERT_EQ(::rename(second.toUtf8().constData(), path_.toUtf8().constData()), 0);
    EXPECT_TRUE(rowBecomes(0, u"own"_s));
    EXPECT_EQ(rows(), 1);
    EXPECT_TRUE(knownSizeBecomes(4));
    // A regular file becomes a symbolic link.
    leadTo(first);
    EXPECT_TRUE(rowBecomes(0, u"another "_s));
    EXPECT_TRUE(knownSizeBecomes(content.size() + 15));
    EXPECT_EQ(document_->openFault(), QString());
}

TEST_P(RemoteServerTest, ClosingBreaksOffWhatAFrozenServerHolds) {
    open(test::numberedLines(1, 12'345));
    server_.freezeConnections();
    for (const qint64 row : {0, 5999, 11'999})
        document_->dataSource()->rowLine(row);
    document_->startTailingWhenLoaded();
    const auto start = std::chrono::steady_clock::now();
    document_->close();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_EQ(document_->connectionState(), ConnectionState::Closed);
    settle();
    server_.resumeConnections();
    EXPECT_EQ(takeAlerts(), QStringList());
}

} // namespace
} // namespace korvane
