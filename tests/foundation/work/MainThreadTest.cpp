#include "foundation/work/MainThread.h"

#include "support/Waiting.h"

#include <array>
#include <gtest/gtest.h>
#include <poll.h>
#include <vector>

namespace korvane {
namespace {

class MainThreadTest : public ::testing::Test {
protected:
    static bool isReadable() {
        pollfd polled{MainThread::shared().wakeDescriptor(), POLLIN, 0};
        return ::poll(&polled, 1, 0) == 1;
    }
    void post(int id) {
        MainThread::shared().post([this, id] { ran_.push_back(id); });
    }
    static void run() { MainThread::shared().runPending(); }

    std::vector<int> ran_;
};

TEST_F(MainThreadTest, ATaskThatPostsItselfAgainDoesNotHoldTheLoop) {
    int runs = 0;
    std::function<void()> again = [&] {
        if (++runs < 3)
            MainThread::shared().post(again);
    };
    MainThread::shared().post(again);
    run();
    EXPECT_EQ(runs, 1);
    EXPECT_TRUE(isReadable());
    run();
    run();
    EXPECT_EQ(runs, 3);
    EXPECT_FALSE(isReadable());
}

TEST_F(MainThreadTest, TasksRunInOrderWhenAskedAndAnEventLoopInsideOneIsWokenForTheRest) {
    EXPECT_FALSE(isReadable());
    MainThread::shared().post([this] {
        ran_.push_back(1);
        post(4);
        EXPECT_TRUE(isReadable());
        run();
        EXPECT_FALSE(isReadable());
        ran_.push_back(5);
    });
    post(2);
    post(3);
    EXPECT_TRUE(isReadable());
    EXPECT_TRUE(ran_.empty());
    run();
    EXPECT_EQ(ran_, (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST_F(MainThreadTest, PostsFromManyThreadsAllArriveEachThreadsInOrder) {
    constexpr int each = 2000;
    std::array<std::thread, 4> threads;
    std::array<int, 4> last{};
    for (int i = 0; i < 4; ++i) {
        threads.at(i) = std::thread([this, i] {
            for (int task = 1; task <= each; ++task)
                post(i * 10'000 + task);
        });
    }
    EXPECT_TRUE(test::waitFor([&] { return ran_.size() == threads.size() * each; }));
    for (auto& thread : threads)
        thread.join();
    for (const int id : ran_)
        EXPECT_EQ(id % 10'000, ++last.at(id / 10'000));
}

} // namespace
} // namespace korvane
