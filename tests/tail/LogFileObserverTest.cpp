#include "tail/LogFileObserver.h"

#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "documents/FakeReader.h"
#include "support/FakeDocument.h"
#include "support/FaultyReads.h"
#include "support/Guarded.h"
#include "support/LogCapture.h"
#include "support/PreferencesTest.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"
#include "support/WithoutRootsRights.h"
#include "tail/FollowedDataSource.h"

#include <atomic>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TemporaryFile;
using test::waitFor;
using enum FileStatus;
using Texts = std::vector<std::string>;

class RecordingDataSource : public FollowedDataSource {
public:
    RecordingDataSource(const QUrl& url, std::shared_ptr<LogFileReaderProtocol> reader)
        : document_(std::make_shared<test::FakeDocument>(reader, url)), reader_(std::move(reader)) {}

    /// Each change as "location+length", after a "*" for a new file generation.
    test::Guarded<Texts> announced;
    /// The other events, with the reader's line count at that time.
    test::Guarded<Texts> heard;
    std::atomic<int> polls{0};
    std::atomic<bool> holdsFile{false};
    /// Runs once, in the next `letArrivedLinesPass`.
    test::Guarded<std::function<void()>> whileLinesPass;

    std::shared_ptr<LogFileReaderProtocol> followedReader() const override { return reader_; }
    std::shared_ptr<DocumentProtocol> getDocument() const override { return document_; }
    void announceChangedLines(LineRange changed) override { announced.add(text(changed)); }
    void announceOtherContent(LineRange changed) override { announced.add('*' + text(changed)); }
    void followingBegan() override { heard.add("began"); }
    void linesArrived() override { heard.add("arrived " + std::to_string(reader_->lineCount())); }
    void filePolled() override { ++polls; }
    void contentForgotten() override { heard.add("forgotten " + std::to_string(reader_->lineCount())); }
    bool letArrivedLinesPass() override {
        if (const auto action = whileLinesPass.take())
            action();
        return !holdsFile;
    }

private:
    static std::string text(LineRange range) {
        return std::to_string(range.location) + '+' + std::to_string(range.length);
    }
    const std::shared_ptr<DocumentProtocol> document_;
    const std::shared_ptr<LogFileReaderProtocol> reader_;
};

/// Tails a real file with either reader.
class LogFileObserverTest : public test::PreferencesTest, public ::testing::WithParamInterface<bool> {
protected:
    LogFileObserverTest() { Preferences::shared().setPollingInterval(0.002); }
    ~LogFileObserverTest() override {
        if (observer_)
            observer_->stopTailing();
    }

    void make(const QByteArray& content) {
        file_.emplace(content);
        open();
    }
    void open() {
        makeFor(GetParam() ? InMemoryFileLogReader::create(file_->url()) : LogReader::create(file_->url()));
    }
    void makeFor(std::shared_ptr<LogFileReaderProtocol> reader) {
        reader_ = std::move(reader);
        dataSource_ = std::make_shared<RecordingDataSource>(file_->url(), reader_);
        statusSubscription_ = dataSource_->getDocument()->notices().fileStatusChanged.subscribe(
            [this](FileStatus status) { statuses_.push_back(status); });
        observer_ = LogFileObserver::create(dataSource_);
    }
    void load(const QByteArray& content) {
        make(content);
        reader_->refresh();
    }
    /// Loads the file and begins to follow it.
    void tail(const QByteArray& content) {
        load(content);
        follow();
        ASSERT_TRUE(waitForPoll());
    }
    void follow() {
        observer_->startTailing();
        ASSERT_TRUE(waitFor([&] { return observer_->isTailing(); }));
    }
    /// Stops following: all changes until the next `follow` are one step to the observer.
    void pause() {
        observer_->stopTailing();
        ASSERT_TRUE(waitFor([&] { return !observer_->isTailing(); }, 2s));
    }

