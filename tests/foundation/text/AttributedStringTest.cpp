#include "foundation/text/AttributedString.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

QString underlineMap(const AttributedString& line) {
    QString map;
    for (int i = 0; i < line.length(); ++i) {
        const Attributes* attributes = line.attributesAt(i);
        map += attributes && attributes->value(attribute::underline) ? u'u' : u'.';
    }
    return map;
}

TEST(AttributedString, AnAttributeCoversItsRangeAndNothingElse) {
    AttributedString line(u"0123456789"_s);
    line.addAttribute(attribute::underline, 1, {2, 3});
    EXPECT_EQ(underlineMap(line), u"..uuu....."_s);
    line.addAttribute(attribute::underline, 1, {7, 3});
    EXPECT_EQ(underlineMap(line), u"..uuu..uuu"_s);
    line.addAttribute(attribute::underline, 1, {5, 0});
    EXPECT_EQ(underlineMap(line), u"..uuu..uuu"_s);
    EXPECT_EQ(line.attributesAt(10), nullptr);
    EXPECT_EQ(line.attributesAt(-1), nullptr);
}

TEST(AttributedString, OverlappingRangesKeepTheOtherAttributes) {
    AttributedString line(u"0123456789"_s);
    line.addAttribute(attribute::foreground, QColor(Qt::red), {0, 6});
    line.addAttribute(attribute::background, QColor(Qt::blue), {4, 6});
    line.addAttribute(attribute::foreground, QColor(Qt::green), {5, 2});
    EXPECT_EQ(line.attributesAt(3)->color(attribute::foreground), QColor(Qt::red));
    EXPECT_FALSE(line.attributesAt(3)->color(attribute::background));
    EXPECT_EQ(line.attributesAt(4)->color(attribute::foreground), QColor(Qt::red));
    EXPECT_EQ(line.attributesAt(5)->color(attribute::foreground), QColor(Qt::green));
    EXPECT_EQ(line.attributesAt(5)->color(attribute::background), QColor(Qt::blue));
    EXPECT_FALSE(line.attributesAt(8)->color(attribute::foreground));
}

TEST(AttributedString, ChangingACopyLeavesTheOriginal) {
    AttributedString original(u"abc"_s);
    original.addAttribute(attribute::hideLine, true);
    AttributedString copy = original;
    copy.addAttribute(attribute::hideLine, false, {1, 1});
    EXPECT_TRUE(original.attributesAt(1)->isMarked(attribute::hideLine));
    EXPECT_FALSE(copy.attributesAt(1)->isMarked(attribute::hideLine));
    EXPECT_TRUE(copy.attributesAt(2)->isMarked(attribute::hideLine));
}

// Random ranges against a plain array of values.
TEST(AttributedString, RandomRangesMatchAPerCharacterModel) {
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        const int length = 1 + static_cast<int>(random() % 30);
        AttributedString line(QString(length, u'x'));
        std::vector<int> model(static_cast<std::size_t>(length), -1);
        for (int step = 0; step < 8; ++step) {
            const int location = static_cast<int>(random() % static_cast<unsigned>(length));
            const int count = static_cast<int>(random() % static_cast<unsigned>(length - location + 1));
            line.addAttribute(attribute::underline, step, {location, count});
            std::fill_n(model.begin() + location, count, step);
        }
        int expectedStart = line.runs().empty() ? 0 : line.runs().front().range.location;
        for (const auto& run : line.runs()) {
            ASSERT_GT(run.range.length, 0);
            ASSERT_GE(run.range.location, expectedStart);
            expectedStart = run.range.end();
        }
        for (int i = 0; i < length; ++i) {
            const Attributes* attributes = line.attributesAt(i);
            const AttributeValue* value = attributes ? attributes->value(attribute::underline) : nullptr;
            ASSERT_EQ(value ? std::get<int>(*value) : -1, model[static_cast<std::size_t>(i)]);
        }
    }
}

TEST(AttributedString, SeveralRangesAtOnceEqualOneAfterTheOther) {
    std::mt19937 random(11);
    for (int round = 0; round < 300; ++round) {
        const int length = 1 + static_cast<int>(random() % 30);
        AttributedString atOnce(QString(length, u'x'));
        for (int step = 0; step < 3; ++step) {
            const int location = static_cast<int>(random() % static_cast<unsigned>(length));
            atOnce.addAttribute(attribute::background, QColor(step, 0, 0),
                                {location, (length - location) / 2});
        }
        AttributedString oneByOne = atOnce;
        std::vector<TextRange> ranges;
        for (int position = 0; position < length;) {
            const int gap = static_cast<int>(random() % 3);
            const int count = std::min(static_cast<int>(random() % 5), length - position - gap);
            if (count < 0)
                break;
            ranges.push_back({position + gap, count});
            position += gap + count + 1;
        }
        atOnce.addAttributesInRanges({{attribute::underline, 1}}, ranges);
        for (const TextRange& range : ranges)
            oneByOne.addAttribute(attribute::underline, 1, range);
        for (int i = 0; i < length; ++i) {
            const Attributes* one = atOnce.attributesAt(i);
            const Attributes* other = oneByOne.attributesAt(i);
            ASSERT_EQ(one ? *one : Attributes(), other ? *other : Attributes());
            ASSERT_EQ(one == nullptr, other == nullptr);
        }
    }
}

// A selected blank matches thousands of times in one long line, which is painted at every draw.
TEST(AttributedString, RangesThatLookAlikeShareTheirAttributes) {
    AttributedString line(QString(100, u'x'), std::make_shared<Attributes>());
    line.addAttributesInRanges({{attribute::underline, 1}}, {{10, 5}, {20, 5}, {30, 5}});
    EXPECT_EQ(line.runs().size(), 7U);
    EXPECT_EQ(line.attributesAt(10), line.attributesAt(34));
    EXPECT_EQ(line.attributesAt(0), line.attributesAt(99));
}

} // namespace
} // namespace korvane
