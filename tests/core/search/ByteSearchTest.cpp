#include "core/search/ByteSearch.h"

#include <gtest/gtest.h>

#include <random>
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

std::vector<std::size_t> placesIn(const ByteSearch& search, std::string_view text) {
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i + search.size() <= text.size(); ++i)
        if (search.isAt(text.data() + i))
            places.push_back(i);
    return places;
}

// The text is copied to a block of its exact size, so that the address sanitizer sees a read beyond it.
TEST(ByteSearch, EveryImplementationFindsEveryPlaceFromBothEnds) {
    std::mt19937 random(5);
    for (int round = 0; round < 3000; ++round) {
        std::string text(random() % 200, ' ');
        for (char& byte : text)
            byte = "abAB\x01\xE1@`"[random() % 8];
        std::string wanted(1 + random() % 4, ' ');
        for (char& byte : wanted)
            byte = "abB@"[random() % 4];
        const ByteSearch search = ignoringCase(wanted);
        const std::vector<std::size_t> expected = placesIn(search, text);
        const std::vector<char> block(text.begin(), text.end());
        if (block.size() < search.size())
            continue;
        const std::size_t end = block.size() - search.size() + 1;
        for (const ByteSearch::Implementation& way : ByteSearch::implementations()) {
            SCOPED_TRACE(std::string(way.name) + ": " + wanted + " in " + text);
            std::vector<std::size_t> forwards;
            for (std::size_t from = 0; from < end; from = forwards.back() + 1) {
                forwards.push_back(way.first(search, {block.data(), from, end}));
                if (forwards.back() == end) {
                    forwards.pop_back();
                    break;
                }
            }
            ASSERT_EQ(forwards, expected);
            std::vector<std::size_t> backwards;
            for (std::size_t before = end; before > 0; before = backwards.front()) {
                const std::size_t place = way.last(search, {block.data(), 0, before});
                if (place == before)
                    break;
                backwards.insert(backwards.begin(), place);
            }
            ASSERT_EQ(backwards, expected);
        }
    }
}

TEST(ByteSearch, ABlockShorterThanThePatternHoldsNothing) {
    const ByteSearch search = ignoringCase("abc");
    for (const std::string_view block : {"", "ab"}) {
        EXPECT_FALSE(search.first(block, 0));
        EXPECT_FALSE(search.last(block, block.size()));
    }
    EXPECT_FALSE(search.first(std::string_view("abcabc"), 4));
    EXPECT_FALSE(search.last(std::string_view("xabc"), 1));
}

} // namespace
} // namespace korvane
