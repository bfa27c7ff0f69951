#include "rules/RuleArchive.h"

#include "core/search/SearchItem.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/QuickHighlightFilterRule.h"
#include "support/ArchiveConformance.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace test;

using Rules = std::vector<std::shared_ptr<FilterRule>>;

struct RuleFormat {
    using Object = FilterRule;
    static QByteArray archive(const Rules& rules) { return archiveRules(rules); }
    static auto unarchive(const QByteArray& archive) { return unarchiveRules(archive); }
    static QString golden() { return u"rules"_s; }
    static QByteArray stable(QByteArray archive) {
        return archive.replace(sample()[3]->id().toRfc4122(), QByteArray(16, 4));
    }
    static const void* sharedPart(const FilterRule& rule) { return rule.notificationRule().get(); }

    /// `flags`: one bit for each boolean, in the order of the description.
    static std::shared_ptr<FilterRule> rule(char id, const QString& text, int flags,
                                            std::shared_ptr<NotificationRule> notification) {
        auto item = std::make_shared<SearchItem>(text);
        item->setRegex(flags & 1);
        item->setIgnoreCase(flags & 2);
        auto highlight = std::make_shared<HighlightRule>(flags & 4, flags & 8, flags & 16, QColor(1, 2, 3, 4),
                                                         QColor(Qt::white));
        highlight->setUseViewBackground(flags & 32);
        return std::make_shared<FilterRule>(QUuid::fromRfc4122(QByteArray(16, id)), flags & 64, item,
                                            highlight, std::move(notification));
    }
    static const Rules& sample() {
        static const Rules rules = [] {
            const auto shared = std::make_shared<NotificationRule>(true, false, Frequency::Always);
            // No two booleans have the same values in all rules.
            Rules made{rule(1, u"größe \U0001F600"_s, 1 + 4 + 32 + 64, shared),
                       rule(2, {}, 2 + 8 + 32 + 64, shared),
                       rule(3, {}, 4 + 8 + 16 + 64,
                            std::make_shared<NotificationRule>(false, true, Frequency::Once)),
                       std::make_shared<QuickHighlightFilterRule>(u"q"_s)};
            made.push_back(made.front());
            return made;
        }();
        return rules;
    }
    static QString description(const FilterRule& rule) {
        const SearchItem& item = *rule.searchItem();
        const HighlightRule& look = *rule.highlightRule();
        const NotificationRule& notification = *rule.notificationRule();
        QString text = u"[%1] %2 %3 %4;"_s.arg(item.searchStr(), rule.id().toString(),
                                               look.foreground().name(QColor::HexArgb),
                                               look.background().name(QColor::HexArgb));
        for (const auto& [key, value] :
             {std::pair("regex", item.regex()), std::pair("ignoreCase", item.ignoreCase()),
              std::pair("bold", look.bold()), std::pair("italic", look.italic()),
              std::pair("underline", look.underline()),
              std::pair("useViewBackground", look.useViewBackground()), std::pair("hide", rule.hide()),
              std::pair("enabled", notification.enabled()),
              std::pair("bounceDock", notification.bounceDock())})
            text += u"%1=%2;"_s.arg(QLatin1String(key)).arg(value);
        return text + (notification.frequency() == Frequency::Always ? u"always"_s : u"once"_s);
    }
    static std::vector<FieldCase> fieldCases() {
        using enum Outcome;
        const QStringList item{u"regex"_s, u"ignoreCase"_s};
        const QStringList look{u"bold"_s, u"italic"_s, u"underline"_s, u"useViewBackground"_s};
        const QStringList notification{u"enabled"_s, u"bounceDock"_s};
        // A boolean may be absent, whatever its default in a new rule, but must not be a text.
        const std::vector<std::optional<PropertyList>> text{ArchiveEditor::text(u"true"_s)};
        return {
            {u"SearchItem"_s, {u"searchStr"_s}, absentOrWrong(), Fails},
            {u"SearchItem"_s, item, absent(), Keeps, u"%1=1"_s, u"%1=0"_s},
            {u"SearchItem"_s, item, wrong(), Fails},
            {u"SearchItem"_s, item, text, Fails},
            {u"HighlightRule"_s, {u"fgcolor"_s, u"bgcolor"_s}, absentOrWrong(), Fails},
            {u"HighlightRule"_s, look, absent(), Keeps, u"%1=1"_s, u"%1=0"_s},
            {u"HighlightRule"_s, look, wrong(), Fails},
            {u"NotificationRule"_s, {u"frequency"_s}, absentOrWrong(), Fails},
            {u"NotificationRule"_s, notification, absent(), Keeps, u"%1=1"_s, u"%1=0"_s},
            {u"NotificationRule"_s, notification, wrong(), Fails},
            {u"FilterRule"_s, {u"searchItem"_s, u"highlight"_s}, absentOrWrong(), Fails},
            {u"FilterRule"_s, {u"hide"_s}, absent(), Keeps, u"%1=1"_s, u"%1=0"_s},
            {u"FilterRule"_s, {u"hide"_s}, wrong(), Fails},
            {u"FilterRule"_s, {u"id"_s}, absentOrWrong(), Keeps},
            {u"FilterRule"_s,
             {u"notification"_s},
             absentOrWrong(),
             Keeps,
             u"enabled=1;bounceDock=0;always"_s,
             u"enabled=0;bounceDock=0;once"_s},
        };
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(Rules, ArchiveConformance, RuleFormat);

TEST(RuleArchiveTest, QuickHighlightComesBackAsAPlainRule) {
    const auto read = unarchiveRules(archiveRules({std::make_shared<QuickHighlightFilterRule>(u"text"_s)}));
    const FilterRule& rule = *read.value().objects.at(0);
    EXPECT_EQ(typeid(rule), typeid(FilterRule));
    EXPECT_EQ(rule.highlightRule()->background(), QColor(Qt::green));
}

TEST(RuleArchiveTest, FileOfAnIndependentWriterIsRead) {
    const QByteArray file = runPython(u"build_filters.py"_s);
    const auto read = unarchiveRules(file);
    ASSERT_TRUE(read) << read.error().userText.toStdString();
    EXPECT_EQ(read.value().leftOut, 0);
    const Rules& rules = read.value().objects;
    ASSERT_EQ(rules.size(), 5u);
    EXPECT_EQ(RuleFormat::description(*rules[0]),
              u"[error] {01234567-89ab-cdef-0123-456789abcdef} #ffff0000 #ffffffff;regex=1;ignoreCase=1;"
              "bold=1;italic=0;underline=1;useViewBackground=0;hide=1;enabled=1;bounceDock=1;always"_s);
    // Absent booleans are false, and "always" is not "Always".
    EXPECT_EQ(
        RuleFormat::description(*rules[1]),
        u"[größe \U0001F600] {fedcba98-7654-3210-fedc-ba9876543210} #66333333 #ff0033ff;regex=0;"
        "ignoreCase=0;bold=0;italic=0;underline=0;useViewBackground=0;hide=0;enabled=1;bounceDock=0;once"_s);
    const auto again = unarchiveRules(file);
    for (std::size_t i = 2; i < rules.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rules[i]->searchItem(), rules[0]->searchItem());
        EXPECT_EQ(rules[i]->highlightRule(), rules[0]->highlightRule());
        EXPECT_EQ(rules[i]->notificationRule(), NotificationRule::defaultRule());
        EXPECT_FALSE(rules[i]->id().isNull());
        EXPECT_NE(rules[i]->id(), again.value().objects[i]->id());
    }
}

} // namespace
} // namespace korvane
