#include "foundation/MainThread.h"

#include "support/Waiting.h"

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

TEST_F(MainThreadTest, TasksRunInOrderAndOnlyWhenAsked) {
    EXPECT_FALSE(isReadable());
    post(1);
    post(2);
    EXPECT_TRUE(isReadable());
    EXPECT_TRUE(ran_.empty());
    run();
    EXPECT_EQ(ran_, (std::vector<int>{1, 2}));
    EXPECT_FALSE(isReadable());
}

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

TEST_F(MainThreadTest, AnEventLoopInsideATaskIsWokenForTheRestInOrder) {
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
    run();
    EXPECT_EQ(ran_, (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST_F(MainThreadTest, PostsFromManyThreadsAllArriveEachThreadsInOrder) {
    constexpr int each = 2000;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < each; ++i)
                post(thread * each + i);
        });
    }
    EXPECT_TRUE(test::waitFor([&] { return ran_.size() == 4 * each; }));
    for (auto& thread : threads)
        thread.join();
    std::vector<int> last(4, -1);
    for (const int id : ran_) {
        EXPECT_GT(id, last[static_cast<std::size_t>(id / each)]);
        last[static_cast<std::size_t>(id / each)] = id;
    }
}

} // namespace
} // namespace korvane
