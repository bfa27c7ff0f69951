#include "foundation/AttributedString.h"

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

} // namespace
} // namespace korvane
