#include "remote/LineCount.h"

#include "core/reader/Pages.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

TEST(LineCountTest, AppendedLinesAreReportedOnceAndOnlyWhileTheFileIsFollowed) {
    LineCount count;
    const auto counted = [&](FileChange change, qint64 lines) {
        EXPECT_TRUE(count.take(lines, count.generation()));
        return count.takeAppended(change, lines, count.generation());
    };
    EXPECT_EQ(counted(FileChange::None, 10), LineRange{});
    count.followingBegan();
    EXPECT_EQ(counted(FileChange::Grown, 12), (LineRange{10, 2}));
    EXPECT_EQ(counted(FileChange::None, 15), LineRange{}) << "the next poll reports them";
    EXPECT_EQ(counted(FileChange::Grown, 16), (LineRange{12, 4}));
    EXPECT_EQ(counted(FileChange::None, 5), LineRange{}) << "another count has found fewer";
    EXPECT_EQ(counted(FileChange::Grown, 6), (LineRange{5, 1}));
    EXPECT_EQ(counted(FileChange::Grown, 4), (LineRange{0, 4})) << "fewer lines are another file";
    EXPECT_EQ(counted(FileChange::Replaced, 9), (LineRange{0, 9}));
    count.followingEnded();
    EXPECT_EQ(counted(FileChange::Grown, 20), LineRange{});
    count.followingBegan();
    EXPECT_EQ(counted(FileChange::Grown, 21), (LineRange{20, 1}));
    count.setReported(std::nullopt);
    EXPECT_EQ(counted(FileChange::Grown, 30), LineRange{}) << "nobody knows which of them are new";
}

TEST(LineCountTest, ACountOfAFileThatWasEmptiedMeansNothing) {
    LineCount count;
    const auto before = count.generation();
    EXPECT_TRUE(count.take(10, before));
    EXPECT_EQ(count.empty(), 10);
    EXPECT_FALSE(count.take(12, before));
    EXPECT_EQ(count.lines(), 0);
    EXPECT_EQ(count.takeAppended(FileChange::Grown, 12, before), LineRange{});
}

TEST(LineCountTest, TheFirstPageIsShownBeforeTheCountAndMissedLinesAreRequestedAgain) {
    LineCount count;
    EXPECT_TRUE(count.isWanted());
    EXPECT_TRUE(count.firstLinesShown(40));
    EXPECT_FALSE(count.firstLinesShown(30)) << "rows do not vanish again";
    const auto page = count.firstPageRead(100);
    ASSERT_TRUE(page);
    EXPECT_EQ(page->loaded, (LineRange{0, 100}));
    EXPECT_FALSE(count.firstPageRead(100));
    EXPECT_FALSE(count.isFresh());

    LineCount countedFirst;
    EXPECT_TRUE(countedFirst.take(2 * pages::size, countedFirst.generation())->isFirst);
    EXPECT_FALSE(countedFirst.firstLinesShown(40));
    EXPECT_EQ(countedFirst.firstPageRead(100)->missed, (LineRange{100, pages::size - 100}));

    count.giveUp();
    EXPECT_FALSE(count.isWanted());
    count.outdate();
    EXPECT_TRUE(count.isWanted());
}

} // namespace
} // namespace korvane
