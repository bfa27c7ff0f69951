#include "rules/FilterRule.h"

#include "core/search/SearchItem.h"
#include "rules/FakeTailDataSource.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/QuickHighlightFilterRule.h"
#include "rules/RuleEnforcer.h"
#include "support/PreferencesTest.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class RulesTest : public test::PreferencesTest {};

// The enforcer paints a row for all rules at once, a rule paints by itself: both must look the same.
TEST_F(RulesTest, ARulePaintsALineAsRowsArePainted) {
    Preferences::shared().setLogViewBackground(QColor(1, 2, 3));
    const QString text = u"ab error cd error"_s;
    test::FakeTailDataSource source;
    for (int variant = 0; variant < 16; ++variant) {
        SCOPED_TRACE(variant);
        const auto look =
            std::make_shared<HighlightRule>(variant & 1, variant & 2, variant & 4, Qt::red, Qt::yellow);
        look->setUseViewBackground(variant & 8);
        const auto rule = std::make_shared<FilterRule>(false, std::make_shared<SearchItem>(u"error"_s), look,
                                                       NotificationRule::defaultRule());
        AttributedString line(text);
        rule->applyHighlight(line, rule->matchRanges(text));
        RuleEnforcer enforcer(source);
        enforcer.addRule(rule);
        const RowLine row = enforcer.applyRules(0, text);
        for (int i = 0; i < text.size(); ++i)
            EXPECT_EQ(*line.attributesAt(i), *row.line.attributesAt(i)) << i;
    }
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
        const Attributes& here = *preview.attributesAt(position);
        EXPECT_EQ(here.font->family(), u"System Sans"_s);
        EXPECT_EQ(here.font->pointSizeF(), 12.0);
        EXPECT_TRUE(here.font->bold());
        EXPECT_TRUE(here.underline);
        EXPECT_EQ(here.foreground, QColor(Qt::red));
        EXPECT_EQ(here.background, QColor(Qt::yellow));
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

TEST_F(RulesTest, QuickHighlightColoursTheSelectedTextAndLeavesTheRest) {
    const QuickHighlightFilterRule rule(u"a.b"_s);
    AttributedString line(u"A.B axb a.b"_s);
    line.add({.foreground = QColor(Qt::red)});
    rule.applyHighlight(line, rule.matchRanges(line.string()));

    for (int i = 0; i < line.length(); ++i) {
        SCOPED_TRACE(i);
        const bool isMatch = i < 3 || i >= 8;
        EXPECT_EQ(line.attributesAt(i)->foreground, QColor(isMatch ? Qt::black : Qt::red));
        EXPECT_EQ(line.attributesAt(i)->background,
                  isMatch ? std::optional(QColor(181, 214, 255)) : std::nullopt);
        EXPECT_FALSE(line.attributesAt(i)->font);
    }
}

} // namespace
} // namespace korvane
