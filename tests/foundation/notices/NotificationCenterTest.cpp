#include "foundation/notices/NotificationCenter.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

const QString name = QStringLiteral("TestNotification");

class NotificationCenterTest : public ::testing::Test {
protected:
    NotificationToken record(int id) {
        return center_.observe(name, [this, id](const Notification&) { heard_.push_back(id); });
    }

    NotificationCenter center_;
    std::vector<int> heard_;
};

TEST_F(NotificationCenterTest, ObserversOfTheNameHearInOrderAndOthersDoNot) {
    const auto first = record(1);
    const auto other =
        center_.observe(QStringLiteral("Other"), [&](const Notification&) { heard_.push_back(99); });
    const auto second = record(2);
    center_.post(name);
    EXPECT_EQ(heard_, (std::vector<int>{1, 2}));
}

TEST_F(NotificationCenterTest, ObjectAndSenderArriveAsGiven) {
    int sender = 0;
    Notification got;
    const auto token = center_.observe(name, [&](const Notification& notification) { got = notification; });
    center_.post(name, std::make_shared<int>(5), &sender);
    EXPECT_EQ(got.name, name);
    EXPECT_EQ(*std::any_cast<std::shared_ptr<int>>(got.object), 5);
    EXPECT_EQ(got.sender, &sender);
}

TEST_F(NotificationCenterTest, AnObserverIsGoneWithItsToken) {
    const auto stays = record(1);
    { const auto goes = record(2); }
    center_.post(name);
    auto replaced = record(3);
    replaced = NotificationToken();
    center_.post(name);
    EXPECT_EQ(heard_, (std::vector<int>{1, 1}));
}

TEST_F(NotificationCenterTest, AnObserverRemovedByAnEarlierOneHearsNothing) {
    NotificationToken later;
    const auto earlier = center_.observe(name, [&](const Notification&) { later = NotificationToken(); });
    later = record(2);
    center_.post(name);
    EXPECT_TRUE(heard_.empty());
}

TEST_F(NotificationCenterTest, AnObserverMayRemoveItselfAndAddAnother) {
    NotificationToken self;
    NotificationToken added;
    self = center_.observe(name, [&](const Notification&) {
        self = NotificationToken();
        added = record(7); // hears the next one, not this
    });
    center_.post(name);
    EXPECT_TRUE(heard_.empty());
    center_.post(name);
    EXPECT_EQ(heard_, std::vector<int>{7});
}

TEST_F(NotificationCenterTest, PostingFromAHandlerDeliversAtOnce) {
    const QString inner = QStringLiteral("Inner");
    const auto innerToken = center_.observe(inner, [&](const Notification&) { heard_.push_back(2); });
    const auto outerToken = center_.observe(name, [&](const Notification&) {
        heard_.push_back(1);
        center_.post(inner);
        heard_.push_back(3);
    });
    center_.post(name);
    EXPECT_EQ(heard_, (std::vector<int>{1, 2, 3}));
}

} // namespace
} // namespace korvane
