#include "rules/FilterRule.h"

#include "core/search/SearchItem.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/QuickHighlightFilterRule.h"
#include "support/PreferencesTest.h"

#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class RulesTest : public test::PreferencesTest {
protected:
    static QFont fontAt(const AttributedString& line, int position) {
        return line.attributesAt(position)->font().value();
    }
    static QColor colorAt(const AttributedString& line, std::string_view name, int position) {
        return line.attributesAt(position)->color(name).value();
    }
    static bool isUnderlinedAt(const AttributedString& line, int position) {
        return line.attributesAt(position)->value(attribute::underline) != nullptr;
    }
};

TEST_F(RulesTest, ColoursCoverTheLineAndTheStyleOnlyTheMatches) {
    const HighlightRule rule(true, true, true, Qt::red, Qt::yellow);
    AttributedString line(u"ab error cd error"_s);
    rule.applyHighlight(line, {{3, 5}, {12, 5}});

    const QFont plain = Preferences::shared().logViewFont();
    for (int i = 0; i < line.length(); ++i) {
        SCOPED_TRACE(i);
        const bool isMatch = (i >= 3 && i < 8) || i >= 12;
        EXPECT_EQ(colorAt(line, attribute::foreground, i), QColor(Qt::red));
        EXPECT_EQ(colorAt(line, attribute::background, i), Preferences::shared().logViewBackground());
        EXPECT_EQ(fontAt(line, i).family(), plain.family());
        EXPECT_EQ(fontAt(line, i).bold(), isMatch);
        EXPECT_EQ(fontAt(line, i).italic(), isMatch);
        EXPECT_EQ(isUnderlinedAt(line, i), isMatch);
    }
}

TEST_F(RulesTest, EachStyleIsAppliedOnItsOwn) {
    for (int styles = 0; styles < 8; ++styles) {
        const bool bold = styles & 1;
        const bool italic = styles & 2;
        const bool underline = styles & 4;
        SCOPED_TRACE(styles);
        AttributedString line(u"match"_s);
        HighlightRule(bold, italic, underline, Qt::red, Qt::yellow).applyHighlight(line, {{0, 5}});
        EXPECT_EQ(fontAt(line, 2).bold(), bold);
        EXPECT_EQ(fontAt(line, 2).italic(), italic);
        EXPECT_EQ(isUnderlinedAt(line, 2), underline);
    }
}

TEST_F(RulesTest, TheViewsBackgroundHidesTheRulesOwnUntilSwitchedOff) {
    Preferences::shared().setLogViewBackground(QColor(1, 2, 3));
    HighlightRule rule(false, false, false, Qt::red, Qt::yellow);
    AttributedString line(u"x"_s);
    rule.applyHighlight(line, {{0, 1}});
    EXPECT_EQ(colorAt(line, attribute::background, 0), QColor(1, 2, 3));
    rule.setUseViewBackground(false);
    rule.applyHighlight(line, {{0, 1}});
    EXPECT_EQ(colorAt(line, attribute::background, 0), QColor(Qt::yellow));
}

TEST_F(RulesTest, ALaterRulePaintsOverTheColoursOfAnEarlierOne) {
    AttributedString line(u"first second"_s);
    HighlightRule(false, false, true, Qt::red, Qt::white).applyHighlight(line, {{0, 5}});
    HighlightRule(false, true, false, Qt::blue, Qt::white).applyHighlight(line, {{6, 6}});
    EXPECT_EQ(colorAt(line, attribute::foreground, 0), QColor(Qt::blue));
    EXPECT_TRUE(isUnderlinedAt(line, 0));
    EXPECT_FALSE(fontAt(line, 0).italic());
    EXPECT_TRUE(fontAt(line, 6).italic());
}

TEST_F(RulesTest, PaintingAnEmptyLineOrTextDoesNothing) {
    AttributedString line;
    HighlightRule().applyHighlight(line, {});
    EXPECT_TRUE(line.runs().empty());
    EXPECT_TRUE(HighlightRule().previewString({}).runs().empty());
}

TEST_F(RulesTest, ThePreviewIsInTheSystemsFontAtTwelvePoints) {
    const auto highlight = std::make_shared<HighlightRule>(true, false, true, Qt::red, Qt::yellow);
    highlight->setUseViewBackground(false);
    const FilterRule rule(false, std::make_shared<SearchItem>(u"error"_s), highlight,
                          NotificationRule::defaultRule());
    const AttributedString preview = rule.previewSearchStr();
    EXPECT_EQ(preview.string(), u"error"_s);
    for (const int position : {0, 4}) {
        EXPECT_EQ(fontAt(preview, position).family(), u"System Sans"_s);
        EXPECT_EQ(fontAt(preview, position).pointSizeF(), 12.0);
        EXPECT_TRUE(fontAt(preview, position).bold());
        EXPECT_TRUE(isUnderlinedAt(preview, position));
        EXPECT_EQ(colorAt(preview, attribute::foreground, position), QColor(Qt::red));
        EXPECT_EQ(colorAt(preview, attribute::background, position), QColor(Qt::yellow));
    }
}

TEST_F(RulesTest, ADescriptionSaysWhatTheRuleDoes) {
    const FilterRule rule(true, std::make_shared<SearchItem>(u"100% %1"_s),
                          std::make_shared<HighlightRule>(false, true, false, Qt::red, Qt::white),
                          NotificationRule::defaultRule());
    EXPECT_EQ(rule.description(),
              u"Filter: Search: 100% %1, Hide=true, Highlight: Highlight: Bold? false, Italic? true, "
              "Underline: false, fg color: #ffff0000, bg color: #ffffffff"_s);
}

TEST_F(RulesTest, EveryRuleHasAnIdentityOfItsOwn) {
    const QuickHighlightFilterRule one(u"x"_s);
    const QuickHighlightFilterRule other(u"x"_s);
    EXPECT_FALSE(one.id().isNull());
    EXPECT_NE(one.id(), other.id());
    EXPECT_EQ(one.notificationRule(), other.notificationRule());
    EXPECT_FALSE(one.notificationRule()->enabled());
}

TEST_F(RulesTest, QuickHighlightColoursTheSelectedTextAndLeavesTheRest) {
    const QuickHighlightFilterRule rule(u"a.b"_s);
    AttributedString line(u"A.B axb a.b"_s);
    line.addAttribute(attribute::foreground, QColor(Qt::red));
    rule.applyHighlight(line, rule.matchRanges(line.string()));

    for (int i = 0; i < line.length(); ++i) {
        SCOPED_TRACE(i);
        const bool isMatch = i < 3 || i >= 8;
        EXPECT_EQ(colorAt(line, attribute::foreground, i), QColor(isMatch ? Qt::black : Qt::red));
        EXPECT_EQ(line.attributesAt(i)->color(attribute::background),
                  isMatch ? std::optional(QColor(181, 214, 255)) : std::nullopt);
        EXPECT_FALSE(line.attributesAt(i)->font());
    }
}

} // namespace
} // namespace korvane
