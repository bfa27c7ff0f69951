#include "rules/RuleArchive.h"

#include "core/search/SearchItem.h"
#include "foundation/archive/KeyedArchiver.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/QuickHighlightFilterRule.h"
#include "support/Golden.h"
#include "support/Mutator.h"
#include "support/RawArchive.h"
#include "support/StoreTest.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

using Rules = std::vector<std::shared_ptr<FilterRule>>;

std::shared_ptr<FilterRule> ruleOf(const QString& text, int flags,
                                   std::shared_ptr<NotificationRule> notification) {
    auto item = std::make_shared<SearchItem>(text);
    item->setRegex(flags & 1);
    item->setIgnoreCase(flags & 2);
    auto highlight = std::make_shared<HighlightRule>(flags & 4, flags & 8, flags & 16, QColor(1, 2, 3, 4),
                                                     QColor(Qt::white));
    highlight->setUseViewBackground(flags & 32);
    return std::make_shared<FilterRule>(flags & 64, item, highlight, std::move(notification));
}

int flagsOf(const FilterRule& rule) {
    const SearchItem& item = *rule.searchItem();
    const HighlightRule& highlight = *rule.highlightRule();
    return item.regex() * 1 + item.ignoreCase() * 2 + highlight.bold() * 4 + highlight.italic() * 8 +
           highlight.underline() * 16 + highlight.useViewBackground() * 32 + rule.hide() * 64;
}

using RuleArchiveTest = test::StoreTest;

TEST_F(RuleArchiveTest, EveryFieldSurvivesOnItsOwn) {
    Rules rules;
    for (int flag = 0; flag <= 64; flag = flag ? flag * 2 : 1) {
        rules.push_back(ruleOf(u"text %1"_s.arg(flag), flag,
                               std::make_shared<NotificationRule>(
                                   flag & 1, flag & 2, flag & 4 ? Frequency::Always : Frequency::Once)));
    }
    const auto read = unarchiveRules(archiveRules(rules));
    ASSERT_TRUE(read) << read.error().userText.toStdString();
    ASSERT_EQ(read.value().objects.size(), rules.size());
    EXPECT_EQ(read.value().leftOut, 0);
    for (std::size_t i = 0; i < rules.size(); ++i) {
        const FilterRule& rule = *read.value().objects[i];
        SCOPED_TRACE(i);
        EXPECT_EQ(rule.id(), rules[i]->id());
        EXPECT_EQ(rule.searchItem()->searchStr(), rules[i]->searchItem()->searchStr());
        EXPECT_EQ(flagsOf(rule), flagsOf(*rules[i]));
        EXPECT_EQ(rule.highlightRule()->foreground(), QColor(1, 2, 3, 4));
        EXPECT_EQ(rule.highlightRule()->background(), QColor(Qt::white));
        EXPECT_EQ(rule.notificationRule()->enabled(), rules[i]->notificationRule()->enabled());
        EXPECT_EQ(rule.notificationRule()->bounceDock(), rules[i]->notificationRule()->bounceDock());
        EXPECT_EQ(rule.notificationRule()->frequency(), rules[i]->notificationRule()->frequency());
    }
}

TEST_F(RuleArchiveTest, RulesThatShareAPartShareItAfterwards) {
    const auto notification = std::make_shared<NotificationRule>(true, false, Frequency::Always);
    const auto first = ruleOf(u"a"_s, 0, notification);
    const auto read = unarchiveRules(archiveRules({first, ruleOf(u"b"_s, 0, notification), first}));
    ASSERT_TRUE(read);
    const Rules& rules = read.value().objects;
    ASSERT_EQ(rules.size(), 3u);
    EXPECT_EQ(rules[0], rules[2]);
    EXPECT_NE(rules[0], rules[1]);
    EXPECT_EQ(rules[0]->notificationRule(), rules[1]->notificationRule());
    EXPECT_NE(rules[0]->highlightRule(), rules[1]->highlightRule());
}

TEST_F(RuleArchiveTest, QuickHighlightComesBackAsAPlainRule) {
    const auto quick = std::make_shared<QuickHighlightFilterRule>(u"text"_s);
    const auto read = unarchiveRules(archiveRules({quick}));
    ASSERT_TRUE(read);
    ASSERT_EQ(read.value().objects.size(), 1u);
    const FilterRule& rule = *read.value().objects[0];
    EXPECT_EQ(typeid(rule), typeid(FilterRule));
    EXPECT_EQ(rule.id(), quick->id());
    EXPECT_EQ(rule.highlightRule()->background(), QColor(Qt::green));
}

