#include "foundation/work/OperationQueue.h"
#include "support/Waiting.h"

#include <QObject>
#include <QPointer>
#include <gtest/gtest.h>
#include <latch>
#include <stdexcept>

namespace korvane {
namespace {

using namespace std::chrono_literals;

class TaskTest : public ::testing::Test {
protected:
    /// Waits until all queued work has ended and its handlers have run or been dropped.
    static void settle() { EXPECT_TRUE(test::settle(20s)); }

    OperationQueue queue_{"test", 1};
    std::shared_ptr<int> owner_ = std::make_shared<int>(0);
    std::weak_ptr<int> weak_ = owner_;
};

TEST_F(TaskTest, ResultsReachTheMainThreadInTheOrderOfTheWork) {
    std::vector<int> order;
    const auto mainThread = std::this_thread::get_id();
    for (int i = 0; i < 200; ++i) {
        queue_.run([i] { return i; }).then(weak_, [&](int result) {
            EXPECT_EQ(std::this_thread::get_id(), mainThread);
            order.push_back(result);
        });
    }
    bool isDone = false;
    const Task<void> late = queue_.run([] {});
    ASSERT_TRUE(test::waitFor([&] { return !late.isUnderWay(); }));
    late.then(weak_, [&] { isDone = true; }); // after the end
    settle();
    ASSERT_EQ(order.size(), 200U);
    EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));
    EXPECT_TRUE(isDone);
}

TEST_F(TaskTest, ADeadOwnerHearsNothingAndTheHandlerGoesOnTheMainThread) {
    std::latch release(2);
    const auto mainThread = std::this_thread::get_id();
    std::thread::id destroyedOn;
    std::shared_ptr<int> witness(new int(1), [&](int* value) {
        destroyedOn = std::this_thread::get_id();
        delete value;
    });
    auto* object = new QObject;
    bool ran = false;
    queue_.run([&] { release.arrive_and_wait(); }).then(weak_, [&ran, kept = witness] { ran = *kept == 1; });
    queue_.run([] {}).then(QPointer<QObject>(object), [&ran] { ran = true; });
    const std::weak_ptr<int> held = witness;
    witness.reset();
    EXPECT_FALSE(held.expired());
    owner_.reset();
    delete object;
    release.arrive_and_wait();
    settle();
    EXPECT_FALSE(ran);
    EXPECT_EQ(destroyedOn, mainThread);
}

TEST_F(TaskTest, ACancelStopsTheWorkAndHoldsEvenWhenTheResultIsOnItsWay) {
    bool delivered = false;
    const auto deliver = [&](bool) { delivered = true; };
    std::atomic<bool> isRunning{false};
    std::atomic<bool> waitingRan{false};
    const auto running = queue_.run([&](const std::stop_token& stop) {
        isRunning = true;
        while (!stop.stop_requested())
            std::this_thread::yield();
        return true;
    });
    running.then(weak_, deliver);
    const auto waiting = queue_.run([&] { return waitingRan = true; });
    waiting.then(weak_, deliver);
    ASSERT_TRUE(test::waitFor([&] { return isRunning.load(); }));
    waiting.cancel();
    running.cancel();
    settle();
    EXPECT_FALSE(waitingRan);

    const auto ended = queue_.run([] { return true; });
    ended.then(weak_, deliver);
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(20s));
    ended.cancel(); // posted, not delivered yet
    settle();
    EXPECT_FALSE(delivered);
}

TEST_F(TaskTest, AnExceptionIsAnErrorOfTheResultAndNeverTheEndOfTheProgram) {
    std::optional<Error> error;
    bool delivered = false;
    queue_.run([]() -> Result<int> { throw std::runtime_error("no room"); })
        .then(weak_, [&](const Result<int>& result) { error = result.error(); });
    queue_.run([]() -> int { throw std::runtime_error("no room"); }).then(weak_, [&](int) {
        delivered = true;
    });
    settle();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->userText, QStringLiteral("no room"));
    EXPECT_FALSE(delivered);
}

} // namespace
} // namespace korvane
