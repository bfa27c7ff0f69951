#include "foundation/notices/Notice.h"

#include <gtest/gtest.h>

#include <optional>
#include <utility>

namespace korvane {
namespace {

class NoticeTest : public ::testing::Test {
protected:
    Subscription record(int id) {
        return notice_->subscribe([this, id](int payload) { heard_.emplace_back(id, payload); });
    }

    std::optional<Notice<int>> notice_{std::in_place, "Test"};
    std::vector<std::pair<int, int>> heard_;
};

TEST_F(NoticeTest, HandlersAreCalledInOrderWhileTheirSubscriptionsLive) {
    const auto first = record(1);
    auto second = record(2);
    { const auto ended = record(3); }
    notice_->post(7);
    second = Subscription();
    notice_->post(8);
    EXPECT_EQ(heard_, (std::vector<std::pair<int, int>>{{1, 7}, {2, 7}, {1, 8}}));
}

TEST_F(NoticeTest, AHandlerMayUnsubscribeLaterOnesAndItselfAndSubscribeOthers) {
    Subscription self;
    Subscription later;
    Subscription added;
    self = notice_->subscribe([&](int) {
        later = Subscription();
        added = record(7); // called at the next notice, not at this one
        self = Subscription();
    });
    later = record(2);
    notice_->post(1);
    EXPECT_TRUE(heard_.empty());
    notice_->post(2);
    EXPECT_EQ(heard_, (std::vector<std::pair<int, int>>{{7, 2}}));
}

TEST_F(NoticeTest, AHandlerMayPostAndDestroyTheNotice) {
    const auto outer = notice_->subscribe([&](int payload) {
        if (payload == 1)
            notice_->post(2);
        else
            notice_.reset();
    });
    const auto behind = record(5);
    notice_->post(1);
    EXPECT_EQ(heard_, (std::vector<std::pair<int, int>>{{5, 2}, {5, 1}}));
}

} // namespace
} // namespace korvane