TEST_F(RuleArchiveTest, TheFormatStays) {
    const auto numbered = [](char number, const FilterRule& rule) {
        return std::make_shared<FilterRule>(QUuid::fromRfc4122(QByteArray(16, number)), rule.hide(),
                                            rule.searchItem(), rule.highlightRule(), rule.notificationRule());
    };
    const auto shared = std::make_shared<NotificationRule>(true, false, Frequency::Always);
    const auto first = numbered(1, *ruleOf(u"größe \U0001F600"_s, 1 + 4 + 32, shared));
    const auto second = numbered(2, *ruleOf({}, 2 + 8 + 16 + 64, shared));
    const auto third =
        numbered(3, *ruleOf({}, 0, std::make_shared<NotificationRule>(false, true, Frequency::Once)));
    const auto quick = std::make_shared<QuickHighlightFilterRule>(u"q"_s);
    QByteArray archive = archiveRules({first, second, third, quick, first});
    test::expectGolden(u"rules"_s, archive.replace(quick->id().toRfc4122(), QByteArray(16, 4)));
}

TEST_F(RuleArchiveTest, FileOfAnIndependentWriterIsRead) {
    test::runPython(u"build_filters.py"_s, {path(u"f"_s)});
    const auto read = unarchiveRules(content(u"f"_s));
    ASSERT_TRUE(read) << read.error().userText.toStdString();
    EXPECT_EQ(read.value().leftOut, 0);
    const Rules& rules = read.value().objects;
    ASSERT_EQ(rules.size(), 5u);

    EXPECT_EQ(rules[0]->id(), QUuid(u"01234567-89ab-cdef-0123-456789abcdef"_s));
    EXPECT_EQ(flagsOf(*rules[0]), 1 + 2 + 4 + 16 + 64);
    EXPECT_EQ(rules[0]->searchItem()->searchStr(), u"error"_s);
    EXPECT_EQ(rules[0]->highlightRule()->foreground(), QColor(255, 0, 0));
    EXPECT_EQ(rules[0]->highlightRule()->background(), QColor(255, 255, 255));
    EXPECT_TRUE(rules[0]->notificationRule()->enabled());
    EXPECT_TRUE(rules[0]->notificationRule()->bounceDock());
    EXPECT_EQ(rules[0]->notificationRule()->frequency(), Frequency::Always);

    // Booleans that are absent are false, whatever a new rule would have.
    EXPECT_EQ(rules[1]->id(), QUuid(u"fedcba98-7654-3210-fedc-ba9876543210"_s));
    EXPECT_EQ(flagsOf(*rules[1]), 0);
    EXPECT_EQ(rules[1]->searchItem()->searchStr(), u"größe \U0001F600"_s);
    EXPECT_EQ(rules[1]->highlightRule()->foreground(), QColor(51, 51, 51, 102));
    EXPECT_EQ(rules[1]->highlightRule()->background(), QColor(0, 51, 255));
    EXPECT_EQ(rules[1]->notificationRule()->frequency(), Frequency::Once); // "always" is not "Always"
    EXPECT_TRUE(rules[1]->notificationRule()->enabled());

    const auto again = unarchiveRules(content(u"f"_s));
    for (std::size_t i = 2; i < rules.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rules[i]->searchItem(), rules[0]->searchItem());
        EXPECT_EQ(rules[i]->highlightRule(), rules[0]->highlightRule());
        EXPECT_EQ(rules[i]->notificationRule(), NotificationRule::defaultRule());
        EXPECT_FALSE(rules[i]->id().isNull());
        EXPECT_NE(rules[i]->id(), again.value().objects[i]->id());
    }
}

using test::raw;

/// An archive of one sound rule, but for what is given in place of one of its fields (nothing: left out).
QByteArray ruleWith(const QString& replacedKey, const test::FieldWriter& replacement) {
    using namespace rulearchive;
    const auto field = [&](KeyedEncoder& encoder, const QString& key, const auto& value) {
        if (key != replacedKey)
            encoder.encode(key, value);
        else if (replacement)
            replacement(encoder, key);
    };
    const auto flag = [&](KeyedEncoder& encoder, const QString& key) {
        if (key != replacedKey)
            encoder.encode(key, true);
        else if (replacement)
            replacement(encoder, key);
    };
    const auto item = raw(u"Korvane.SearchItem"_s, [&](KeyedEncoder& encoder) {
        field(encoder, KEY_SEARCH_STR, u"text"_s);
        flag(encoder, KEY_REGEX);
    });
    const auto highlight = raw(u"Korvane.HighlightRule"_s, [&](KeyedEncoder& encoder) {
        field(encoder, KEY_FG_COLOR, QColor(Qt::red));
        field(encoder, KEY_BG_COLOR, QColor(Qt::white));
        flag(encoder, KEY_BOLD);
    });
    const auto notification = raw(u"Korvane.NotificationRule"_s, [&](KeyedEncoder& encoder) {
        field(encoder, KEY_FREQ, u"Always"_s);
        flag(encoder, KEY_ENABLED);
    });
    const auto rule = raw(u"Korvane.FilterRule"_s, [&](KeyedEncoder& encoder) {
        field(encoder, KEY_SEARCH_ITEM, item);
        field(encoder, KEY_HIGHLIGHT, highlight);
        field(encoder, KEY_NOTIFICATION, notification);
        flag(encoder, KEY_HIDE);
    });
    return test::archiveOf({rule});
}

