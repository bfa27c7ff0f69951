#include "core/reader/LineIndex.h"

#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace korvane {
namespace {

/// Compares the index with a plain list of offsets.
class LineIndexTest : public ::testing::Test {
protected:
    /// Adds lines of these lengths in bytes, one batch each, whose base keeps the position within 32 bits.
    void append(const std::vector<std::uint64_t>& lengths) {
        for (const std::uint64_t length : lengths) {
            const std::uint64_t base = offsets.back();
            const std::uint32_t withinBase =
                length - 1 <= 0xFFFF'FFFF ? static_cast<std::uint32_t>(length - 1) : 0;
            index.appendNewlines(base + length - 1 - withinBase, {&withinBase, 1});
            offsets.push_back(base + length);
        }
    }

    void expectSame() {
        ASSERT_EQ(index.entryCount(), static_cast<qint64>(offsets.size()));
        ASSERT_EQ(index.lastOffset(), offsets.back());
        const LineIndex::View view = index.view();
        EXPECT_EQ(view.starts(0, index.entryCount() + 10), offsets);
        for (std::size_t i = 0; i < offsets.size(); ++i)
            ASSERT_EQ(view.start(static_cast<qint64>(i)), offsets[i]) << "line " << i;
        EXPECT_FALSE(view.start(index.entryCount()));
        EXPECT_FALSE(view.start(-1));
    }

    std::vector<std::uint64_t> randomLengths(std::size_t count, std::uint64_t longest) {
        std::vector<std::uint64_t> lengths(count);
        for (std::uint64_t& length : lengths)
            length = 1 + random_() % longest;
        return lengths;
    }

    LineIndex index;
    std::vector<std::uint64_t> offsets{0};

private:
    std::mt19937_64 random_{3};
};

TEST_F(LineIndexTest, LengthsOfEverySizeComeBack) {
    for (const std::uint64_t longest : {1ULL, 2ULL, 7ULL, 200ULL, 5000ULL, 1ULL << 32, 1ULL << 45})
        append(randomLengths(400, longest));
    expectSame();
    append({std::uint64_t{1} << 63}); // half the address space
    append(randomLengths(300, 3));
    expectSame();
}

TEST_F(LineIndexTest, BlockBordersLoseNoLine) {
    for (int i = 0; i < 260; ++i) {
        expectSame();
        append({static_cast<std::uint64_t>(1 + i % 5)});
    }
}

TEST_F(LineIndexTest, ASliceBeginsAndEndsAnywhereInABlock) {
    append(randomLengths(1000, 300));
    const LineIndex::View view = index.view();
    for (qint64 first : {0, 1, 127, 128, 129, 500, 895, 896, 999, 1000})
        for (qint64 count : {1, 2, 127, 128, 129, 300})
            EXPECT_EQ(view.starts(first, count),
                      std::vector(offsets.begin() + first,
                                  offsets.begin() + std::min<qint64>(first + count, 1001)));
    EXPECT_TRUE(view.starts(1001, 5).empty());
}

TEST_F(LineIndexTest, DroppingTheEndAndGoingOn) {
    // Cuts inside the tail, at block borders, and across several blocks and segments.
    append(randomLengths(70'000, 200));
    for (const std::size_t kept :
         {69'999UL, 69'900UL, 65'537UL, 65'536UL, 65'535UL, 1000UL, 129UL, 128UL, 127UL, 1UL}) {
        SCOPED_TRACE(kept);
        const std::size_t heldBefore = index.heapBytes();
        // One below the first dropped offset: an offset equal to the limit stays.
        index.dropBeyond(offsets[kept] - 1);
        offsets.resize(kept);
        index.dropBeyond(offsets.back());
        expectSame();
        append(randomLengths(300, 200));
        expectSame();
        EXPECT_LE(index.heapBytes(), heldBefore + 100'000);
    }
    EXPECT_LT(index.heapBytes(), 200'000U) << "memory of dropped lines is given back";
}

TEST_F(LineIndexTest, AUsualLogTakesLittleMoreThanAByteALine) {
    std::mt19937_64 random(1);
    std::vector<std::uint64_t> lengths(300'000);
    for (std::uint64_t& length : lengths)
        length = random() % 500 == 0 ? 2000 + random() % 2000 : 60 + random() % 150;
    append(lengths);
    EXPECT_LT(static_cast<double>(index.heapBytes()) / 300'000, 1.6);
}

TEST_F(LineIndexTest, OverflowIsFatal) {
    const std::uint32_t position = 10;
    EXPECT_DEATH(index.appendNewlines(~std::uint64_t{0} - 5, {&position, 1}), "overflow");
}

TEST_F(LineIndexTest, ReadersAlwaysSeeACountAndAnEndThatBelongTogether) {
    // Every line is 10 bytes long, so that the pair can be checked.
    std::atomic<bool> done{false};
    std::atomic<qint64> checked{0};
    std::vector<std::thread> readers;
    for (int i = 0; i < 3; ++i)
        readers.emplace_back([&] {
            while (!done || checked < 100) {
                const LineIndex::View view = index.view();
                const qint64 count = view.lineCount();
                if (count > 1) {
                    ASSERT_EQ(view.endOffset(), static_cast<std::uint64_t>(count) * 10 - 1);
                    ASSERT_EQ(view.start(count - 1), static_cast<std::uint64_t>(count - 1) * 10);
                }
                ++checked;
            }
        });
    const std::uint32_t positions[] = {9, 19, 29, 39, 49, 59, 69};
    for (int round = 0; round < 3; ++round) {
        for (std::uint64_t batch = 0; batch < 500; ++batch) {
            index.appendNewlines(batch * 70, positions);
            index.publish(index.entryCount() - 1, index.lastOffset() - 1);
        }
        index.publish(100, 999);
        index.dropBeyond(1000);
        EXPECT_EQ(index.entryCount(), 101);
        index.clear();
    }
    done = true;
    for (std::thread& reader : readers)
        reader.join();
}

} // namespace
} // namespace korvane
