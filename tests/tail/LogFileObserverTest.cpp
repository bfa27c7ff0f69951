#include "tail/LogFileObserver.h"

#include "core/DocumentProtocol.h"
#include "core/reader/InMemoryFileLogReader.h"
#include "core/reader/LogReader.h"
#include "support/FaultyReads.h"
#include "support/LogCapture.h"
#include "support/PreferencesTest.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"
#include "support/WithoutRootsRights.h"
#include "tail/FollowedDataSource.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TemporaryFile;
using test::waitFor;

class TailedDocument : public DocumentProtocol {
public:
    explicit TailedDocument(QUrl url) : url_(std::move(url)) {}
    QUrl fileUrl() const override { return url_; }
    QString displayName() const override { return {}; }
    std::shared_ptr<LogFileReaderProtocol> logReader() const override { return nullptr; }
    std::shared_ptr<TailDataSourceProtocol> dataSource() const override { return nullptr; }
    std::shared_ptr<FileObserverProtocol> logFileObserver() const override { return nullptr; }

private:
    const QUrl url_;
};

struct Announcement {
    LineRange lines;
    bool isOtherContent = false;
    friend bool operator==(const Announcement&, const Announcement&) = default;
};

class RecordingDataSource : public FollowedDataSource {
public:
    RecordingDataSource(QUrl url, std::shared_ptr<LogFileReaderProtocol> reader)
        : document_(std::make_shared<TailedDocument>(std::move(url))), reader_(std::move(reader)) {}
    std::shared_ptr<LogFileReaderProtocol> followedReader() const override { return reader_; }
    std::shared_ptr<DocumentProtocol> getDocument() const override { return document_; }
    void announceChangedLines(LineRange changed) override { add({changed, false}); }
    void announceOtherContent(LineRange changed) override { add({changed, true}); }
    void followingBegan() override { note("began"); }
    void linesArrived() override { note("arrived " + std::to_string(reader_->lineCount())); }
    void filePolled() override { ++polls; }
    void contentForgotten() override { note("forgotten " + std::to_string(reader_->lineCount())); }
    bool letArrivedLinesPass() override {
        std::function<void()> action;
        {
            const std::lock_guard guard(mutex_);
            whileLinesPass_.swap(action);
        }
        if (action)
            action();
        return !holdsFile;
    }

    std::atomic<int> polls{0};
    std::atomic<bool> holdsFile{false};
    /// Happens once.
    void setWhileLinesPass(std::function<void()> action) {
        const std::lock_guard guard(mutex_);
        whileLinesPass_ = std::move(action);
    }

    std::vector<Announcement> announcements() const {
        const std::lock_guard guard(mutex_);
        return announcements_;
    }
    /// What was heard of arrivals, with the lines known at that time.
    std::vector<std::string> heard() const {
        const std::lock_guard guard(mutex_);
        return heard_;
    }

private:
    void add(const Announcement& announcement) {
        const std::lock_guard guard(mutex_);
        announcements_.push_back(announcement);
    }
    void note(const std::string& what) {
        const std::lock_guard guard(mutex_);
        heard_.push_back(what);
    }
    const std::shared_ptr<DocumentProtocol> document_;
    const std::shared_ptr<LogFileReaderProtocol> reader_;
    mutable std::mutex mutex_;
    // Guarded by mutex_.
    std::vector<Announcement> announcements_;
    std::vector<std::string> heard_;
    std::function<void()> whileLinesPass_;
};

/// Tails real files with either reader.
class LogFileObserverTest : public test::PreferencesTest, public ::testing::WithParamInterface<bool> {
protected:
    LogFileObserverTest() { Preferences::shared().setPollingInterval(0.002); }
    ~LogFileObserverTest() override {
        if (observer_)
            observer_->stopTailing();
    }