TEST_F(RuleArchiveTest, RequiredFieldThatIsMissingOrWrongIsNamed) {
    using namespace rulearchive;
    ASSERT_TRUE(unarchiveRules(ruleWith(u"none of them"_s, {})));
    const test::FieldWriter stranger = test::objectField(raw(u"Korvane.Stranger"_s));
    for (const QString& key :
         {KEY_SEARCH_STR, KEY_FG_COLOR, KEY_BG_COLOR, KEY_FREQ, KEY_SEARCH_ITEM, KEY_HIGHLIGHT}) {
        for (const test::FieldWriter& replacement :
             {test::FieldWriter(), test::numberField(7), stranger, test::nullField()}) {
            const auto read = unarchiveRules(ruleWith(key, replacement));
            ASSERT_FALSE(read) << key.toStdString();
            EXPECT_TRUE(read.error().userText.contains(u"rule 1"_s)) << read.error().userText.toStdString();
            EXPECT_TRUE(read.error().userText.contains(key)) << read.error().userText.toStdString();
        }
    }
    // A boolean may be absent, and may not be a text.
    for (const QString& key : {KEY_REGEX, KEY_BOLD, KEY_ENABLED, KEY_HIDE}) {
        EXPECT_TRUE(unarchiveRules(ruleWith(key, {}))) << key.toStdString();
        EXPECT_FALSE(unarchiveRules(ruleWith(key, test::textField(u"true"_s)))) << key.toStdString();
    }
    EXPECT_TRUE(unarchiveRules(ruleWith(KEY_NOTIFICATION, stranger)));
}

TEST_F(RuleArchiveTest, OnlyAListIsARoot) {
    KeyedArchiver archiver;
    const auto rule = ruleOf(u"a"_s, 0, NotificationRule::defaultRule());
    EXPECT_FALSE(unarchiveRules(archiver.archivedData(archiver.add(rule))));
    KeyedArchiver ofNull;
    EXPECT_FALSE(unarchiveRules(ofNull.archivedData(KeyedArchiver::null())));
    EXPECT_TRUE(unarchiveRules(archiveRules({})));
}

TEST_F(RuleArchiveTest, DamagedArchivesAreRefusedOrReadWhole) {
    const auto notification = std::make_shared<NotificationRule>(true, false, Frequency::Always);
    const QByteArray sound =
        archiveRules({ruleOf(u"error"_s, 1, notification), ruleOf(u"größe"_s, 2, notification),
                      std::make_shared<QuickHighlightFilterRule>(u"q"_s)});
    const int wanted = qEnvironmentVariableIntValue("KORVANE_FUZZ_ROUNDS");
    const int rounds = wanted > 0 ? wanted : 100'000;
    test::Mutator mutator(20'240'229);
    int refused = 0;
    int read = 0;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray bytes = mutator.mutated(sound);
        const auto rules = unarchiveRules(bytes);
        if (!rules) {
            ++refused;
            ASSERT_FALSE(rules.error().userText.isEmpty()) << bytes.toHex().constData();
            continue;
        }
        ++read;
        for (const auto& rule : rules.value().objects)
            ASSERT_TRUE(rule && rule->searchItem() && rule->highlightRule() && rule->notificationRule());
        const auto again = unarchiveRules(archiveRules(rules.value().objects));
        ASSERT_TRUE(again) << bytes.toHex().constData();
        ASSERT_EQ(again.value().objects.size(), rules.value().objects.size());
    }
    EXPECT_GT(refused, rounds / 10);
    EXPECT_GT(read, rounds / 10);
    RecordProperty("refused", refused);
    RecordProperty("read", read);
}

} // namespace
} // namespace korvane
