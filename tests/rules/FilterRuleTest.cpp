#include "rules/FilterRule.h"

#include "rules/FakeRuledRows.h"
#include "rules/RuleEnforcer.h"
#include "support/PreferencesTest.h"
#include "support/Rules.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class RulesTest : public test::PreferencesTest {};

// The enforcer paints a row for all rules at once, a rule paints by itself: both must look the same.
TEST_F(RulesTest, ARulePaintsALineAsRowsArePainted) {
    Preferences::shared().setLogViewBackground(QColor(1, 2, 3));
    const QString text = u"ab error cd error"_s;
    test::FakeRuledRows source;
    for (int variant = 0; variant < 16; ++variant) {
        SCOPED_TRACE(variant);
        const auto look =
            std::make_shared<HighlightRule>(variant & 1, variant & 2, variant & 4, Qt::red, Qt::yellow);
        look->setUseViewBackground(variant & 8);
        const auto rule = test::makeRule(u"error"_s, look);
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
    const AttributedString preview = test::makeRule(u"error"_s, highlight)->previewSearchStr();
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

} // namespace
} // namespace korvane