    /// The file is loaded, and followed from now on.
    void tail(const TemporaryFile& file) {
        makeObserver(file);
        reader_->refresh();
        observer_->startTailing();
        ASSERT_TRUE(waitFor([&] { return observer_->isTailing(); }));
    }
    void makeObserver(const TemporaryFile& file) {
        makeObserver(file,
                     GetParam() ? InMemoryFileLogReader::create(file.url()) : LogReader::create(file.url()));
    }
    void makeObserver(const TemporaryFile& file, std::shared_ptr<LogFileReaderProtocol> reader) {
        reader_ = std::move(reader);
        dataSource_ = std::make_shared<RecordingDataSource>(file.url(), reader_);
        statusSubscription_ = dataSource_->getDocument()->notices().fileStatusChanged.subscribe(
            [this](FileStatus status) { statuses_.push_back(status); });
        observer_ = LogFileObserver::create(dataSource_);
    }
    bool waitForLines(const QStringList& lines) {
        return waitFor([&] { return reader_->readLines(1, 1000) == lines && !reader_->isBehind(); });
    }
    using Statuses = std::vector<FileStatus>;

    bool waitForAnnouncement(const Announcement& expected) {
        return waitFor([&] {
            const auto all = dataSource_->announcements();
            return !all.empty() && all.back() == expected;
        });
    }
    /// A look at the file that begins after this call has ended.
    bool waitForPoll() {
        const int before = dataSource_->polls;
        return waitFor([&] { return dataSource_->polls >= before + 2; });
    }
    bool waitForStatus(FileStatus status) {
        return waitFor([&] { return !statuses_.empty() && statuses_.back() == status; });
    }
    static void moveAway(const TemporaryFile& file) {
        ASSERT_EQ(::rename(file.path().constData(), (file.path() + ".1").constData()), 0);
    }
    static void appendToMoved(const TemporaryFile& file, const QByteArray& bytes) {
        std::FILE* const moved = std::fopen((file.path() + ".1").constData(), "ab");
        ASSERT_NE(moved, nullptr);
        std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), moved);
        std::fclose(moved);
    }
    static void replaceByRename(const TemporaryFile& file, const QByteArray& content) {
        const TemporaryFile other(content);
        ASSERT_EQ(::rename(other.path().constData(), file.path().constData()), 0);
    }

    std::shared_ptr<LogFileReaderProtocol> reader_;
    std::shared_ptr<RecordingDataSource> dataSource_;
    std::shared_ptr<LogFileObserver> observer_;
    std::vector<FileStatus> statuses_;

private:
    Subscription statusSubscription_;
};

TEST_P(LogFileObserverTest, GrowthAnnouncesTheOldLastLineAndWhatFollows) {
    const struct {
        QByteArray before;
        QByteArray added;
        QStringList lines;
        LineRange changed;
    } cases[] = {
        {"one\n", "two\n", {u"one"_s, u"two"_s, u""_s}, {1, 2}},
        {"one\ntw", "o", {u"one"_s, u"two"_s}, {1, 1}},
        {"one\ntw", "o\nthree\n", {u"one"_s, u"two"_s, u"three"_s, u""_s}, {1, 3}},
        {"", "first", {u"first"_s}, {0, 1}},
    };
    for (const auto& [before, added, lines, changed] : cases) {
        SCOPED_TRACE(before.constData());
        const TemporaryFile file(before);
        tail(file);
        file.append(added);
        EXPECT_TRUE(waitForAnnouncement({changed, false}));
        EXPECT_EQ(reader_->readLines(1, 100), lines);
        EXPECT_EQ(dataSource_->announcements().size(), 1U);
        observer_->stopTailing();
    }
}

TEST_P(LogFileObserverTest, TheFirstReportChangesNothing) {
    const TemporaryFile file("one\n");
    makeObserver(file);
    observer_->fileSizeChanged(0, 4);
    EXPECT_TRUE(dataSource_->announcements().empty());
    observer_->fileSizeChanged(2, 4);
    EXPECT_EQ(dataSource_->announcements(), (std::vector<Announcement>{{{0, 2}, false}}));
}

