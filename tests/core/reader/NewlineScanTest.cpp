#include "core/reader/NewlineScan.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <string>

namespace korvane {
namespace {

std::vector<std::uint32_t> expectedPositions(std::string_view text) {
    std::vector<std::uint32_t> positions;
    for (std::size_t i = 0; i < text.size(); ++i)
        if (text[i] == '\n')
            positions.push_back(static_cast<std::uint32_t>(i));
    return positions;
}

/// Allocates exactly the promised space, so that the address sanitizer reports a write beyond it.
std::vector<std::uint32_t> foundBy(const NewlineScan::Implementation& way, std::string_view text) {
    std::vector<std::uint32_t> positions(NewlineScan::roomFor(text.size()));
    positions.resize(way.find(text.data(), text.size(), positions.data()));
    return positions;
}

TEST(NewlineScan, EveryImplementationFindsExactlyTheLineFeeds) {
    std::mt19937 random(11);
    std::vector<std::string> texts = {"",
                                      "\n",
                                      "a",
                                      "a\n",
                                      std::string(64, '\n'),
                                      std::string(1000, '\n'),
                                      std::string(200, '\r'),
                                      std::string("\x8A\x0B\x09\0\x1A", 5) + "\n"};
    for (std::size_t size = 0; size < 300; ++size)
        for (const unsigned rarity : {1U, 2U, 5U, 40U, 200U}) {
            std::string text(size, 'x');
            for (char& byte : text)
                byte = random() % rarity == 0 ? '\n' : static_cast<char>(random());
            texts.push_back(std::move(text));
        }
    for (const NewlineScan::Implementation& way : NewlineScan::implementations())
        for (const std::string& text : texts)
            for (const std::size_t skipped : {std::size_t{0}, text.size() / 5}) { // not aligned
                const auto block = std::string_view(text).substr(skipped);
                ASSERT_EQ(foundBy(way, block), expectedPositions(block))
                    << way.name << ", " << block.size() << " bytes";
            }
}

} // namespace
} // namespace korvane
