#include "documents/LocalDocument.h"

#include "core/FileObserverProtocol.h"
#include "core/TailDataSourceProtocol.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "documents/DocumentFixture.h"
#include "support/Listener.h"
#include "support/WithoutRootsRights.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TemporaryFile;
using test::waitFor;
using State = LoadProgressController::State;

class DocumentTest : public test::DocumentFixture {
protected:
    bool waitForFault(FileFault expected) {
        std::optional<FileFault> found;
        document_->checkFile([&](FileFault fault) { found = fault; });
        return waitFor([&] { return found.has_value(); }) && *found == expected;
    }
    void setSearchResults() { document_->dataSource()->setLastSearchResults({{0, {0, {{0, 1}}}}}); }
    bool hasSearchResults() { return !document_->dataSource()->lastSearchResults().empty(); }
};

TEST_F(DocumentTest, AFileThatDoesNotFitIntoMemoryIsReadByItsIndexAndSaysSo) {
    Preferences::shared().setLazyLoadFile(false);
    open("a few bytes\n");
    EXPECT_EQ(document_->readingNote(), QString());
    EXPECT_TRUE(std::dynamic_pointer_cast<InMemoryFileLogReader>(document_->logReader()));
    file_->truncate(qint64{1} << 42);
    open(*file_);
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
    open(file);
    for (const EncodingChoice choice : choices) {
        load();
        document_->setEncodingChoice(choice);
        for (const TemporaryFile* opened : {&other, &file}) {
            open(*opened);
            EXPECT_EQ(document_->encodingChoice(), opened == &file ? choice : EncodingChoice());
        }
    }
}

TEST_F(DocumentTest, AReloadReadsWhatStandsThereNowAndKeepsTheSearchOnlyOfTheSameContent) {
    const std::tuple<const char*, void (*)(const TemporaryFile&), QStringList, bool> cases[] = {
        {"nothing", [](const auto&) {}, {u"one"_s, u"two"_s}, false},
        {"grown", [](const auto& file) { file.append("\nthree"); }, {u"one"_s, u"two"_s, u"three"_s}, false},
        {"overwritten",
         [](const auto& file) { file.overwrite("eno\nowt\n."); },
         {u"eno"_s, u"owt"_s, u"."_s},
         true},
        {"cut short", [](const auto& file) { file.truncate(3); }, {u"one"_s}, true},
        {"replaced", [](const auto& file) { file.replace("one\n2"); }, {u"one"_s, u"2"_s}, true},
    };
    for (const auto& [what, change, rows, isOther] : cases) {
        SCOPED_TRACE(what);
        load("one\ntwo");
        ASSERT_TRUE(waitForRows({u"one"_s, u"two"_s}));
        setSearchResults();
        change(*file_);
        document_->reload();
        ASSERT_TRUE(waitForState(State::Completed));
        EXPECT_TRUE(waitForRows(rows));
        ASSERT_TRUE(test::settle());
        EXPECT_EQ(hasSearchResults(), !isOther);
        EXPECT_TRUE(waitForFault(FileFault::None));
    }
}

TEST_F(DocumentTest, RowsFollowTheFile) {
    for (const bool isLazy : {true, false}) {
        SCOPED_TRACE(isLazy);
        Preferences::shared().setLazyLoadFile(isLazy);
        tail("one\ntw");
        EXPECT_EQ(document_->openFault(), QString());
        EXPECT_EQ(document_->loadProgress()->readBytes(), document_->loadProgress()->totalBytes());
        ASSERT_TRUE(waitForRows({u"one"_s, u"tw"_s}));
        file_->append("o\nthree");
        EXPECT_TRUE(waitForRows({u"one"_s, u"two"_s, u"three"_s}));
        document_->dataSource()->clearView();
        setSearchResults();
        file_->overwrite("eno\n");
        EXPECT_TRUE(waitForRows({u"eno"_s, QString()})) << "a cleared view begins with its first row";
        EXPECT_FALSE(hasSearchResults());
        file_->replace("rotated\n");
        EXPECT_TRUE(waitForRows({u"rotated"_s, QString()}));
        EXPECT_TRUE(waitForFault(FileFault::None)) << "the file at the path is the one shown";
    }
}

TEST_F(DocumentTest, TheLineOfAnEmptyFileIsLoadedThoughItWasRequestedBeforeTheScan) {
    open("");
    document_->dataSource()->loadPage(1, false);
    document_->startLoading();
    EXPECT_TRUE(waitForRows({QString()}));
    document_->reload();
    document_->dataSource()->loadPage(1, false);
    ASSERT_TRUE(waitFor([&] { return !document_->isLoading(); }));
    EXPECT_TRUE(waitForRows({QString()}));
}