TEST_P(LogFileObserverTest, StoppingEndsAScanUnderWay) {
    struct EndlessReader : LogReader {
        explicit EndlessReader(const QUrl& url) : LogReader(url, IndexedFile::Storage::Disk) {}
        bool isBehind() override { return true; }
        void cancelScan() override { isCancelled = true; }
        LineRange refreshReportingTo(std::shared_ptr<LogReaderDelegate> listener) override {
            isScanning = true;
            while (!isCancelled && !isReleased)
                listener->readerDidReadBytes(1);
            return {};
        }
        std::atomic<bool> isScanning{false};
        std::atomic<bool> isCancelled{false};
        std::atomic<bool> isReleased{false};
    };
    const TemporaryFile file("one\n");
    const auto reader = std::make_shared<EndlessReader>(file.url());
    makeObserver(file, reader);
    observer_->startTailing();
    EXPECT_TRUE(waitFor([&] { return reader->isScanning.load(); }));
    observer_->stopTailing();
    EXPECT_TRUE(waitFor([&] { return reader->isCancelled.load(); }));
    reader->isReleased = true;
}

// Whatever has come between the end of the load and the first poll is no change to the monitor.
TEST_P(LogFileObserverTest, LinesFromBeforeTheFirstPollAreNotMissed) {
    const TemporaryFile file("one\n");
    makeObserver(file);
    reader_->refresh();
    file.append("two\n");
    observer_->startTailing();
    EXPECT_TRUE(waitForAnnouncement({{1, 2}, false}));
}

TEST_P(LogFileObserverTest, AnotherContentIsShownFromItsFirstLine) {
    const QByteArray big = "begin\n" + QByteArray("0123456\n").repeated(2000);
    const struct {
        const char* what;
        QByteArray before;
        QByteArray after;
    } cases[] = {
        {"shorter", "old 1\nold 2\n", "new\n"},
        {"empty", "old 1\nold 2\n", ""},
        {"as long", "old 1\nold 2\n", "new 1\nnew 2\n"},
        {"longer", "old 1\nold 2\n", "new 1\nnew 2\nnew 3\n"},
        {"other end only", big, big.chopped(3) + "xyz more"},
        {"other begin only", big, "other" + big.sliced(5) + "more"},
    };
    for (const auto& [what, before, after] : cases) {
        SCOPED_TRACE(what);
        const TemporaryFile file(before);
        tail(file);
        // In one step for the monitor: it sleeps meanwhile.
        observer_->stopTailing();
        ASSERT_TRUE(waitFor([&] { return !observer_->isTailing(); }));
        file.overwrite(after);
        observer_->startTailing();
        const QStringList lines = QString::fromLatin1(after).split(u'\n');
        EXPECT_TRUE(waitForAnnouncement({{0, lines.size()}, true}));
        EXPECT_EQ(reader_->readLines(1, 10000), lines);
        EXPECT_EQ(dataSource_->announcements().size(), 1U);
        observer_->stopTailing();
    }
}

TEST_P(LogFileObserverTest, TruncationWhileTailingEndsWithTheNewContent) {
    const TemporaryFile file("old 1\nold 2\n");
    tail(file);
    file.truncate(0);
    ASSERT_TRUE(waitForAnnouncement({{0, 1}, true}));
    file.append("new 1\n");
    EXPECT_TRUE(waitForLines({u"new 1"_s, u""_s}));
    file.append("new 2\n");
    EXPECT_TRUE(waitForAnnouncement({{1, 2}, false}));
}

