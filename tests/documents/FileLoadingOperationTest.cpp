#include "documents/FileLoadingOperation.h"

#include "core/RowsUpdatedNotificationObject.h"
#include "documents/LoadProgressController.h"
#include "documents/RowsTest.h"
#include "foundation/work/ScanQueue.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::FakeReader;
using test::waitFor;
using State = LoadProgressController::State;
using Clock = std::chrono::steady_clock;
using Ranges = std::vector<LineRange>;

class FileLoadingOperationTest : public test::RowsTest {
protected:
    FileLoadingOperationTest() {
        open(1);
        subscription_ =
            document_->notices().rowsUpdated.subscribe([this](const RowsUpdatedNotificationObject& update) {
                EXPECT_EQ(update.doc.lock(), document_);
                updates_.push_back(update.idx);
                if (update.isOtherContent)
                    otherContents_.push_back(update.idx);
            });
    }
    ~FileLoadingOperationTest() override { scanGate_.open(); }

    void start(FileLoadingOperation::Start start = FileLoadingOperation::Start::AtLastScan) {
        operation_ = std::make_shared<FileLoadingOperation>(reader_, source_, progress_, start);
        queue_.addOperation(operation_);
    }
    /// Starts a scan that publishes the next of `counts` after each block, and then passes the gate.
    void startScan(const std::vector<qint64>& counts) {
        reader_->scan = [this, counts](FakeReader& reader) {
            for (const qint64 count : counts) {
                publish(reader, count);
                scanGate_.pass();
            }
            return LineRange{0, counts.back()};
        };
        start();
    }
    bool finish() {
        scanGate_.open();
        const bool ended = waitFor([this] { return queue_.isEmpty(); });
        MainThread::shared().runPending();
        return ended;
    }
    bool waitForUpdate() {
        return waitFor([this] { return !updates_.empty(); });
    }
    qint64 updatedUpTo() const { return updates_.back().location + updates_.back().length; }
    /// Publishes the count and reports one block as read, as a reader does.
    static void publish(FakeReader& reader, qint64 lineCount) {
        reader.setLineCount(lineCount);
        for (int step = 0; step < 512; ++step)
            reader.delegate()->readerDidReadBytes(2048);
    }

    test::Gate scanGate_;
    std::shared_ptr<LoadProgressController> progress_ = std::make_shared<LoadProgressController>(u"a.log"_s);
    Ranges updates_;
    /// The updates that announced a new file generation.
    Ranges otherContents_;
    Subscription subscription_;
    OperationQueue queue_{"Test queue", 1};
    std::shared_ptr<FileLoadingOperation> operation_;
};

