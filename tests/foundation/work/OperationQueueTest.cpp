#include "foundation/work/OperationQueue.h"

#include "support/Waiting.h"

#include <gtest/gtest.h>
#include <latch>
#include <pthread.h>
#include <thread>

namespace korvane {
namespace {

using namespace std::chrono_literals;

class TestOperation : public Operation {
public:
    explicit TestOperation(std::function<void(TestOperation&)> body) : body_(std::move(body)) {}
    using Operation::sleepFor;

protected:
    void main() override { body_(*this); }

private:
    std::function<void(TestOperation&)> body_;
};

std::shared_ptr<TestOperation> operation(std::function<void(TestOperation&)> body) {
    return std::make_shared<TestOperation>(std::move(body));
}

TEST(OperationQueue, AsManyRunAtOnceAsAllowedAndNoMore) {
    OperationQueue queue("test", 3);
    std::latch threeAreRunning(3);
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    for (int i = 0; i < 60; ++i) {
        queue.addOperation(operation([&, i](TestOperation&) {
            const int now = ++running;
            for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);)
                ;
            if (i < 3)
                threeAreRunning.arrive_and_wait(); // hangs unless three run at once
            --running;
        }));
    }
    queue.waitUntilAllFinished();
    EXPECT_EQ(most, 3);
}

TEST(OperationQueue, CancellingWakesASleeperAndRunsItsCompletion) {
    OperationQueue queue("test", 1);
    const auto sleeper = operation([](TestOperation& self) {
        while (!self.isCancelled())
            self.sleepFor(1h);
    });
    std::atomic<bool> finishedBeforeCompletion{false};
    sleeper->setCompletion([&] { finishedBeforeCompletion = sleeper->isFinished(); });
    queue.addOperation(sleeper);
    ASSERT_TRUE(test::waitFor([&] { return sleeper->isExecuting(); }));
    queue.cancelAllOperations();
    queue.waitUntilAllFinished();
    EXPECT_TRUE(finishedBeforeCompletion);

    // The sleep of a cancelled operation ends at once.
    const auto asleep = operation([](TestOperation& self) { self.sleepFor(1h); });
    asleep->cancel();
    asleep->runBody();
}

TEST(OperationQueue, DestroyingTheQueueNeitherWaitsNorLosesACompletion) {
    std::latch release(1);
    std::atomic<int> completed{0};
    std::atomic<bool> waitingRan{false};
    auto queue = std::make_unique<OperationQueue>("test", 1);
    const auto stubborn = operation([&](TestOperation&) { release.wait(); });
    stubborn->setCompletion([&] { ++completed; });
    const auto waiting = operation([&](TestOperation&) { waitingRan = true; });
    waiting->setCompletion([&] { ++completed; });
    queue->addOperation(stubborn);
    queue->addOperation(waiting);
    ASSERT_TRUE(test::waitFor([&] { return stubborn->isExecuting(); }));
    queue.reset(); // would hang here if it waited
    EXPECT_TRUE(stubborn->isCancelled());
    EXPECT_FALSE(OperationQueue::waitForAllWorkers(0ms));
    release.count_down();
    EXPECT_TRUE(OperationQueue::waitForAllWorkers(20s));
    EXPECT_EQ(completed, 2);
    EXPECT_FALSE(waitingRan);
}

TEST(OperationQueue, WhatALibraryKeepsForAThreadIsClearedUpBeforeTheEnd) {
    static std::atomic<int> cleared;
    cleared = 0;
    pthread_key_t key{};
    const auto clearSlowly = [](void*) {
        std::this_thread::sleep_for(30ms);
        ++cleared;
    };
    ASSERT_EQ(::pthread_key_create(&key, clearSlowly), 0);
    {
        OperationQueue queue("test", 3);
        for (int i = 0; i < 3; ++i)
            queue.addOperation(operation([&](TestOperation&) { ::pthread_setspecific(key, &cleared); }));
        ASSERT_TRUE(OperationQueue::waitForAllWorkers(20s));
        // The three operations may have shared threads.
        const int clearedByThen = cleared;
        EXPECT_GE(clearedByThen, 1);
        std::this_thread::sleep_for(100ms);
        EXPECT_EQ(cleared, clearedByThen) << "a thread was still there";
    }
    ::pthread_key_delete(key);
}

TEST(OperationQueue, AnOperationAddsAnotherAndIsReleasedWithWhatItOwns) {
    OperationQueue queue("test", 1);
    std::atomic<bool> ran{false};
    const auto owned = std::make_shared<int>(1);
    auto owner = operation([&queue, &ran, owned](TestOperation&) {
        queue.addOperation(operation([&](TestOperation&) { ran = true; }));
    });
    owner->setCompletion([owner] {}); // a reference cycle, unless the completion is released
    queue.addOperation(std::move(owner));
    EXPECT_TRUE(test::waitFor([&] { return ran && owned.use_count() == 1; }));
    queue.waitUntilAllFinished();
}

} // namespace
} // namespace korvane