TEST_P(LogFileObserverTest, ARotatedFileIsReadToItsEndAndThenTheNewOne) {
    const TemporaryFile file("old 1\n");
    tail(file);
    observer_->stopTailing();
    ASSERT_TRUE(waitFor([&] { return !observer_->isTailing(); }));
    file.append("old 2\n");
    replaceByRename(file, "new 1\nnew 2\nnew 3\n");
    observer_->startTailing();
    ASSERT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(dataSource_->announcements(), (std::vector<Announcement>{{{1, 2}, false}, {{0, 4}, true}}));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"new 1"_s, u"new 2"_s, u"new 3"_s, u""_s}));
    file.append("new 4\n");
    EXPECT_TRUE(waitForAnnouncement({{3, 2}, false}));
    // And again, which is news again.
    statuses_.clear();
    replaceByRename(file, "");
    EXPECT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(reader_->readLines(1, 100), QStringList{u""_s});
}

TEST_P(LogFileObserverTest, ADeletedFileKeepsItsRowsUntilItReturns) {
    const TemporaryFile file("old 1\n");
    const QByteArray aside = file.path() + ".1";
    tail(file);
    ASSERT_EQ(::rename(file.path().constData(), aside.constData()), 0);
    ASSERT_TRUE(waitForStatus(FileStatus::Deleted));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"old 1"_s, u""_s}));
    EXPECT_TRUE(dataSource_->announcements().empty());
    // The very same file.
    ASSERT_EQ(::rename(aside.constData(), file.path().constData()), 0);
    ASSERT_TRUE(waitForStatus(FileStatus::Present));
    EXPECT_TRUE(dataSource_->announcements().empty());
    // Another one.
    ASSERT_EQ(::unlink(file.path().constData()), 0);
    ASSERT_TRUE(waitForStatus(FileStatus::Deleted));
    replaceByRename(file, "new\n");
    ASSERT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"new"_s, u""_s}));
}

TEST_P(LogFileObserverTest, WhatIsNoFileInItsPlaceIsLeftAlone) {
    const TemporaryFile file("old\n");
    tail(file);
    const QByteArray directory = file.path().left(file.path().lastIndexOf('/'));
    ASSERT_EQ(::unlink(file.path().constData()), 0);
    ASSERT_EQ(::symlink(directory.constData(), file.path().constData()), 0);
    EXPECT_TRUE(waitForStatus(FileStatus::Unreadable));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"old"_s, u""_s}));
}

TEST_P(LogFileObserverTest, StartingAgainFindsWhatCameWhileStopped) {
    const TemporaryFile file("one\n");
    tail(file);
    Preferences::shared().setPollingInterval(3600);
    observer_->stopTailing();
    EXPECT_TRUE(waitFor([&] { return !observer_->isTailing(); }, 2s));
    file.append("two\n");
    observer_->startTailing();
    EXPECT_TRUE(waitForAnnouncement({{1, 2}, false}));
    EXPECT_TRUE(observer_->isTailing());
}

TEST_P(LogFileObserverTest, WhatIsThereWhenFollowingStartsHasNotArrived) {
    const TemporaryFile file("one\n");
    makeObserver(file);
    reader_->refresh();
    file.append("two\n");
    observer_->startTailing();
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(dataSource_->heard(), std::vector<std::string>{"began"});
    EXPECT_EQ(reader_->lineCount(), 3);
    file.append("three\n");
    ASSERT_TRUE(waitForAnnouncement({{2, 2}, false}));
    EXPECT_TRUE(waitFor([&] { return dataSource_->heard().back() == "arrived 4"; }));
}

TEST_P(LogFileObserverTest, WhatComesAfterALoadHasArrived) {
    const TemporaryFile file("one\n");
    makeObserver(file);
    reader_->refresh();
    file.append("two\n");
    observer_->startTailingAfterLoad();
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(dataSource_->heard(), (std::vector<std::string>{"began", "arrived 3"}));
}