TEST_F(DocumentTest, WhatIsNoFileIsRefusedByName) {
    const TemporaryFile neighbour("");
    const QByteArray pipe = neighbour.directory() + "/pipe";
    ASSERT_EQ(::mkfifo(pipe.constData(), 0600), 0);
    const QByteArray socketPath = neighbour.directory() + "/socket";
    const int listener = test::socketAt(socketPath, &::bind);

    const std::tuple<QByteArray, int, QString, QString> cases[] = {
        {neighbour.path() + ".missing", -1100, u"NSURLErrorDomain"_s, u"does not exist"_s},
        {neighbour.path() + "/below.log", -1100, u"NSURLErrorDomain"_s, u"does not exist"_s},
        {neighbour.directory(), EISDIR, u"POSIX"_s, u"folder"_s},
        {pipe, EINVAL, u"POSIX"_s, u"pipe"_s},
        {socketPath, EINVAL, u"POSIX"_s, u"socket"_s},
        {"/dev/null", EINVAL, u"POSIX"_s, u"device"_s},
    };
    for (const auto& [path, code, domain, says] : cases) {
        SCOPED_TRACE(path.constData());
        const auto status = document_->readFromUrl(fileUrlFromPath(path));
        ASSERT_FALSE(status);
        EXPECT_EQ(status.error().code, code);
        EXPECT_EQ(status.error().domain, domain);
        EXPECT_TRUE(status.error().userText.contains(u'“' + QString::fromUtf8(path) + u'”'));
        EXPECT_TRUE(status.error().userText.contains(says)) << status.error().userText.toStdString();
    }
    ::close(listener);
    // The temporary directory removes only regular files.
    ::unlink(pipe.constData());
    ::unlink(socketPath.constData());

    // An address on another host does not open the local file of the same path.
    const QUrl elsewhere(u"http://example.org"_s + neighbour.url().path());
    const auto status = document_->readFromUrl(elsewhere);
    ASSERT_FALSE(status);
    EXPECT_TRUE(status.error().userText.contains(u"http://example.org/"_s));
}

TEST_F(DocumentTest, AnUnreadableFileShowsOneEmptyLineAndSaysWhyUntilItMayBeRead) {
    const test::WithoutRootsRights asAnyone;
    const TemporaryFile file("one\n");
    file.setMode(0);
    open(file);
    const QString path = QString::fromUtf8(file.path());
    EXPECT_TRUE(document_->openFault().contains(u": “"_s + path + u"” cannot be read. "_s))
        << document_->openFault().toStdString();
    load();
    EXPECT_TRUE(waitForRows({QString()}));
    follow();
    file.setMode(0600);
    EXPECT_TRUE(waitForRows({u"one"_s, QString()}));
    EXPECT_EQ(document_->openFault(), QString());
}

TEST_F(DocumentTest, LoadingMoreShowsWhatWasAddedAndTheGrownLastLine) {
    load("one\ntw");
    ASSERT_TRUE(waitForRows({u"one"_s, u"tw"_s}));
    file_->append("o\nthree\n");
    document_->loadMore();
    EXPECT_TRUE(waitForRows({u"one"_s, u"two"_s, u"three"_s, QString()}));
}

TEST_F(DocumentTest, ReloadingInAnotherEncodingForgetsThatLinesWereNoText) {
    open("one\nna\xC3\xAFve");
    document_->logReader()->setEncodingChoice({EncodingChoice::Kind::Fixed, encoding::ascii});
    load();
    ASSERT_TRUE(waitForRows({u"one"_s, u"na\uFFFD\uFFFDve"_s}));
    EXPECT_TRUE(document_->dataSource()->hasInvalidLines());
    document_->logReader()->setEncodingChoice({EncodingChoice::Kind::LenientUtf8, encoding::utf8});
    document_->reload();
    EXPECT_TRUE(waitForRows({u"one"_s, u"naïve"_s}));
    EXPECT_FALSE(document_->dataSource()->hasInvalidLines());
}

TEST_F(DocumentTest, ACheckNamesWhatHasBecomeOfTheFile) {
    load("one\ntwo\n");
    EXPECT_TRUE(waitForFault(FileFault::None));
    file_->append("three\n");
    EXPECT_TRUE(waitForFault(FileFault::None));
    file_->truncate(5);
    EXPECT_TRUE(waitForFault(FileFault::Truncated));
    file_->moveAway();
    EXPECT_TRUE(waitForFault(FileFault::Removed));
    file_->append("another\n");
    EXPECT_TRUE(waitForFault(FileFault::Replaced));
}

TEST_F(DocumentTest, CancellingTheLoadDoesNotLeaveItToTheMonitor) {
    Preferences::shared().setPollingInterval(3600); // a running monitor would exceed the limit below
    open(QByteArray("line\n").repeated(2'000'000));
    document_->startLoading();
    document_->startTailingWhenLoaded();
    document_->cancelLoading();
    EXPECT_TRUE(test::settle(20s));
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(5s));
    EXPECT_FALSE(document_->logFileObserver()->isTailing());
    EXPECT_LT(document_->logReader()->lineCount(), 2'000'000);
}

TEST_F(DocumentTest, ClosingEndsTheMonitorAtOnce) {
    Preferences::shared().setPollingInterval(3600);
    tail("one\n");
    const std::weak_ptr<TailDataSourceProtocol> rows = document_->dataSource();
    document_->close();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(5s));
    EXPECT_TRUE(rows.expired());
    document_->startTailingWhenLoaded();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(1s)) << "a closed document follows nothing";
}

TEST_F(DocumentTest, AClosedDocumentIsSilentAndAReleasedOneStopsItsWork) {
    int updates = 0;
    open(QByteArray("line\n").repeated(100'000));
    const auto subscription = document_->notices().rowsUpdated.subscribe([&](const auto&) { ++updates; });
    document_->startLoading();
    document_->checkFile([&](FileFault) { ++updates; });
    const std::weak_ptr<TailDataSourceProtocol> rows = document_->dataSource();
    rows.lock()->loadPage(1, true);
    document_->close();
    document_->close();
    document_->loadMore();
    document_->reload();
    document_->checkFile([&](FileFault) { ++updates; });
    EXPECT_TRUE(waitFor([&] { return rows.expired(); })) << "something holds on to the rows";
    ASSERT_TRUE(test::settle());
    EXPECT_EQ(updates, 0);
    EXPECT_EQ(document_->fileUrl(), file_->url());

    open(*file_);
    document_->startLoading();
    const std::weak_ptr<LogFileReaderProtocol> reader = document_->logReader();
    document_.reset();
    EXPECT_TRUE(waitFor([&] { return reader.expired(); }));
}

} // namespace
} // namespace korvane
