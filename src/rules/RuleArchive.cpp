#include "rules/RuleArchive.h"

#include "core/search/SearchItem.h"
#include "foundation/archive/FieldTable.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/QuickHighlightFilterRule.h"

#include <QCoreApplication>

namespace korvane {

using namespace rulearchive;

namespace {

const QString searchItemClass = QStringLiteral("Korvane.SearchItem");
const QString highlightRuleClass = QStringLiteral("Korvane.HighlightRule");
const QString notificationRuleClass = QStringLiteral("Korvane.NotificationRule");
const QString filterRuleClass = QStringLiteral("Korvane.FilterRule");
const QString quickHighlightFilterRuleClass = QStringLiteral("Korvane.QuickHighlightFilterRule");
const QString rootClass = QStringLiteral("NSObject");

const QString onceText = QStringLiteral("Once");
const QString alwaysText = QStringLiteral("Always");

const auto searchItemFields =
    FieldTable<SearchItem>()
        .required(KEY_SEARCH_STR, &SearchItem::searchStr, &SearchItem::setSearchStr)
        .required(KEY_REGEX, &SearchItem::regex, &SearchItem::setRegex)
        .required(KEY_IGNORE_CASE, &SearchItem::ignoreCase, &SearchItem::setIgnoreCase);

const auto highlightRuleFields =
    FieldTable<HighlightRule>()
        .required(KEY_BOLD, &HighlightRule::bold, &HighlightRule::setBold)
        .required(KEY_ITALIC, &HighlightRule::italic, &HighlightRule::setItalic)
        .required(KEY_UNDERLINE, &HighlightRule::underline, &HighlightRule::setUnderline)
        .required(KEY_FG_COLOR, &HighlightRule::foreground, &HighlightRule::setForeground)
        .required(KEY_BG_COLOR, &HighlightRule::background, &HighlightRule::setBackground)
        .required(KEY_USE_VIEW_BG, &HighlightRule::useViewBackground, &HighlightRule::setUseViewBackground);

QString frequencyText(const NotificationRule& rule) {
    return rule.frequency() == Frequency::Always ? alwaysText : onceText;
}

void setFrequencyText(NotificationRule& rule, const QString& text) {
    rule.setFrequency(text == alwaysText ? Frequency::Always : Frequency::Once);
}

const auto notificationRuleFields =
    FieldTable<NotificationRule>()
        .required(KEY_ENABLED, &NotificationRule::enabled, &NotificationRule::setEnabled)
        .required(KEY_FREQ, &frequencyText, &setFrequencyText)
        .required(KEY_BOUNCE_DOCK, &NotificationRule::bounceDock, &NotificationRule::setBounceDock);

/// The parts of a rule, collected first because the identity of a rule cannot be set later.
struct RuleParts {
    std::shared_ptr<SearchItem> searchItem = {};
    bool hide = false;
    std::shared_ptr<HighlightRule> highlight = {};
    std::shared_ptr<NotificationRule> notification = NotificationRule::defaultRule();
    QUuid id = QUuid::createUuid();
};

/// Any other value than a notification rule means the default one.
Status readNotification(RuleParts& parts, const KeyedDecoder& decoder, const QString& key) {
    const std::optional<ArchivedObject> object = decoder.value(key);
    if (!object || !object->is<NotificationRule>())
        return success();
    auto rule = decoder.decode<std::shared_ptr<NotificationRule>>(key);
    if (!rule)
        return rule.error();
    parts.notification = std::move(rule).value();
    return success();
}

/// Any other value than a UUID means a new one.
Status readId(RuleParts& parts, const KeyedDecoder& decoder, const QString& key) {
    if (const Result<QUuid> id = decoder.decode<QUuid>(key))
        parts.id = id.value();
    return success();
}

const auto filterRuleFields = FieldTable<RuleParts>()
                                  .required(KEY_SEARCH_ITEM, &RuleParts::searchItem)
                                  .required(KEY_HIDE, &RuleParts::hide)
                                  .required(KEY_HIGHLIGHT, &RuleParts::highlight)
                                  .field(KEY_NOTIFICATION, &RuleParts::notification, &readNotification)
                                  .field(KEY_ID, &RuleParts::id, &readId);

Result<std::shared_ptr<FilterRule>> decodeFilterRule(const KeyedDecoder& decoder) {
    const auto parts = filterRuleFields.decoded(decoder, std::make_shared<RuleParts>());
    if (!parts)
        return parts.error();
    const RuleParts& rule = *parts.value();
    return std::make_shared<FilterRule>(rule.id, rule.hide, rule.searchItem, rule.highlight,
                                        rule.notification);
}

const ArchiveClasses& ruleClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        classes.add<SearchItem>(searchItemClass, [](const KeyedDecoder& decoder) {
            return searchItemFields.decoded(decoder, std::make_shared<SearchItem>(QString()));
        });
        classes.add<HighlightRule>(highlightRuleClass, [](const KeyedDecoder& decoder) {
            return highlightRuleFields.decoded(decoder, std::make_shared<HighlightRule>());
        });
        classes.add<NotificationRule>(notificationRuleClass, [](const KeyedDecoder& decoder) {
            return notificationRuleFields.decoded(
                decoder, std::make_shared<NotificationRule>(false, false, Frequency::Once));
        });
        classes.add<FilterRule>(filterRuleClass, &decodeFilterRule);
        classes.add<FilterRule>(quickHighlightFilterRuleClass, &decodeFilterRule);
        return classes;
    }();
    return all;
}

} // namespace

QStringList archivedClassChain(const SearchItem&) {
    return {searchItemClass, rootClass};
}

QStringList archivedClassChain(const HighlightRule&) {
    return {highlightRuleClass, rootClass};
}

QStringList archivedClassChain(const NotificationRule&) {
    return {notificationRuleClass, rootClass};
}

QStringList archivedClassChain(const FilterRule& rule) {
    if (dynamic_cast<const QuickHighlightFilterRule*>(&rule))
        return {quickHighlightFilterRuleClass, filterRuleClass, rootClass};
    return {filterRuleClass, rootClass};
}

void encode(const SearchItem& item, KeyedEncoder& encoder) {
    searchItemFields.encode(item, encoder);
}

void encode(const HighlightRule& rule, KeyedEncoder& encoder) {
    highlightRuleFields.encode(rule, encoder);
}

void encode(const NotificationRule& rule, KeyedEncoder& encoder) {
    notificationRuleFields.encode(rule, encoder);
}

void encode(const FilterRule& rule, KeyedEncoder& encoder) {
    filterRuleFields.encode(
        {rule.searchItem(), rule.hide(), rule.highlightRule(), rule.notificationRule(), rule.id()}, encoder);
}

QByteArray archiveRules(const std::vector<std::shared_ptr<FilterRule>>& rules) {
    return archiveList(rules);
}

Result<UnarchivedList<FilterRule>> unarchiveRules(const QByteArray& archive) {
    return unarchiveList<FilterRule>(archive, ruleClasses(),
                                     QCoreApplication::translate("RuleArchive", "rule %1: %2"));
}

} // namespace korvane