// Nothing of a new content may be read as if it were the old one's.
TEST_P(LogFileObserverTest, TheOldContentIsForgottenBeforeAnythingOfTheNewOneIsKnown) {
    const TemporaryFile file("old 1\nold 2\n");
    tail(file);
    ASSERT_TRUE(waitForPoll());
    const std::string none = GetParam() ? "forgotten 0" : "forgotten 1";
    replaceByRename(file, "new 1\nnew 2\nnew 3\n");
    ASSERT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(dataSource_->heard(), (std::vector<std::string>{"began", none, "arrived 4"}));
    file.truncate(6);
    ASSERT_TRUE(waitForStatus(FileStatus::Truncated));
    EXPECT_EQ(dataSource_->heard(),
              (std::vector<std::string>{"began", none, "arrived 4", none, "arrived 2"}));
}

TEST_P(LogFileObserverTest, EveryFateOfTheFileIsToldOnce) {
    using enum FileStatus;
    const TemporaryFile file("old 1\nold 2\n");
    tail(file);
    Statuses expected;
    const auto expectNext = [&](FileStatus status) {
        expected.push_back(status);
        EXPECT_TRUE(waitFor([&] { return statuses_.size() == expected.size(); }));
        EXPECT_TRUE(waitForPoll());
        EXPECT_TRUE(waitForPoll());
        MainThread::shared().runPending();
        EXPECT_EQ(statuses_, expected);
    };
    ASSERT_TRUE(waitForPoll());
    file.truncate(6);
    expectNext(Truncated);
    file.truncate(0);
    expectNext(Truncated);
    file.append("again\n");
    ASSERT_TRUE(waitForLines({u"again"_s, u""_s}));
    replaceByRename(file, "new 1\n");
    expectNext(Rotated);
    replaceByRename(file, "new 2\n");
    expectNext(Rotated);
    moveAway(file);
    expectNext(Deleted);
    ASSERT_EQ(::rename((file.path() + ".1").constData(), file.path().constData()), 0);
    expectNext(Present);
    ASSERT_EQ(::unlink(file.path().constData()), 0);
    expectNext(Deleted);
    replaceByRename(file, "new 3\n");
    expectNext(Rotated);
}

TEST_P(LogFileObserverTest, WhatIsWrittenToAFileThatWasMovedAwayShowsUntilAnotherStandsInItsPlace) {
    const TemporaryFile file("old 1\n");
    tail(file);
    moveAway(file);
    ASSERT_TRUE(waitForStatus(FileStatus::Deleted));
    appendToMoved(file, "old 2\n");
    ASSERT_TRUE(waitForAnnouncement({{1, 2}, false}));
    appendToMoved(file, "old 3\n");
    ASSERT_TRUE(waitForAnnouncement({{2, 2}, false}));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"old 1"_s, u"old 2"_s, u"old 3"_s, u""_s}));
    replaceByRename(file, "new\n");
    ASSERT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"new"_s, u""_s}));
    ::unlink((file.path() + ".1").constData());
}

TEST_P(LogFileObserverTest, AReplacedFileIsFollowedUntilItsLinesHavePassed) {
    const TemporaryFile file("old 1\n");
    tail(file);
    ASSERT_TRUE(waitForPoll());
    dataSource_->holdsFile = true;
    moveAway(file);
    replaceByRename(file, "new\n");
    appendToMoved(file, "old 2\n");
    ASSERT_TRUE(waitForAnnouncement({{1, 2}, false}));
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"old 1"_s, u"old 2"_s, u""_s}));
    dataSource_->holdsFile = false;
    ASSERT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"new"_s, u""_s}));
    ::unlink((file.path() + ".1").constData());
}

TEST_P(LogFileObserverTest, WhatTheWriterAddsUntilTheSwitchIsNotLost) {
    const TemporaryFile file("old 1\n");
    tail(file);
    ASSERT_TRUE(waitForPoll());
    dataSource_->setWhileLinesPass([&] { appendToMoved(file, "old 2\n"); });
    moveAway(file);
    replaceByRename(file, "new\n");
    ASSERT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(dataSource_->announcements(), (std::vector<Announcement>{{{1, 2}, false}, {{0, 2}, true}}));
    ::unlink((file.path() + ".1").constData());
}

