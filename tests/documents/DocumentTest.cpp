#include "documents/LocalDocument.h"

#include "core/RowsUpdatedNotificationObject.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "documents/LoadProgressController.h"
#include "support/PreferencesTest.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"

#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::TemporaryFile;
using test::waitFor;
using State = LoadProgressController::State;

class DocumentTest : public test::PreferencesTest {
protected:
    void load(const TemporaryFile& file) {
        ASSERT_TRUE(document_->readFromUrl(file.url()));
        document_->startLoading();
        ASSERT_TRUE(waitForState(State::Completed));
    }
    bool waitForState(State state) {
        return waitFor([&] { return document_->loadProgress()->state() == state; });
    }
    bool waitForRow(qint64 row, const QString& text) {
        return waitFor([&] {
            const RowLine line = document_->dataSource()->rowLine(row);
            return line.isLoaded && line.line.string() == text;
        });
    }
    bool waitForFault(FileFault expected) {
        std::optional<FileFault> found;
        document_->checkFile([&](FileFault fault) { found = fault; });
        return waitFor([&] { return found.has_value(); }) && *found == expected;
    }

    std::shared_ptr<LocalDocument> document_ = LocalDocument::create();
};

TEST_F(DocumentTest, AFileThatDoesNotFitIntoMemoryIsReadByItsIndexAndSaysSo) {
    Preferences::shared().setLazyLoadFile(false);
    const TemporaryFile file("a few bytes\n");
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    EXPECT_EQ(document_->readingNote(), QString());
    EXPECT_TRUE(std::dynamic_pointer_cast<InMemoryFileLogReader>(document_->logReader()));

    file.truncate(qint64{1} << 42);
    document_ = LocalDocument::create();
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    EXPECT_TRUE(document_->readingNote().contains(u"“test.log” does not fit into memory"_s));
    EXPECT_FALSE(std::dynamic_pointer_cast<InMemoryFileLogReader>(document_->logReader()));
}

TEST_F(DocumentTest, AChosenEncodingIsKeptForItsFileUntilItIsAutomaticAgain) {
    const TemporaryFile file("gr\xFC\xDF\n");
    const TemporaryFile other("gr\xFC\xDF\n", "other.log");
    const EncodingChoice choices[] = {
        {EncodingChoice::Kind::Fixed, encoding::koi8r},
        {EncodingChoice::Kind::LenientUtf8, encoding::utf8},
        {},
    };
    load(file);
    for (const EncodingChoice choice : choices) {
        document_->setEncodingChoice(choice);
        for (const TemporaryFile* opened : {&other, &file}) {
            document_ = LocalDocument::create();
            load(*opened);
            EXPECT_EQ(document_->encodingChoice(), opened == &file ? choice : EncodingChoice());
        }
    }
}

