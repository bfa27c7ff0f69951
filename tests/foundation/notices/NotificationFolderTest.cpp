#include "foundation/notices/NotificationFolder.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace std::chrono_literals;
using Time = NotificationFolder::Time;

const QString ruleKey = QStringLiteral("rule");

UserNotification notification(qint64 line, const QString& key) {
    UserNotification made;
    made.subtitle = QString::number(line);
    made.userInfo = UserNotification::UserInfo{line, QStringLiteral("file:///x.log")};
    made.foldKey = key;
    return made;
}

/// A folded burst as "line+more".
std::string text(const NotificationFolder::Folded& folded) {
    EXPECT_EQ(folded.notification.subtitle, QString::number(folded.notification.userInfo->lineNum));
    return std::to_string(folded.notification.userInfo->lineNum) + "+" + std::to_string(folded.more);
}

class NotificationFolderTest : public ::testing::Test {
protected:
    /// Adds a notification; returns the one shown at once, or an empty text.
    std::string add(std::chrono::milliseconds time, qint64 line, const QString& key = ruleKey) {
        const auto folded = folder_.add(notification(line, key), start_ + time);
        return folded ? text(*folded) : "";
    }
    /// The notifications due at that time.
    std::string due(std::chrono::milliseconds time) {
        std::string all;
        for (const auto& folded : folder_.takeDue(start_ + time))
            all += text(folded);
        return all;
    }

    const Time start_ = Time() + 1h;
    NotificationFolder folder_;
};

TEST_F(NotificationFolderTest, ABurstShowsItsFirstAtOnceAndItsLastWhenTheSecondIsOver) {
    EXPECT_EQ(add(0ms, 4), "4+0");
    EXPECT_FALSE(folder_.nextDue());
    EXPECT_EQ(add(10ms, 5), "");
    EXPECT_EQ(add(999ms, 9), "");
    EXPECT_EQ(folder_.nextDue(), start_ + 1s);
    EXPECT_EQ(due(999ms), "");
    EXPECT_EQ(due(1000ms), "9+2");
    EXPECT_FALSE(folder_.nextDue());
    EXPECT_EQ(due(5000ms), "") << "shown once only";
}

TEST_F(NotificationFolderTest, AQuietSecondBeginsTheNextBurstAndALateTimerDoesNotSplitOne) {
    EXPECT_EQ(add(0ms, 1), "1+0");
    EXPECT_EQ(add(1000ms, 2), "2+0");
    EXPECT_EQ(add(1500ms, 3), "");
    EXPECT_EQ(due(2000ms), "3+1");
    EXPECT_EQ(add(2500ms, 4), "") << "within a second of what was shown";
    EXPECT_EQ(due(3000ms), "4+2");
    EXPECT_EQ(add(4000ms, 5), "5+0");
    EXPECT_EQ(add(4500ms, 6), "");
    EXPECT_EQ(add(5700ms, 7), "7+2");
    EXPECT_EQ(due(5700ms), "");
}

TEST_F(NotificationFolderTest, AStreamShowsOneASecondAndLosesNone) {
    std::vector<std::string> shown;
    for (int i = 0; i < 10'000; ++i) {
        for (const std::string& now : {add(i * 1ms, i), due(i * 1ms)})
            shown.insert(shown.end(), now.empty() ? 0 : 1, now);
    }
    EXPECT_EQ(shown.size(), 10U);
    EXPECT_EQ(due(10'000ms), "9999+9999");
}

TEST_F(NotificationFolderTest, KeysDoNotMixAndNoKeyIsNeverFolded) {
    const QString other = QStringLiteral("other");
    EXPECT_EQ(add(0ms, 1), "1+0");
    EXPECT_EQ(add(300ms, 2, other), "2+0");
    EXPECT_EQ(add(400ms, 3, other), "");
    EXPECT_EQ(add(500ms, 4), "");
    EXPECT_EQ(folder_.nextDue(), start_ + 1s) << "the earlier of the two";
    EXPECT_EQ(due(1000ms), "4+1");
    EXPECT_EQ(folder_.nextDue(), start_ + 1300ms);
    EXPECT_EQ(due(1300ms), "3+1");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(add(1300ms, 7, {}), "7+0");
}

} // namespace
} // namespace korvane
