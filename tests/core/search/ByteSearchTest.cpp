#include "core/search/ByteSearch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <span>
#include <string>

namespace korvane {
namespace {

ByteSearch ignoringCase(std::string_view text) {
    std::vector<ByteSearch::Unit> units;
    for (const char byte : text) {
        const bool isLetter = (byte | 0x20) >= 'a' && (byte | 0x20) <= 'z';
        units.push_back({static_cast<std::uint8_t>(isLetter ? 0x20 : 0),
                         static_cast<std::uint8_t>(isLetter ? byte | 0x20 : byte)});
    }
    return ByteSearch(units);
}

class ByteSearchTest : public ::testing::TestWithParam<Direction> {
protected:
    static bool isForwards() { return GetParam() == Direction::Forwards; }
    static std::size_t start(std::size_t end) { return isForwards() ? 0 : end; }
};

INSTANTIATE_TEST_SUITE_P(Directions, ByteSearchTest,
                         ::testing::Values(Direction::Forwards, Direction::Backwards));

// The text is copied to a block of its exact size, so that the address sanitizer reports a read beyond it.
TEST_P(ByteSearchTest, EveryImplementationFindsEveryPlace) {
    std::mt19937 random(5);
    for (int round = 0; round < 3000; ++round) {
        std::string text(random() % 200, ' ');
        for (char& byte : text)
            byte = "abAB\x01\xE1@`"[random() % 8];
        std::string wanted(1 + random() % 4, ' ');
        for (char& byte : wanted)
            byte = "abB@"[random() % 4];
        if (text.size() < wanted.size())
            continue;
        const ByteSearch search = ignoringCase(wanted);
        const std::vector<char> block(text.begin(), text.end());
        const std::size_t end = block.size() - search.size() + 1;
        std::vector<std::size_t> expected;
        for (std::size_t place = 0; place < end; ++place)
            if (search.isAt(block.data() + place))
                expected.push_back(place);
        if (!isForwards())
            std::ranges::reverse(expected);
        for (const ByteSearch::Implementation& way : ByteSearch::implementations()) {
            std::vector<std::size_t> found;
            for (ByteSearch::Places left{block.data(), 0, end}; left.begin < left.end;) {
                const std::size_t place = way.find(GetParam())(search, left);
                if (place == left.end)
                    break;
                found.push_back(place);
                (isForwards() ? left.begin : left.end) = isForwards() ? place + 1 : place;
            }
            ASSERT_EQ(found, expected) << way.name << ": " << wanted << " in " << text;
            if (!isForwards())
                continue;
            const std::size_t room = 1 + random() % 20;
            std::vector<std::uint32_t> places(room);
            places.resize(way.findAll(search, {block.data(), 0, end}, places));
            const auto first = std::span(expected).first(std::min(expected.size(), room));
            ASSERT_TRUE(std::ranges::equal(places, first)) << way.name << ": " << wanted << " in " << text;
        }
    }
}

TEST_P(ByteSearchTest, ABlockShorterThanThePatternHoldsNothing) {
    const ByteSearch search = ignoringCase("abc");
    for (const std::string_view block : {"", "ab"})
        EXPECT_FALSE(search.find(GetParam(), block, start(block.size())));
    EXPECT_FALSE(
        search.find(GetParam(), std::string_view(isForwards() ? "abcabc" : "xabc"), isForwards() ? 4 : 1));
}

} // namespace
} // namespace korvane
