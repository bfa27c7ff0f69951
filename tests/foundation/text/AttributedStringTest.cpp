#include "foundation/text/AttributedString.h"

#include <gtest/gtest.h>
#include <random>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

// Compares random ranges, several at once, with a separate set of attributes for every character.
TEST(AttributedString, RangesAddTheirAttributesAndKeepTheOthers) {
    const Attributes looks[] = {{.font = QFont(u"Mono"_s)},
                                {.foreground = QColor(Qt::red)},
                                {.foreground = QColor(Qt::green), .background = QColor(Qt::blue)},
                                {.underline = true}};
    std::mt19937 random(7);
    for (int round = 0; round < 300; ++round) {
        const int length = 1 + static_cast<int>(random() % 30);
        AttributedString line(QString(length, u'x'));
        std::vector<Attributes> expected(static_cast<std::size_t>(length));
        for (int step = 0; step < 6; ++step) {
            const Attributes& look = looks[random() % std::size(looks)];
            std::vector<TextRange> ranges;
            for (int position = 0; position < length; position = ranges.back().end()) {
                const int location = position + static_cast<int>(random() % 9);
                if (location >= length)
                    break;
                ranges.push_back({location, std::min(static_cast<int>(random() % 6), length - location)});
                for (int i = location; i < ranges.back().end(); ++i)
                    expected[static_cast<std::size_t>(i)].add(look);
                if (ranges.back().length == 0)
                    break;
            }
            const AttributedString before = line;
            AttributedString copy = line;
            copy.add(look, ranges);
            for (int i = 0; i < length; ++i)
                ASSERT_EQ(*line.attributesAt(i), *before.attributesAt(i)) << "the copy changes the original";
            line = std::move(copy);
        }
        int end = 0;
        for (const auto& run : line.runs()) {
            ASSERT_GT(run.range.length, 0);
            ASSERT_EQ(run.range.location, std::exchange(end, run.range.end()));
        }
        ASSERT_EQ(end, length);
        for (int i = 0; i < length; ++i)
            ASSERT_EQ(*line.attributesAt(i), expected[static_cast<std::size_t>(i)]) << i;
        ASSERT_EQ(line.attributesAt(length), nullptr);
        ASSERT_EQ(line.attributesAt(-1), nullptr);
    }
}

TEST(AttributedString, AddedAttributesReplaceOnlyTheirOwnKind) {
    AttributedString line(u"x"_s);
    line.add({.font = QFont(u"Mono"_s), .foreground = QColor(Qt::red), .underline = true});
    line.add({.foreground = QColor(Qt::green), .background = QColor(Qt::blue)});
    EXPECT_EQ(*line.attributesAt(0),
              (Attributes{QFont(u"Mono"_s), QColor(Qt::green), QColor(Qt::blue), true}));
}

// A selected space matches thousands of times in one long line, which is painted at every draw.
TEST(AttributedString, RangesThatLookAlikeShareTheirAttributes) {
    AttributedString line(QString(100, u'x'), std::make_shared<Attributes>());
    line.add({.underline = true}, {{10, 5}, {20, 5}, {30, 5}});
    EXPECT_EQ(line.runs().size(), 7U);
    EXPECT_EQ(line.attributesAt(10), line.attributesAt(34));
    EXPECT_EQ(line.attributesAt(0), line.attributesAt(99));
}

TEST(AttributedString, RangesOutsideTheTextOrOutOfOrderAreFatal) {
    AttributedString line(u"0123"_s);
    const std::vector<TextRange> faulty[] = {
        {{2, 3}}, {{-1, 2}}, {{1, -1}}, {{2, 1}, {0, 1}}, {{0, 2}, {1, 2}}};
    for (const auto& ranges : faulty)
        EXPECT_DEATH(line.add({.underline = true}, ranges), "attribute ranges");
}

} // namespace
} // namespace korvane