TEST_F(FileLoadingOperationTest, TheFirstLinesAreKnownWhileTheScanGoesOn) {
    scanGate_.shut();
    startScan({8000, 20'000});
    ASSERT_TRUE(waitForUpdate());
    EXPECT_EQ(updates_.front(), (LineRange{0, 8000}));
    EXPECT_EQ(progress_->state(), State::Loading);
    EXPECT_EQ(progress_->totalBytes(), 1000U);
    operation_->firstScreenShown();
    EXPECT_TRUE(waitFor([this] { return progress_->readBytes() == 512U * 2048; }));
    ASSERT_TRUE(finish());
    EXPECT_GE(updates_.back().location, 7999) << "pages already shown are read again";
    EXPECT_EQ(updatedUpTo(), 20'000);
    EXPECT_EQ(progress_->state(), State::Completed);
    EXPECT_EQ(reader_->delegate(), nullptr);
}

// The main thread runs nothing during this scan, so one notification has to cover it all.
TEST_F(FileLoadingOperationTest, ManyNewLinesGiveOneWaitingNotification) {
    reader_->scan = [](FakeReader& reader) {
        const auto end = Clock::now() + 150ms;
        qint64 count = 1;
        while (Clock::now() < end)
            publish(reader, count += 10);
        return LineRange{0, count};
    };
    start();
    queue_.waitUntilAllFinished();
    MainThread::shared().runPending();
    EXPECT_EQ(updates_, (Ranges{{0, reader_->lineCount()}}));
}

TEST_F(FileLoadingOperationTest, NotificationsComeAtMostThirtyTimesASecond) {
    std::atomic<std::size_t> told{0};
    const auto begin = Clock::now();
    reader_->scan = [&](FakeReader& reader) {
        qint64 count = 1;
        // Enough even if the main thread seldom runs.
        while (Clock::now() < begin + (told > 2 ? 300ms : 15s))
            publish(reader, count += 10);
        return LineRange{0, count};
    };
    start();
    EXPECT_TRUE(waitFor([&] {
        told = updates_.size();
        return queue_.isEmpty();
    }));
    ASSERT_TRUE(finish());
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    EXPECT_LE(static_cast<double>(updates_.size()), seconds * 30 + 2);
    EXPECT_GT(updates_.size(), 2U);
    for (std::size_t i = 1; i < updates_.size(); ++i)
        EXPECT_EQ(updates_[i].location, updates_[i - 1].location + updates_[i - 1].length - 1);
}

TEST_F(FileLoadingOperationTest, AResultIsAlwaysAnnouncedAndNoResultNever) {
    const std::tuple<qint64, qint64, LineRange, Ranges> cases[] = {
        {1, 1, {0, 1}, {{0, 1}}},     // one line without an end
        {1, 1, {0, 0}, {}},           // an empty file
        {10, 10, {9, 1}, {{9, 1}}},   // the last line grew
        {10, 12, {9, 3}, {{9, 3}}},   // lines were added
        {10, 4, {0, 4}, {{0, 4}}},    // truncated
        {10, 10, {0, 10}, {{0, 10}}}, // truncated and written again
        {10, 15, {0, 0}, {{9, 6}}},   // a cancelled scan had found some of them
    };
    for (const auto& [before, after, result, expected] : cases) {
        SCOPED_TRACE(::testing::Message() << before << " to " << after << ", from " << result.location);
        updates_.clear();
        reader_->setLineCount(before);
        reader_->scan = [after = after, result = result](FakeReader& reader) {
            reader.setLineCount(after);
            return result;
        };
        start();
        ASSERT_TRUE(finish());
        EXPECT_EQ(updates_, expected);
    }
}

TEST_F(FileLoadingOperationTest, AContentThatIsReplacedDuringTheScanIsAnnouncedFromItsFirstLine) {
    reader_->scan = [](FakeReader& reader) {
        publish(reader, 500);
        reader.delegate()->readerDidForgetLines();
        publish(reader, 500);
        return LineRange{0, 500};
    };
    start();
    ASSERT_TRUE(finish());
    EXPECT_EQ(otherContents_, (Ranges{{0, 500}}));
}

TEST_F(FileLoadingOperationTest, ACancelStopsTheScanAndKeepsItsLines) {
    reader_->scan = [](FakeReader& reader) {
        while (!reader.isScanCancelled())
            publish(reader, 500);
        return LineRange{0, 0};
    };
    start();
    ASSERT_TRUE(waitForUpdate());
    operation_->cancel();
    ASSERT_TRUE(finish());
    EXPECT_EQ(progress_->statusText(), u"Canceled!"_s);
    EXPECT_EQ(updates_, (Ranges{{0, 500}}));
    EXPECT_FALSE(reader_->isCancelled()) << "the lines found can no longer be read";
}

TEST_F(FileLoadingOperationTest, AScanThatBreaksSaysWhyAndTheNextOneRuns) {
    reader_->scan = [](FakeReader& reader) -> LineRange {
        publish(reader, 500);
        throw std::bad_alloc();
    };
    start();
    ASSERT_TRUE(finish());
    EXPECT_EQ(progress_->state(), State::Failed);
    EXPECT_TRUE(progress_->fault().startsWith(u"Not enough memory to read “a.log”."_s));
    EXPECT_EQ(updates_.back(), (LineRange{0, 500}));
    startScan({500});
    EXPECT_TRUE(finish());
    EXPECT_TRUE(operation_->isFinished());
}

TEST_F(FileLoadingOperationTest, AScanThatNeverStartedReportsItsCancelToo) {
    scanGate_.shut();
    startScan({1});
    progress_ = std::make_shared<LoadProgressController>(u"%1"_s);
    start();
    EXPECT_EQ(progress_->statusText(), u"Loading file [%1]"_s);
    operation_->cancel();
    ASSERT_TRUE(finish());
    EXPECT_EQ(progress_->state(), State::Canceled);
    EXPECT_EQ(progress_->elapsed().count(), 0);
}

TEST_F(FileLoadingOperationTest, StartingAtTheFirstByteAnnouncesTheForgottenLines) {
    reader_->setLineCount(5000);
    scanGate_.shut();
    reader_->scan = [this](FakeReader& reader) {
        scanGate_.pass();
        publish(reader, 6000);
        return LineRange{0, 6000};
    };
    start(FileLoadingOperation::Start::AtFirstByte);
    ASSERT_TRUE(waitForUpdate());
    EXPECT_EQ(updates_.front(), (LineRange{0, 1}));
    ASSERT_TRUE(finish());
    EXPECT_EQ(updatedUpTo(), 6000);
}

TEST_F(FileLoadingOperationTest, AScanThatOthersWaitForYieldsToThemAndGoesOn) {
    constexpr int slices = 3;
    // Would never end if it did not yield.
    reader_->scan = [slice = 0](FakeReader& reader) mutable {
        const qint64 before = reader.lineCount();
        ++slice;
        do
            publish(reader, 1000 * slice);
        while (slice <= slices && !reader.isScanCancelled());
        return LineRange{before - 1, 1000 * slice - before + 1};
    };
    ScanPool pool(1);
    ScanQueue queue("Test scans", pool, ScanPool::Priority::Background);
    operation_ = std::make_shared<FileLoadingOperation>(reader_, source_, progress_);
    operation_->setShown(false);
    queue.addOperation(operation_);
    std::vector<qint64> seenByOthers;
    const auto other = pool.start(ScanPool::Priority::Background, [&](const std::stop_token&) {
        if (progress_->state() == State::Loading)
            seenByOthers.push_back(reader_->lineCount());
        return !operation_->isFinished();
    });
    ASSERT_TRUE(waitFor([&] { return queue.isEmpty() && !other.isUnderWay(); }));
    EXPECT_EQ(seenByOthers, (std::vector<qint64>{1000, 2000, 3000}));
    EXPECT_EQ(progress_->state(), State::Completed);
    MainThread::shared().runPending();
    ASSERT_FALSE(updates_.empty());
    EXPECT_EQ(updatedUpTo(), 4000);
}

TEST_F(FileLoadingOperationTest, NothingIsPostedOnceTheDataSourceIsClosed) {
    startScan({500});
    queue_.waitUntilAllFinished();
    source_->close();
    MainThread::shared().runPending();
    EXPECT_EQ(updates_, Ranges{});
}

TEST_F(FileLoadingOperationTest, TheFirstEndOfALoadHoldsAndStopsTheClock) {
    progress_->readerDidStart(10);
    EXPECT_TRUE(waitFor([&] { return progress_->elapsed().count() >= 2; }));
    progress_->readerDidCancel();
    progress_->readerDidFinish();
    EXPECT_EQ(progress_->state(), State::Canceled);
    const auto elapsed = progress_->elapsed();
    const auto begin = Clock::now();
    EXPECT_TRUE(waitFor([&] { return Clock::now() - begin > 3ms; }));
    EXPECT_EQ(progress_->elapsed(), elapsed);
}

} // namespace
} // namespace korvane