TEST_P(LogFileObserverTest, AFileThatMayNotBeReadIsTakenAsSoonAsItMay) {
    const test::WithoutRootsRights asAnyone;
    const TemporaryFile file("one\n");
    ASSERT_EQ(::chmod(file.path().constData(), 0), 0);
    tail(file);
    ASSERT_TRUE(waitForStatus(FileStatus::Unreadable));
    ASSERT_TRUE(waitForPoll());
    ASSERT_EQ(::chmod(file.path().constData(), 0600), 0);
    ASSERT_TRUE(waitForStatus(FileStatus::Present));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"one"_s, u""_s}));
    for (const std::string& heard : dataSource_->heard())
        EXPECT_FALSE(heard.starts_with("arrived")) << "what could not be read before was there all the same";
    file.append("two\n");
    ASSERT_TRUE(waitForAnnouncement({{1, 2}, false}));

    // Likewise one that takes its place.
    const TemporaryFile other("new\n");
    ASSERT_EQ(::chmod(other.path().constData(), 0), 0);
    ASSERT_EQ(::rename(other.path().constData(), file.path().constData()), 0);
    ASSERT_TRUE(waitForStatus(FileStatus::Unreadable));
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"one"_s, u"two"_s, u""_s}));
    ASSERT_EQ(::chmod(file.path().constData(), 0600), 0);
    ASSERT_TRUE(waitForStatus(FileStatus::Rotated));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"new"_s, u""_s}));
    MainThread::shared().runPending();
    using enum FileStatus;
    EXPECT_EQ(statuses_, (Statuses{Unreadable, Present, Unreadable, Rotated}));
}

TEST_P(LogFileObserverTest, AReadErrorIsToldOnceAndReadingGoesOnWhenItIsGone) {
    const TemporaryFile file("one\n");
    tail(file);
    ASSERT_TRUE(waitForPoll());
    const test::LogCapture log;
    const auto complaints = [&] { return log.lines().filter(u"failed at byte 4"_s); };
    test::FaultyReads::failFrom(4, EIO);
    file.append("two\nthree\n");
    ASSERT_TRUE(waitForStatus(FileStatus::Unreadable));
    for (int i = 0; i < 5; ++i)
        ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(complaints().size(), 1);
    EXPECT_TRUE(dataSource_->announcements().empty()) << "there is nothing new to show";

    test::FaultyReads::failFrom(4, EACCES);
    ASSERT_TRUE(waitFor([&] { return complaints().size() == 2; }));
    EXPECT_NE(complaints().front(), complaints().back()) << "does not say why";
    ASSERT_TRUE(waitForPoll());
    EXPECT_EQ(complaints().size(), 2);

    test::FaultyReads::failFrom(0, 0);
    ASSERT_TRUE(waitForStatus(FileStatus::Present));
    EXPECT_EQ(reader_->readLines(1, 100), (QStringList{u"one"_s, u"two"_s, u"three"_s, u""_s}));
    EXPECT_EQ(dataSource_->announcements(), (std::vector<Announcement>{{{1, 3}, false}}));
    EXPECT_EQ(statuses_, (Statuses{FileStatus::Unreadable, FileStatus::Present}));

    test::FaultyReads::failFrom(4 + 4 + 6, EIO);
    file.append("four\n");
    EXPECT_TRUE(waitForStatus(FileStatus::Unreadable)) << "it has come back";
    test::FaultyReads::failFrom(0, 0);
}

// Reading never mixes the places of one file's lines with the bytes of another.
TEST_P(LogFileObserverTest, LinesReadDuringRotationsAreLinesOfOneFile) {
    const TemporaryFile file(QByteArray("a\n").repeated(500));
    tail(file);
    for (int round = 0; round < 40; ++round) {
        const char letter = static_cast<char>('b' + round % 20);
        QByteArray line(1 + round % 7, letter);
        replaceByRename(file, (line + '\n').repeated(500));
        const QString wanted = QString::fromLatin1(line);
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
