#include "core/RowMap.h"

#include "core/DerivedLineSet.h"

#include <gtest/gtest.h>
#include <random>

namespace korvane {
namespace {

LineSet runsOf(const LineSet& set, qint64 lineCount) {
    DerivedLineSet starts(
        [](std::span<const DerivedLineSet::Window> inputs) { return runStarts(inputs[0]); });
    return starts.update({&set, 1}, lineCount);
}

/// Walks through all lines, and compares every answer with what was counted on the way.
void expectRows(const RowMap& map, const std::vector<bool>& isShown, RowMap::Gaps gaps) {
    const auto count = static_cast<qint64>(isShown.size());
    ASSERT_EQ(map.rowCount(), count);
    ASSERT_EQ(map.shownRowCount(), std::ranges::count(isShown, true));
    qint64 position = -1;
    qint64 gapBegin = 0;
    const auto endGap = [&](qint64 end, qint64 gapPosition) {
        for (qint64 row = gapBegin; row < end; ++row) {
            EXPECT_EQ(map.gapAt(row), (RowMap::Gap{gapBegin, end - gapBegin}));
            EXPECT_EQ(map.positionOf(row),
                      std::clamp<qint64>(gapPosition, 0, std::max<qint64>(map.count() - 1, 0)));
            EXPECT_EQ(map.nextShown(row), end < count ? std::optional(end) : std::nullopt);
            EXPECT_EQ(map.previousShown(row), gapBegin > 0 ? std::optional(gapBegin - 1) : std::nullopt);
        }
    };
    for (qint64 row = 0; row < count; ++row) {
        ASSERT_EQ(map.shows(row), isShown[std::size_t(row)]);
        if (!isShown[std::size_t(row)]) {
            if (row == gapBegin && gaps == RowMap::Gaps::Rows) {
                ASSERT_EQ(map.rowAt(++position), row);
            }
            continue;
        }
        endGap(row, gaps == RowMap::Gaps::Rows ? position : position + 1);
        EXPECT_EQ(map.gapBefore(row).length, row - gapBegin);
        ASSERT_EQ(map.rowAt(++position), row);
        ASSERT_EQ(map.positionOf(row), position);
        ASSERT_EQ(map.nearestShown(row), row);
        gapBegin = row + 1;
    }
    endGap(count, position + (gaps == RowMap::Gaps::Rows ? 0 : 1));
    ASSERT_EQ(map.count(), position + 1);
}

TEST(RowMapTest, PositionsAndGapsAgreeWithTheLines) {
    std::mt19937 random(5);
    for (int round = 0; round < 400; ++round) {
        const auto lineCount = static_cast<qint64>(random() % 200);
        const qint64 first =
            lineCount > 0 && round % 3 == 0 ? static_cast<qint64>(random() >> 1) % lineCount : 0;
        std::bernoulli_distribution changes(round % 2 == 0 ? 0.5 : 0.08);
        std::vector<bool> isShown;
        std::vector<qint64> lines;
        for (qint64 line = 0; line < lineCount; ++line) {
            const bool last = line == 0 ? round % 4 < 2 : isShown.back();
            isShown.push_back(changes(random) ? !last : last);
            if (isShown.back())
                lines.push_back(line);
        }
        LineSetWriter writer;
        writer.assign({0, lineCount}, lines);
        const LineSet set = writer.set();
        isShown.erase(isShown.begin(), isShown.begin() + first);
        for (const auto gaps : {RowMap::Gaps::None, RowMap::Gaps::Rows}) {
            const RowMap longer({set, runsOf(set, lineCount), set}, {first, lineCount - first + 1}, gaps);
            const RowMap map = longer.limitedTo(lineCount - first);
            expectRows(map, isShown, gaps);
            ASSERT_FALSE(::testing::Test::HasFailure()) << "round " << round << ", seed 5";
        }
    }
    expectRows(RowMap::ofAllRows(30), std::vector<bool>(30, true), RowMap::Gaps::None);
}

TEST(RowMapTest, TheNearestShownRowIsOnEitherSide) {
    LineSetWriter writer;
    writer.assign({0, 30}, std::vector<qint64>{10, 20});
    const RowMap map({writer.set(), {}, {}}, {0, 30}, RowMap::Gaps::None);
    EXPECT_EQ(map.nearestShown(0), 10);
    EXPECT_EQ(map.nearestShown(14), 10);
    EXPECT_EQ(map.nearestShown(15), 20);
    EXPECT_EQ(map.nearestShown(29), 20);
    EXPECT_EQ(RowMap({}, {0, 30}, RowMap::Gaps::None).nearestShown(3), std::nullopt);
}

} // namespace
} // namespace korvane
