#include "core/TailDataSourceProtocol.h"
#include "core/search/SearchItem.h"
#include "documents/LocalDocument.h"
#include "foundation/FilePath.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "support/PreferencesTest.h"
#include "support/RecordingNotificationCenter.h"
#include "support/TemporaryFile.h"
#include "support/Waiting.h"
#include "tail/FollowedDataSource.h"
#include "tail/LogFileObserver.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <iterator>
#include <map>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using test::TemporaryFile;
using test::waitFor;

/// Whole documents on real files, with nobody looking at their rows unless a test does.
class AppendedNotificationsTest : public test::PreferencesTest {
protected:
    AppendedNotificationsTest() {
        Preferences::shared().setPollingInterval(0.002);
        FiltersManager::setShared(std::move(FiltersManager::load(stores_.path()).value()));
        FilterRulesMemento::setShared(std::move(FilterRulesMemento::load(stores_.path()).value()));
    }
    ~AppendedNotificationsTest() override {
        document_->close();
        FiltersManager::setShared(nullptr);
        FilterRulesMemento::setShared(nullptr);
    }

    static void addRule(const TemporaryFile& file, const QString& text) {
        const auto rule = std::make_shared<FilterRule>(
            false, std::make_shared<SearchItem>(text),
            std::make_shared<HighlightRule>(false, false, false, Qt::red, Qt::white),
            std::make_shared<NotificationRule>(true, false, Frequency::Always));
        FiltersManager::shared().addRule(rule);
        FilterRulesMemento::shared().addActiveRule(rule->id(), absoluteString(file.url()));
    }
    void follow(const TemporaryFile& file) {
        ASSERT_TRUE(document_->readFromUrl(file.url()));
        document_->startTailingWhenLoaded();
        document_->startLoading();
        ASSERT_TRUE(waitFor([&] { return document_->logFileObserver()->isTailing(); }));
    }
    /// One-based numbers of the lines told of.
    std::vector<qint64> told() const {
        std::vector<qint64> lines;
        for (const UserNotification& notification : center_.delivered)
            lines.push_back(notification.userInfo->lineNum);
        return lines;
    }
    /// Until these have been told of, and then that nothing else is.
    bool waitForTold(const std::vector<qint64>& lines) {
        if (!waitFor([&] { return told().size() >= lines.size(); }))
            return false;
        const auto source = std::dynamic_pointer_cast<FollowedDataSource>(document_->dataSource());
        // What the wait itself delivers last is run by the next.
        const bool allPassed = waitFor([&] { return source->letArrivedLinesPass(); });
        MainThread::shared().runPending();
        return allPassed && told() == lines;
    }
    using Lines = std::vector<qint64>;

    QTemporaryDir stores_;
    test::RecordingNotificationCenter center_;
    std::shared_ptr<LocalDocument> document_ = LocalDocument::create();
};

