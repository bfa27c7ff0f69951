#include "core/LineSet.h"

#include "core/DerivedLineSet.h"

#include <gtest/gtest.h>
#include <random>

namespace korvane {
namespace {

constexpr qint64 chunk = line_chunk::lines;

/// Compares a set with a plain list of its members.
class LineSetTest : public ::testing::Test {
protected:
    /// Each line of the range with this probability.
    std::vector<qint64> randomLines(LineRange range, double density) {
        std::vector<qint64> lines;
        if (density >= 1) {
            for (qint64 line = range.location; line < range.location + range.length; ++line)
                lines.push_back(line);
            return lines;
        }
        std::geometric_distribution<qint64> distance(density);
        for (qint64 line = range.location + distance(random); line < range.location + range.length;
             line += 1 + distance(random))
            lines.push_back(line);
        return lines;
    }

    void assign(LineRange range, const std::vector<qint64>& lines) {
        writer.assign(range, lines);
        std::erase_if(expected, [&](qint64 line) {
            return line >= range.location && line < range.location + range.length;
        });
        expected.insert(expected.end(), lines.begin(), lines.end());
        std::ranges::sort(expected);
    }

    void expectSame(const LineSet& set) {
        ASSERT_EQ(set.size(), static_cast<qint64>(expected.size()));
        ASSERT_EQ(set.members(0, set.size() + 5), expected);
        const qint64 end = expected.empty() ? 10 : expected.back() + 2 * chunk;
        for (int i = 0; i < 3000; ++i) {
            // Around a member, or anywhere.
            const qint64 line = i % 2 == 0 || expected.empty()
                                    ? static_cast<qint64>(random() % static_cast<std::uint64_t>(end)) - 1
                                    : expected[random() % expected.size()] + static_cast<qint64>(i % 3) - 1;
            const auto place = std::ranges::lower_bound(expected, line);
            const qint64 rank = place - expected.begin();
            const bool isMember = place != expected.end() && *place == line;
            ASSERT_EQ(set.rank(line), rank) << line;
            ASSERT_EQ(set.contains(line), isMember) << line;
            ASSERT_EQ(set.next(line), place != expected.end() ? std::optional(*place) : std::nullopt);
            ASSERT_EQ(set.previous(line), isMember   ? std::optional(line)
                                          : rank > 0 ? std::optional(expected[std::size_t(rank) - 1])
                                                     : std::nullopt);
            if (rank < set.size()) {
                ASSERT_EQ(set.select(rank), *place);
                const auto few = set.members(rank, 70);
                ASSERT_TRUE(std::ranges::equal(few, std::span(place, expected.end()).first(few.size())));
            }
        }
    }

    std::mt19937_64 random{7};
    LineSetWriter writer;
    std::vector<qint64> expected;
};

TEST_F(LineSetTest, SetsOfEveryDensityHoldTheirMembers) {
    expectSame(writer.set());
    qint64 first = 0;
    for (const double density : {1e-6, 0.001, 0.05, 0.2, 0.5, 0.8, 0.95, 0.999, 1.0, 0.3}) {
        const LineRange range{first, chunk + 12'345}; // from anywhere in a chunk to anywhere in the next
        assign(range, randomLines(range, density));
        first += range.length;
        expectSame(writer.set());
    }
}

TEST_F(LineSetTest, RangesComeInAnyOrderAndReplaceWhatWasThere) {
    std::vector<LineSet> earlier;
    for (int i = 0; i < 200; ++i) {
        const LineRange range{static_cast<qint64>(random() % (3 * chunk)),
                              static_cast<qint64>(random() % (i % 4 == 0 ? chunk : 1000))};
        assign(range, randomLines(range, i % 4 == 0 ? 0.001 : i % 5 * 0.25 + 0.001));
        if (i % 40 == 0)
            expectSame(writer.set());
        if (i % 50 == 30) {
            const qint64 end = static_cast<qint64>(random() % (3 * chunk));
            writer.truncate(end);
            std::erase_if(expected, [&](qint64 line) { return line >= end; });
        }
        if (i == 100)
            earlier.push_back(writer.set());
    }
    const std::vector<qint64> last = expected;
    expectSame(writer.set());
    // What has been handed out does not change with the writer.
    expected = earlier.front().members(0, earlier.front().size());
    writer.truncate(0);
    expectSame(earlier.front());
    EXPECT_NE(expected, last);
    EXPECT_TRUE(writer.set().isEmpty());
}

TEST_F(LineSetTest, DerivedSetsFollowTheirInputs) {
    constexpr int distance = 10;
    LineSetWriter others;
    DerivedLineSet combined([](std::span<const DerivedLineSet::Window> inputs) {
        return widened(inputs[0], distance) & ~inputs[1].lines;
    });
    DerivedLineSet starts(
        [](std::span<const DerivedLineSet::Window> inputs) { return runStarts(inputs[0]); });
    qint64 lineCount = 1000;
    for (int round = 0; round < 12; ++round, lineCount += 250'000) {
        const LineRange range{static_cast<qint64>(random() >> 1) % lineCount & ~63, 100'000};
        assign(range, randomLines(range, 0.002));
        assign({chunk - 2, 4}, round % 2 == 0 ? std::vector{chunk - 1} : std::vector{chunk});
        others.assign({range.location, 1000}, std::vector{range.location + 5, range.location + 64});
        const LineSet inputs[] = {writer.set(), others.set()};
        const LineSet result = combined.update(inputs, lineCount);

        std::vector<qint64> all;
        for (const qint64 line : expected)
            for (qint64 near = std::max<qint64>(line - distance, all.empty() ? 0 : all.back() + 1);
                 near <= line + distance; ++near)
                if (near < lineCount)
                    all.push_back(near);
        std::erase_if(all, [&](qint64 line) { return inputs[1].contains(line); });
        ASSERT_EQ(result.members(0, result.size()), all) << round;

        std::vector<qint64> firsts;
        for (std::size_t i = 0; i < all.size(); ++i)
            if (i == 0 || all[i - 1] + 1 != all[i])
                firsts.push_back(all[i]);
        const LineSet runs = starts.update({&result, 1}, lineCount);
        ASSERT_EQ(runs.members(0, runs.size()), firsts) << round;
    }
}

} // namespace
} // namespace korvane