TEST_F(DocumentTest, AReloadReadsWhatStandsThereNowAndKeepsTheSearchOnlyOfTheSameContent) {
    const struct {
        const char* what;
        std::function<void(const TemporaryFile&)> change;
        QStringList rows;
        bool isOther;
    } cases[] = {
        {"nothing", [](const auto&) {}, {u"one"_s, u"two"_s}, false},
        {"grown", [](const auto& file) { file.append("\nthree"); }, {u"one"_s, u"two"_s, u"three"_s}, false},
        {"written anew", [](const auto& file) { file.overwrite("eno\nowt\n."); }, {u"eno"_s, u"owt"_s}, true},
        {"cut short", [](const auto& file) { file.truncate(3); }, {u"one"_s}, true},
        {"replaced",
         [](const auto& file) {
             const TemporaryFile successor("one\n2\n", "successor.log");
             ASSERT_EQ(std::rename(successor.path().constData(), file.path().constData()), 0);
         },
         {u"one"_s, u"2"_s},
         true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        document_ = LocalDocument::create();
        const TemporaryFile file("one\ntwo");
        load(file);
        ASSERT_TRUE(waitForRow(1, u"two"_s));
        document_->dataSource()->setLastSearchResults({{0, {0, {{0, 1}}}}});
        c.change(file);
        document_->reload();
        ASSERT_TRUE(waitForState(State::Completed));
        for (qsizetype row = 0; row < c.rows.size(); ++row)
            EXPECT_TRUE(waitForRow(row, c.rows[row]));
        ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
        MainThread::shared().runPending();
        EXPECT_EQ(document_->dataSource()->lastSearchResults().empty(), c.isOther);
        EXPECT_TRUE(waitForFault(FileFault::None));
    }
}

TEST_F(DocumentTest, RowsOfAFileAreThereAfterTheScan) {
    for (const bool isLazy : {true, false}) {
        SCOPED_TRACE(isLazy);
        Preferences::shared().setLazyLoadFile(isLazy);
        document_ = LocalDocument::create();
        const TemporaryFile file("one\ntwo\r\nthree");
        load(file);
        EXPECT_EQ(document_->dataSource()->numberOfRows(), 3);
        EXPECT_TRUE(waitForRow(0, u"one"_s));
        EXPECT_TRUE(waitForRow(2, u"three"_s));
        EXPECT_EQ(document_->openFault(), QString());
        EXPECT_EQ(document_->loadProgress()->readBytes(), document_->loadProgress()->totalBytes());
    }
}

TEST_F(DocumentTest, TheLineOfAnEmptyFileIsLoadedThoughItWasRequestedBeforeTheScan) {
    const TemporaryFile file("");
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    document_->dataSource()->loadPage(1, false);
    document_->startLoading();
    EXPECT_TRUE(waitForRow(0, QString()));
    document_->reload();
    document_->dataSource()->loadPage(1, false);
    ASSERT_TRUE(waitFor([&] { return !document_->isLoading(); }));
    EXPECT_TRUE(waitForRow(0, QString()));
}

TEST_F(DocumentTest, WhatIsNoFileIsRefusedByName) {
    const TemporaryFile neighbour("");
    const QByteArray directory = neighbour.path().left(neighbour.path().lastIndexOf('/'));
    const QByteArray pipe = directory + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.constData(), 0600), 0);
    const QByteArray socketPath = directory + "/socket";
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", socketPath.constData());
    ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);

    const struct {
        QByteArray path;
        int code;
        QString domain;
        QString says;
    } cases[] = {
        {directory + "/missing.log", -1100, u"NSURLErrorDomain"_s, u"does not exist"_s},
        {neighbour.path() + "/below.log", -1100, u"NSURLErrorDomain"_s, u"does not exist"_s},
        {directory, EISDIR, u"POSIX"_s, u"folder"_s},
        {pipe, EINVAL, u"POSIX"_s, u"pipe"_s},
        {socketPath, EINVAL, u"POSIX"_s, u"socket"_s},
        {"/dev/null", EINVAL, u"POSIX"_s, u"device"_s},
    };
    for (const auto& [path, code, domain, says] : cases) {
        SCOPED_TRACE(path.constData());
        const auto status = LocalDocument::create()->readFromUrl(fileUrlFromPath(path));
        ASSERT_FALSE(status);
        EXPECT_EQ(status.error().code, code);
        EXPECT_EQ(status.error().domain, domain);
        EXPECT_TRUE(status.error().userText.contains(u'“' + QString::fromUtf8(path) + u'”'));
        EXPECT_TRUE(status.error().userText.contains(says)) << status.error().userText.toStdString();
    }
    ::close(listener);
    // The temporary directory removes only ordinary files.
    ::unlink(pipe.constData());
    ::unlink(socketPath.constData());
}

TEST_F(DocumentTest, AnAddressElsewhereDoesNotOpenTheLocalFileOfThatPath) {
    const TemporaryFile file("secret");
    QUrl elsewhere = file.url();
    elsewhere.setScheme(u"http"_s);
    elsewhere.setHost(u"example.org"_s);
    const auto status = document_->readFromUrl(elsewhere);
    ASSERT_FALSE(status);
    EXPECT_TRUE(status.error().userText.contains(u"http://example.org/"_s));
}

// A directory entry that cannot be opened whoever runs the test, root included: a symbolic link to itself.
TEST_F(DocumentTest, AnUnreadableFileShowsOneEmptyLineAndSaysWhy) {
    const TemporaryFile neighbour("");
    const QByteArray loop = neighbour.path() + ".loop";
    ASSERT_EQ(::symlink(loop.constData(), loop.constData()), 0);
    ASSERT_TRUE(document_->readFromUrl(fileUrlFromPath(loop)));
    EXPECT_TRUE(document_->openFault().contains(u": “"_s + QString::fromUtf8(loop) + u"” cannot be read. "_s))
        << document_->openFault().toStdString();
    document_->startLoading();
    ASSERT_TRUE(waitForState(State::Completed));
    EXPECT_EQ(document_->dataSource()->numberOfRows(), 1);
    EXPECT_TRUE(waitForRow(0, QString()));
    ::unlink(loop.constData());
}