    /// The lines, separated by "|".
    std::string lines() { return reader_->readLines(1, 10'000).join(u'|').toStdString(); }
    bool waitForChange(const std::string& expected) {
        return waitFor([&] {
            const Texts all = dataSource_->announced.get();
            return !all.empty() && all.back() == expected;
        });
    }
    /// Waits until a poll that began after this call has ended.
    bool waitForPoll() {
        const int before = dataSource_->polls;
        return waitFor([&] { return dataSource_->polls >= before + 2; });
    }
    bool waitForStatus(FileStatus status) {
        return waitFor([&] { return !statuses_.empty() && statuses_.back() == status; });
    }

    std::optional<TemporaryFile> file_;
    std::shared_ptr<LogFileReaderProtocol> reader_;
    std::shared_ptr<RecordingDataSource> dataSource_;
    std::shared_ptr<LogFileObserver> observer_;
    std::vector<FileStatus> statuses_;

private:
    Subscription statusSubscription_;
};

TEST_P(LogFileObserverTest, TheFirstReportChangesNothing) {
    make("one\n");
    observer_->fileSizeChanged(0, 4);
    EXPECT_EQ(dataSource_->announced.get(), Texts{});
    observer_->fileSizeChanged(2, 4);
    EXPECT_EQ(dataSource_->announced.get(), Texts{"0+2"});
}

TEST_P(LogFileObserverTest, StoppingEndsAScanUnderWay) {
    std::atomic<bool> isScanning{false};
    std::atomic<bool> isReleased{false};
    const auto endless = std::make_shared<test::FakeReader>(1);
    endless->scan = [&](test::FakeReader& self) {
        isScanning = true;
        while (!self.isScanCancelled() && !isReleased)
            self.delegate()->readerDidReadBytes(1);
        return LineRange{};
    };
    file_.emplace("one\n");
    makeFor(endless);
    observer_->startTailing();
    EXPECT_TRUE(waitFor([&] { return isScanning.load(); }));
    observer_->stopTailing();
    EXPECT_TRUE(waitFor([&] { return endless->isScanCancelled(); }));
    isReleased = true;
    EXPECT_TRUE(test::settle());
}

TEST_P(LogFileObserverTest, AnotherContentIsShownFromItsFirstLine) {
    const QByteArray big = "begin\n" + QByteArray("0123456\n").repeated(2000);
    const std::tuple<const char*, QByteArray, QByteArray> cases[] = {
        {"shorter", "old 1\nold 2\n", "new\n"},
        {"empty", "old 1\nold 2\n", ""},
        {"as long", "old 1\nold 2\n", "new 1\nnew 2\n"},
        {"longer", "old 1\nold 2\n", "new 1\nnew 2\nnew 3\n"},
        {"other end only", big, big.chopped(3) + "xyz more"},
        {"other begin only", big, "other" + big.sliced(5) + "more"},
    };
    for (const auto& [what, before, after] : cases) {
        SCOPED_TRACE(what);
        tail(before);
        pause();
        file_->overwrite(after);
        follow();
        EXPECT_TRUE(waitForChange("*0+" + std::to_string(after.count('\n') + 1)));
        EXPECT_EQ(lines(), QByteArray(after).replace('\n', '|').toStdString());
        EXPECT_EQ(dataSource_->announced.get().size(), 1U);
        observer_->stopTailing();
    }
}

TEST_P(LogFileObserverTest, ARotatedFileIsReadToItsEndAndThenTheNewOne) {
    tail("old 1\n");
    pause();
    file_->append("old 2\n");
    file_->replace("new 1\nnew 2\nnew 3\n");
    follow();
    ASSERT_TRUE(waitForStatus(Rotated));
    EXPECT_EQ(dataSource_->announced.get(), (Texts{"1+2", "*0+4"}));
    EXPECT_EQ(lines(), "new 1|new 2|new 3|");
    file_->append("new 4\n");
    EXPECT_TRUE(waitForChange("3+2"));
}

TEST_P(LogFileObserverTest, WhatIsNoFileInItsPlaceIsLeftAlone) {
    tail("old\n");
    file_->remove();
    ASSERT_EQ(::symlink(file_->directory().constData(), file_->path().constData()), 0);
    EXPECT_TRUE(waitForStatus(Unreadable));
    EXPECT_EQ(lines(), "old|");
}

TEST_P(LogFileObserverTest, StartingAgainFindsWhatCameWhileStopped) {
    tail("one\n");
    Preferences::shared().setPollingInterval(3600);
    pause();
    file_->append("two\n");
    observer_->startTailing();
    EXPECT_TRUE(waitForChange("1+2"));
    EXPECT_TRUE(observer_->isTailing());
}

// To the monitor, lines written between the end of the load and the first poll do not change the size.
TEST_P(LogFileObserverTest, WhatIsThereWhenFollowingStartsIsShownAndHasNotArrived) {
    load("one\n");
    file_->append("two\n");
    follow();
    EXPECT_TRUE(waitForChange("1+2"));
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(dataSource_->heard.get(), Texts{"began"});
    file_->append("three\n");
    EXPECT_TRUE(waitFor([&] { return dataSource_->heard.get().back() == "arrived 4"; }));
    EXPECT_TRUE(waitForChange("2+2"));
}

TEST_P(LogFileObserverTest, WhatComesAfterALoadHasArrived) {
    load("one\n");
    file_->append("two\n");
    observer_->startTailingAfterLoad();
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(dataSource_->heard.get(), (Texts{"began", "arrived 3"}));
}

// No line of a new file generation may be read as one of the old generation.
TEST_P(LogFileObserverTest, TheOldContentIsForgottenBeforeAnythingOfTheNewOneIsKnown) {
    tail("old 1\nold 2\n");
    const std::string none = GetParam() ? "forgotten 0" : "forgotten 1";
    file_->replace("new 1\nnew 2\nnew 3\n");
    ASSERT_TRUE(waitForStatus(Rotated));
    file_->truncate(6);
    ASSERT_TRUE(waitForStatus(Truncated));
    EXPECT_EQ(dataSource_->heard.get(), (Texts{"began", none, "arrived 4", none, "arrived 2"}));
}

TEST_P(LogFileObserverTest, EveryFateOfTheFileIsToldOnceWithTheRowsItLeaves) {
    tail("old 1\nold 2\n");
    const auto step = [this](const auto& change, FileStatus status, const std::string& rows) {
        statuses_.clear();
        change();
        EXPECT_TRUE(waitForStatus(status));
        EXPECT_TRUE(waitForPoll());
        EXPECT_TRUE(waitForPoll());
        MainThread::shared().runPending();
        EXPECT_EQ(statuses_, std::vector{status});
        EXPECT_EQ(lines(), rows);
    };
    step([this] { file_->truncate(6); }, Truncated, "old 1|");
    step([this] { file_->truncate(0); }, Truncated, "");
    file_->append("again\n");
    ASSERT_TRUE(waitFor([&] { return lines() == "again|" && !reader_->isBehind(); }));
    step([this] { file_->replace("new 1\n"); }, Rotated, "new 1|");
    step([this] { file_->replace("new 2\n"); }, Rotated, "new 2|");
    dataSource_->announced.take();
    step([this] { file_->moveAway(); }, Deleted, "new 2|");
    step([this] { file_->moveBack(); }, Present, "new 2|");
    step([this] { file_->remove(); }, Deleted, "new 2|");
    EXPECT_EQ(dataSource_->announced.get(), Texts{}) << "the rows have not changed";
    step([this] { file_->replace("new 3\n"); }, Rotated, "new 3|");
    step([this] { file_->replace(""); }, Rotated, "");
}

TEST_P(LogFileObserverTest, WhatIsWrittenToAFileThatWasMovedAwayShowsUntilAnotherStandsInItsPlace) {
    tail("old 1\n");
    file_->moveAway();
    ASSERT_TRUE(waitForStatus(Deleted));
    file_->appendToMoved("old 2\n");
    ASSERT_TRUE(waitForChange("1+2"));
    file_->appendToMoved("old 3\n");
    ASSERT_TRUE(waitForChange("2+2"));
    EXPECT_EQ(lines(), "old 1|old 2|old 3|");
    file_->replace("new\n");
    ASSERT_TRUE(waitForStatus(Rotated));
    EXPECT_EQ(lines(), "new|");
}

TEST_P(LogFileObserverTest, AReplacedFileIsFollowedUntilItsLinesHavePassed) {
    tail("old 1\n");
    dataSource_->holdsFile = true;
    file_->moveAway();
    file_->replace("new\n");
    file_->appendToMoved("old 2\n");
    ASSERT_TRUE(waitForChange("1+2"));
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(lines(), "old 1|old 2|");
    dataSource_->whileLinesPass.exchange([this] { file_->appendToMoved("until the switch\n"); });
    dataSource_->holdsFile = false;
    ASSERT_TRUE(waitForStatus(Rotated));
    EXPECT_EQ(lines(), "new|");
    EXPECT_EQ(dataSource_->announced.get(), (Texts{"1+2", "2+2", "*0+2"})) << "what the writer added last";
}

TEST_P(LogFileObserverTest, AFileThatMayNotBeReadIsTakenAsSoonAsItMay) {
    const test::WithoutRootsRights asAnyone;
    file_.emplace("one\n");
    file_->setMode(0);
    open();
    reader_->refresh();
    follow();
    ASSERT_TRUE(waitForStatus(Unreadable));
    ASSERT_TRUE(waitForPoll());
    file_->setMode(0600);
    ASSERT_TRUE(waitForStatus(Present));
    EXPECT_EQ(lines(), "one|");
    for (const std::string& heard : dataSource_->heard.get())
        EXPECT_FALSE(heard.starts_with("arrived")) << "what could not be read before was there all the same";
    file_->append("two\n");
    ASSERT_TRUE(waitForChange("1+2"));

    // The same holds for a file that replaces it.
    const TemporaryFile other("new\n");
    other.setMode(0);
    file_->replace(other);
    ASSERT_TRUE(waitForStatus(Unreadable));
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(lines(), "one|two|");
    file_->setMode(0600);
    ASSERT_TRUE(waitForStatus(Rotated));
    EXPECT_EQ(lines(), "new|");
    MainThread::shared().runPending();
    EXPECT_EQ(statuses_, (std::vector{Unreadable, Present, Unreadable, Rotated}));
}

TEST_P(LogFileObserverTest, AReadErrorIsToldOnceAndReadingGoesOnWhenItIsGone) {
    tail("one\n");
    const test::LogCapture log;
    const auto complaints = [&] { return log.lines().filter(u"failed at byte 4"_s); };
    test::FaultyReads::failFrom(4, EIO);
    file_->append("two\nthree\n");
    ASSERT_TRUE(waitForStatus(Unreadable));
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(complaints().size(), 1);
    EXPECT_EQ(dataSource_->announced.get(), Texts{}) << "there is nothing new to show";

    test::FaultyReads::failFrom(4, EACCES);
    ASSERT_TRUE(waitFor([&] { return complaints().size() == 2; }));
    EXPECT_NE(complaints().front(), complaints().back()) << "does not say why";
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(complaints().size(), 2);

    test::FaultyReads::failFrom(0, 0);
    ASSERT_TRUE(waitForStatus(Present));
    EXPECT_EQ(lines(), "one|two|three|");
    EXPECT_EQ(dataSource_->announced.get(), Texts{"1+3"});
    EXPECT_EQ(statuses_, (std::vector{Unreadable, Present}));

    test::FaultyReads::failFrom(4 + 4 + 6, EIO);
    file_->append("four\n");
    EXPECT_TRUE(waitForStatus(Unreadable)) << "it has come back";
    test::FaultyReads::failFrom(0, 0);
}

// Reading never combines the line offsets of one file with the bytes of another.
TEST_P(LogFileObserverTest, LinesReadDuringRotationsAreLinesOfOneFile) {
    tail(QByteArray("a\n").repeated(500));
    for (int round = 0; round < 40; ++round) {
        const QString wanted(1 + round % 7, QChar(u'b' + round % 20));
        file_->replace((wanted.toLatin1() + '\n').repeated(500));
        ASSERT_TRUE(waitFor([&] {
            const QStringList lines = reader_->readLines(1, 500);
            for (const QString& read : lines) {
                if (!read.isEmpty() && (read.size() > 7 || read.count(read.front()) != read.size()))
                    ADD_FAILURE() << read.toStdString();
                if (!read.isEmpty() && read != lines.front())
                    ADD_FAILURE() << "mixed: " << read.toStdString() << ' ' << lines.front().toStdString();
            }
            return lines.size() == 500 && lines.front() == wanted;
        }));
    }
}

INSTANTIATE_TEST_SUITE_P(Readers, LogFileObserverTest, ::testing::Bool());

} // namespace
} // namespace korvane
