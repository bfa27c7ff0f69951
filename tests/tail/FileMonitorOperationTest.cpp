#include "tail/FileMonitorOperation.h"

#include "support/Guarded.h"
#include "support/PreferencesTest.h"
#include "support/Waiting.h"

#include <atomic>
#include <limits>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using test::waitFor;
using Sizes = std::vector<std::optional<std::uint64_t>>;
using Report = std::pair<std::uint64_t, std::uint64_t>;

/// Returns the prepared sizes, one per poll; the last one is repeated.
struct ScriptedMonitor : FileMonitorOperation {
    explicit ScriptedMonitor(Sizes all) : sizes(std::move(all)) {}
    std::optional<std::uint64_t> getFileSize() override {
        const std::size_t poll = polls++;
        return sizes[std::min(poll, sizes.size() - 1)];
    }
    const Sizes sizes;
    std::atomic<std::size_t> polls{0};
};

struct RecordingDelegate : FileMonitorOperationDelegate {
    void fileSizeChanged(std::uint64_t oldSize, std::uint64_t newSize) override {
        reports.add(Report(oldSize, newSize));
    }
    test::Guarded<std::vector<Report>> reports;
};

class FileMonitorOperationTest : public test::PreferencesTest {
protected:
    void SetUp() override { Preferences::shared().setPollingInterval(0.001); }
    void start(Sizes sizes) {
        monitor_ = std::make_shared<ScriptedMonitor>(std::move(sizes));
        monitor_->setDelegate(delegate_);
        queue_.addOperation(monitor_);
    }
    bool waitForPolls(std::size_t count) {
        return waitFor([&] { return monitor_->polls > count; });
    }

    std::shared_ptr<RecordingDelegate> delegate_ = std::make_shared<RecordingDelegate>();
    std::shared_ptr<ScriptedMonitor> monitor_;
    OperationQueue queue_{"monitors", 1};
};

TEST_F(FileMonitorOperationTest, EveryOtherSizeIsReportedOnceAndAnEqualOneNever) {
    const std::pair<Sizes, std::vector<Report>> cases[] = {
        {{0}, {}},
        {{0, 0, 7}, {{0, 7}}},
        {{5}, {{0, 5}}},
        {{5, 9, 9, 3, 0, 3}, {{0, 5}, {5, 9}, {9, 3}, {3, 0}, {0, 3}}},
    };
    for (const auto& [sizes, reports] : cases) {
        start(sizes);
        ASSERT_TRUE(waitForPolls(sizes.size() + 2));
        queue_.cancelAllOperations();
        queue_.waitUntilAllFinished();
        EXPECT_EQ(delegate_->reports.take(), reports);
    }
}

TEST_F(FileMonitorOperationTest, AFileThatCannotBeMeasuredEndsTheMonitor) {
    start({4, std::nullopt, 8});
    EXPECT_TRUE(waitFor([&] { return monitor_->isFinished(); }));
    EXPECT_EQ(monitor_->polls, 2U);
    EXPECT_EQ(delegate_->reports.take(), (std::vector<Report>{{0, 4}}));
}

TEST_F(FileMonitorOperationTest, TheIntervalIsTheSettingInMicrosecondsAndBeyondThirtyTwoBitsFatal) {
    const std::pair<double, std::chrono::microseconds> cases[] = {
        {2.0, 2s},        {0.0, 500ms},
        {-1.0, 500ms},    {std::numeric_limits<double>::quiet_NaN(), 500ms},
        {0.0000019, 1us}, {4294.967295, 4294967295us},
    };
    const ScriptedMonitor monitor({1});
    for (const auto& [setting, interval] : cases) {
        Preferences::shared().setPollingInterval(setting);
        EXPECT_EQ(monitor.pollingInterval(), interval) << setting;
    }
    ::testing::GTEST_FLAG(death_test_style) = "threadsafe";
    for (const double setting : {4294.967296, std::numeric_limits<double>::infinity()}) {
        Preferences::shared().setPollingInterval(setting);
        EXPECT_DEATH((void)ScriptedMonitor({1}).pollingInterval(), "polling interval") << setting;
    }
}

TEST_F(FileMonitorOperationTest, AnotherIntervalHoldsFromTheNextSleepOn) {
    start({1});
    ASSERT_TRUE(waitForPolls(3));
    Preferences::shared().setPollingInterval(3600);
    // The sleep under way is still short, and the next one may be, if its length was already read.
    std::size_t seen = 0;
    ASSERT_TRUE(waitFor([&] {
        const std::size_t before = std::exchange(seen, monitor_->polls.load());
        return !waitFor([&] { return monitor_->polls != before; }, 100ms) && seen == before;
    }));
    EXPECT_TRUE(monitor_->isExecuting());
}

} // namespace
} // namespace korvane