TEST_F(DocumentTest, LoadingMoreShowsWhatWasAddedAndTheGrownLastLine) {
    const TemporaryFile file("one\ntw");
    load(file);
    ASSERT_TRUE(waitForRow(1, u"tw"_s));
    file.append("o\nthree\n");
    document_->loadMore();
    EXPECT_TRUE(waitForRow(1, u"two"_s));
    EXPECT_TRUE(waitForRow(2, u"three"_s));
    EXPECT_EQ(document_->dataSource()->numberOfRows(), 4);
}

TEST_F(DocumentTest, ReloadingInAnotherEncodingForgetsThatLinesWereNoText) {
    for (const bool isLazy : {true, false}) {
        SCOPED_TRACE(isLazy);
        Preferences::shared().setLazyLoadFile(isLazy);
        document_ = LocalDocument::create();
        const TemporaryFile file("one\nna\xC3\xAFve\n");
        ASSERT_TRUE(document_->readFromUrl(file.url()));
        document_->logReader()->setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::ascii});
        document_->startLoading();
        ASSERT_TRUE(waitForState(State::Completed));
        ASSERT_TRUE(waitForRow(1, u"na\uFFFD\uFFFDve"_s));
        EXPECT_TRUE(document_->dataSource()->hasInvalidLines());
        document_->logReader()->setEncodingChoice({EncodingChoice::Kind::LenientUtf8, encoding::utf8});
        document_->reload();
        EXPECT_TRUE(waitForRow(1, u"naïve"_s));
        EXPECT_FALSE(document_->dataSource()->hasInvalidLines());
    }
}

TEST_F(DocumentTest, ACheckNamesWhatHasBecomeOfTheFile) {
    const TemporaryFile file("one\ntwo\n");
    load(file);
    EXPECT_TRUE(waitForFault(FileFault::None));
    file.append("three\n");
    EXPECT_TRUE(waitForFault(FileFault::None));
    file.truncate(5);
    EXPECT_TRUE(waitForFault(FileFault::Truncated));
    const QByteArray moved = file.path() + ".1";
    ASSERT_EQ(std::rename(file.path().constData(), moved.constData()), 0);
    EXPECT_TRUE(waitForFault(FileFault::Removed));
    file.append("another\n");
    EXPECT_TRUE(waitForFault(FileFault::Replaced));
}

TEST_F(DocumentTest, AClosedDocumentIsSilent) {
    const TemporaryFile file(QByteArray("line\n").repeated(100'000));
    int updates = 0;
    const auto subscription = document_->notices().rowsUpdated.subscribe([&](const auto&) { ++updates; });
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    document_->startLoading();
    document_->checkFile([&](FileFault) { ++updates; });
    const std::weak_ptr<TailDataSourceProtocol> dataSource = document_->dataSource();
    dataSource.lock()->loadPage(1, true);
    document_->close();
    document_->close();
    document_->loadMore();
    document_->reload();
    document_->checkFile([&](FileFault) { ++updates; });
    EXPECT_TRUE(waitFor([&] { return dataSource.expired(); })) << "something holds on to the rows";
    ASSERT_TRUE(OperationQueue::waitForAllWorkers(std::chrono::seconds(60)));
    MainThread::shared().runPending();
    EXPECT_EQ(updates, 0);
    EXPECT_EQ(document_->fileUrl(), file.url());
}

TEST_F(DocumentTest, LettingGoOfADocumentStopsItsWork) {
    const TemporaryFile file(QByteArray("line\n").repeated(100'000));
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    document_->startLoading();
    const std::weak_ptr<LogFileReaderProtocol> reader = document_->logReader();
    document_.reset();
    EXPECT_TRUE(waitFor([&] { return reader.expired(); }));
}

TEST_F(DocumentTest, TheNameIsTheFilesUnlessAnotherIsGiven) {
    const TemporaryFile file("", "a\tb.log");
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    EXPECT_EQ(document_->displayName(), u"a␉b.log"_s);
    document_->setDisplayName(u"standard input"_s);
    EXPECT_EQ(document_->displayName(), u"standard input"_s);
}

} // namespace
} // namespace korvane
