#include "foundation/notices/NotificationFolder.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using Time = NotificationFolder::Time;

const QString ruleKey = QStringLiteral("rule");

UserNotification notification(qint64 line, const QString& key = ruleKey) {
    UserNotification made;
    made.subtitle = QString::number(line);
    made.userInfo = UserNotification::UserInfo{line, QStringLiteral("file:///x.log")};
    made.foldKey = key;
    return made;
}

/// "line+more", what a burst comes to.
std::string text(const NotificationFolder::Folded& folded) {
    EXPECT_EQ(folded.notification.subtitle, QString::number(folded.notification.userInfo->lineNum));
    return std::to_string(folded.notification.userInfo->lineNum) + "+" + std::to_string(folded.more);
}

std::string text(const std::optional<NotificationFolder::Folded>& folded) {
    return folded ? text(*folded) : "";
}

class NotificationFolderTest : public ::testing::Test {
protected:
    std::string dueAt(std::chrono::milliseconds time) {
        std::string all;
        for (const auto& folded : folder_.takeDue(start_ + time))
            all += text(folded) + ' ';
        return all;
    }

    const Time start_ = Time() + 1h;
    NotificationFolder folder_;
};

TEST_F(NotificationFolderTest, ABurstShowsItsFirstAtOnceAndItsLastWhenTheSecondIsOver) {
    EXPECT_EQ(text(folder_.add(notification(4), start_)), "4+0");
    EXPECT_FALSE(folder_.nextDue());
    EXPECT_EQ(text(folder_.add(notification(5), start_ + 10ms)), "");
    EXPECT_EQ(text(folder_.add(notification(9), start_ + 999ms)), "");
    EXPECT_EQ(folder_.nextDue(), start_ + 1s);
    EXPECT_EQ(dueAt(999ms), "");
    EXPECT_EQ(dueAt(1000ms), "9+2 ");
    EXPECT_FALSE(folder_.nextDue());
    EXPECT_EQ(dueAt(5000ms), "") << "shown once only";
}

TEST_F(NotificationFolderTest, AQuietSecondBeginsAnew) {
    EXPECT_EQ(text(folder_.add(notification(1), start_)), "1+0");
    EXPECT_EQ(text(folder_.add(notification(2), start_ + 1s)), "2+0");
    EXPECT_EQ(text(folder_.add(notification(3), start_ + 1500ms)), "");
    EXPECT_EQ(dueAt(2000ms), "3+1 ");
    EXPECT_EQ(text(folder_.add(notification(4), start_ + 2500ms)), "") << "within a second of what was shown";
    EXPECT_EQ(dueAt(3000ms), "4+2 ");
    EXPECT_EQ(text(folder_.add(notification(5), start_ + 4000ms)), "5+0");
}

TEST_F(NotificationFolderTest, AStreamShowsOneASecondAndLosesNone) {
    int shown = 0;
    std::string last;
    const auto note = [&](const std::string& now) { now.empty() ? 0 : (++shown, last = now, 0); };
    for (int i = 0; i < 10'000; ++i) {
        const Time now = start_ + i * 1ms;
        note(text(folder_.add(notification(i), now)));
        for (const auto& folded : folder_.takeDue(now))
            note(text(folded));
    }
    EXPECT_EQ(shown, 10);
    EXPECT_EQ(dueAt(10'000ms), "9999+9999 ");
}

TEST_F(NotificationFolderTest, ALateTimerDoesNotSplitTheBurst) {
    folder_.add(notification(1), start_);
    folder_.add(notification(2), start_ + 500ms);
    EXPECT_EQ(text(folder_.add(notification(3), start_ + 1700ms)), "3+2");
    EXPECT_EQ(dueAt(1700ms), "");
}

TEST_F(NotificationFolderTest, KeysDoNotMixAndNoKeyIsNeverFolded) {
    const QString other = QStringLiteral("other");
    EXPECT_EQ(text(folder_.add(notification(1), start_)), "1+0");
    EXPECT_EQ(text(folder_.add(notification(2, other), start_ + 300ms)), "2+0");
    EXPECT_EQ(text(folder_.add(notification(3, other), start_ + 400ms)), "");
    EXPECT_EQ(text(folder_.add(notification(4), start_ + 500ms)), "");
    EXPECT_EQ(folder_.nextDue(), start_ + 1s) << "the earlier of the two";
    EXPECT_EQ(dueAt(1000ms), "4+1 ");
    EXPECT_EQ(folder_.nextDue(), start_ + 1300ms);
    EXPECT_EQ(dueAt(1300ms), "3+1 ");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(text(folder_.add(notification(7, {}), start_ + 1300ms)), "7+0");
}

} // namespace
} // namespace korvane
