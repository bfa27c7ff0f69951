#include "foundation/work/ScanPool.h"

#include "foundation/work/ScanQueue.h"
#include "support/Guarded.h"
#include "support/Waiting.h"

#include <gtest/gtest.h>
#include <latch>
#include <stdexcept>
#include <string>

namespace korvane {
namespace {

using Priority = ScanPool::Priority;

/// The steps of named scans, in the order in which they ran.
struct Steps {
    ScanPool::Step named(char name, int count) {
        return [this, name, left = count](const std::stop_token&) mutable {
            order.add(name);
            return --left > 0;
        };
    }
    test::Guarded<std::string> order;
};

/// Occupies one thread of the pool until it is released.
struct Holder {
    explicit Holder(ScanPool& pool)
        : scan(pool.start(Priority::Visible, [this](const std::stop_token&) {
              isHeld = true;
              released.wait();
              return false;
          })) {
        EXPECT_TRUE(test::waitFor([&] { return isHeld.load(); }));
    }

    std::latch released{1};
    std::atomic<bool> isHeld{false};
    ScanPool::Scan scan;
};

TEST(ScanPool, TheMostUrgentGoesFirstAndEqualsTakeTurns) {
    ScanPool pool(1);
    Steps steps;
    Holder holder(pool);
    const auto background = pool.start(Priority::Background, steps.named('b', 2));
    const auto one = pool.start(Priority::Requested, steps.named('1', 3));
    const auto two = pool.start(Priority::Requested, steps.named('2', 2));
    const auto visible = pool.start(Priority::Visible, steps.named('v', 2));
    auto raised = pool.start(Priority::Background, steps.named('r', 1));
    raised.setPriority(Priority::Visible);
    const auto broken = pool.start(
        Priority::Visible, [](const std::stop_token&) -> bool { throw std::runtime_error("broken"); });
    holder.released.count_down();
    EXPECT_TRUE(test::waitFor([&] { return !background.isUnderWay(); }));
    EXPECT_EQ(steps.order.get(), "vrv12121bb") << "an exception ends its scan only";
}

TEST(ScanPool, AsManyStepsRunAtOnceAsThereAreThreads) {
    ScanPool pool(3);
    std::latch threeAreRunning(3);
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    std::vector<ScanPool::Scan> scans;
    for (int i = 0; i < 20; ++i) {
        scans.push_back(
            pool.start(Priority::Background, [&, i, isFirst = true](const std::stop_token&) mutable {
                const int now = ++running;
                for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);)
                    ;
                if (i < 3 && std::exchange(isFirst, false))
                    threeAreRunning.arrive_and_wait(); // hangs unless three run at once
                --running;
                return false;
            }));
    }
    for (const ScanPool::Scan& scan : scans)
        EXPECT_TRUE(test::waitFor([&] { return !scan.isUnderWay(); }));
    EXPECT_EQ(most, 3);
}

TEST(ScanPool, ACancelTakesWhatWaitsAtOnceAndStopsWhatRuns) {
    ScanPool pool(1);
    std::atomic<int> steps{0};
    std::atomic<bool> wasAsked{false};
    auto running = pool.start(Priority::Background, [&](const std::stop_token& stop) {
        ++steps;
        while (!stop.stop_requested())
            std::this_thread::yield();
        wasAsked = true;
        return true; // more steps would follow
    });
    ASSERT_TRUE(test::waitFor([&] { return steps == 1; }));
    const auto held = std::make_shared<int>(1);
    {
        const auto waiting =
            pool.start(Priority::Visible, [&steps, held](const std::stop_token&) { return ++steps > 0; });
        EXPECT_TRUE(waiting.isUnderWay());
    }
    EXPECT_EQ(held.use_count(), 1) << "what waits is not released before its turn";
    running.cancel();
    EXPECT_TRUE(test::waitFor([&] { return !running.isUnderWay(); }));
    EXPECT_TRUE(wasAsked);
    EXPECT_EQ(steps, 1);
}

TEST(ScanPool, AThreadThatAFileSystemHoldsIsReplaced) {
    ScanPool pool(1);
    Holder holder(pool);
    Steps steps;
    const auto next = pool.start(Priority::Visible, steps.named('n', 2));
    EXPECT_TRUE(test::waitFor([&] { return !next.isUnderWay(); })) << "nothing but another scan helps it";
    Holder second(pool);
    const auto last = pool.start(Priority::Visible, steps.named('l', 1));
    EXPECT_TRUE(test::waitFor([&] { return !last.isUnderWay(); }));
    holder.released.count_down();
    second.released.count_down();
    EXPECT_TRUE(test::waitFor([&] { return !holder.scan.isUnderWay() && !second.scan.isUnderWay(); }));
}

/// Appends its name when it runs; the one named '!' throws.
struct NamedOperation : Operation {
    NamedOperation(char itsName, std::string& itsOrder) : name(itsName), order(itsOrder) {}
    void main() override {
        order += name;
        if (name == '!')
            throw std::runtime_error("broken");
    }
    const char name;
    std::string& order; // written by the pool's only thread
};

TEST(ScanQueue, TheOperationsOfAQueueKeepTheirOrderAndUrgentQueuesGoFirst) {
    ScanPool pool(1);
    Holder holder(pool);
    std::string order;
    ScanQueue behind("behind", pool, Priority::Background);
    ScanQueue inFront("in front", pool, Priority::Background);
    for (const char name : {'1', '2', '!', '3'})
        behind.addOperation(std::make_shared<NamedOperation>(name, order));
    for (const char name : {'a', 'b', 'c'})
        inFront.addOperation(std::make_shared<NamedOperation>(name, order));
    inFront.setPriority(Priority::Visible);
    behind.operations().at(1)->cancel();
    holder.released.count_down();
    ASSERT_TRUE(test::waitFor([&] { return behind.isEmpty() && inFront.isEmpty(); }));
    EXPECT_EQ(order, "abc1!3");
    behind.addOperation(std::make_shared<NamedOperation>('4', order));
    ASSERT_TRUE(test::waitFor([&] { return behind.isEmpty(); }));
    EXPECT_EQ(order, "abc1!34") << "a queue that had run empty goes on";
}

} // namespace
} // namespace korvane