TEST_F(AppendedNotificationsTest, OnlyLinesThatArriveAreToldOfThoughNoPageOfThemIsRead) {
    // The first page is read when a file is opened, whether or not anyone looks at it.
    const TemporaryFile file(QByteArray("quiet\n").repeated(6000) + "error: of old\n");
    addRule(file, u"error"_s);
    follow(file);
    file.append(QByteArray("quiet\n").repeated(11'000) + "an error\n" + "quiet\n" + "Error");
    EXPECT_TRUE(waitForTold({17'002, 17'004})) << testing::PrintToString(told());
    file.append(" and its end\nerror\n");
    EXPECT_TRUE(waitForTold({17'002, 17'004, 17'005})) << testing::PrintToString(told());
}

TEST_F(AppendedNotificationsTest, AReloadDuringTheFirstLoadTellsOfNothingThatWasThere) {
    const TemporaryFile file(QByteArray("quiet\n").repeated(2'000'000) + "error: of old\n");
    addRule(file, u"error"_s);
    ASSERT_TRUE(document_->readFromUrl(file.url()));
    document_->startTailingWhenLoaded();
    document_->startLoading();
    document_->reload();
    ASSERT_TRUE(waitFor([&] { return document_->logFileObserver()->isTailing(); }));
    file.append("error\n");
    EXPECT_TRUE(waitForTold({2'000'002})) << testing::PrintToString(told());
}

TEST_F(AppendedNotificationsTest, ALineThatIsAlsoLookedAtIsToldOfOnce) {
    const TemporaryFile file("quiet\n");
    addRule(file, u"error"_s);
    follow(file);
    Lines expected;
    for (qint64 line = 2; line < 200; ++line) {
        file.append("error\n");
        expected.push_back(line);
        ASSERT_TRUE(waitFor([&] {
            document_->dataSource()->rowLine(line - 2);
            return told().size() >= expected.size();
        }));
    }
    EXPECT_TRUE(waitFor([&] { return document_->dataSource()->rowLine(198).isLoaded; }));
    EXPECT_TRUE(waitForTold(expected)) << testing::PrintToString(told());
}

TEST_F(AppendedNotificationsTest, TheLastLinesBeforeARotationAndTheFirstOnesAfterItAreToldOf) {
    const TemporaryFile file("quiet\n");
    addRule(file, u"error"_s);
    follow(file);
    Lines expected;
    for (int round = 0; round < 30; ++round) {
        const TemporaryFile next("error: begins\nquiet\n");
        file.append("quiet\nerror: " + QByteArray(round % 2 ? "ends" : "ends\n"));
        ASSERT_EQ(::rename(next.path().constData(), file.path().constData()), 0);
        expected.insert(expected.end(), {round == 0 ? 3 : 4, 1});
        ASSERT_TRUE(waitForTold(expected)) << testing::PrintToString(told());
    }
}

TEST_F(AppendedNotificationsTest, WhatIsWrittenAnewIsToldOfAgain) {
    const TemporaryFile file("quiet\n");
    addRule(file, u"error"_s);
    follow(file);
    file.append("error\n");
    ASSERT_TRUE(waitForTold({2}));
    ASSERT_TRUE(waitFor([&] { return document_->dataSource()->rowLine(1).isLoaded; }));
    file.truncate(0);
    ASSERT_TRUE(waitFor([&] { return document_->dataSource()->numberOfRows() == 1; }));
    file.append("quiet\nerror\n");
    EXPECT_TRUE(waitForTold({2, 2})) << testing::PrintToString(told());
}

TEST_F(AppendedNotificationsTest, WhatComesWhileNotFollowingIsNotToldOfLater) {
    const TemporaryFile file("quiet\n");
    addRule(file, u"error"_s);
    follow(file);
    document_->stopTailing();
    ASSERT_TRUE(waitFor([&] { return !document_->logFileObserver()->isTailing(); }));
    file.append("error\n");
    document_->startTailingWhenLoaded();
    ASSERT_TRUE(waitFor([&] { return document_->dataSource()->rowCount() == 3; }));
    document_->stopTailing(); // the look that found the line ends
    ASSERT_TRUE(waitFor([&] { return !document_->logFileObserver()->isTailing(); }));
    EXPECT_TRUE(waitForTold({})) << testing::PrintToString(told());
}

// However much arrives, and however much of it is found: every line is told of, once and in order.
TEST_F(AppendedNotificationsTest, AFloodIsToldOfInOrder) {
    const TemporaryFile file("quiet\n");
    addRule(file, u"error"_s);
    addRule(file, u"1"_s);
    follow(file);
    std::map<QString, Lines> expected;
    qint64 line = 1;
    for (int burst = 0; burst < 20; ++burst) {
        QByteArray added;
        for (int i = 0; i < 1500; ++i) {
            ++line;
            const QByteArray text = (line % 3 ? "error " : "quiet ") + QByteArray::number(line);
            added += text + '\n';
            if (line % 3)
                expected[u"Rule 'error' matched"_s].push_back(line);
            if (text.contains('1'))
                expected[u"Rule '1' matched"_s].push_back(line);
        }
        file.append(added);
        MainThread::shared().runPending();
    }
    const std::size_t count = expected.begin()->second.size() + std::next(expected.begin())->second.size();
    ASSERT_TRUE(waitFor([&] { return center_.delivered.size() >= count; }));
    std::map<QString, Lines> got;
    for (const UserNotification& notification : center_.delivered)
        got[notification.title].push_back(notification.userInfo->lineNum);
    EXPECT_TRUE(got == expected) << center_.delivered.size() << " of " << count;
}

} // namespace
} // namespace korvane
