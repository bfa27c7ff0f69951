#include "rules/RuleArchive.h"

#include "core/search/SearchItem.h"
#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"
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

/// Reads several booleans; the first fault stays.
class BoolReader {
public:
    explicit BoolReader(const KeyedDecoder& decoder) : decoder_(decoder) {}

    bool operator()(const QString& key) {
        Result<bool> value = decoder_.decodeBool(key);
        if (!value && !error_)
            error_ = value.error();
        return value && value.value();
    }
    const std::optional<Error>& error() const { return error_; }

private:
    const KeyedDecoder& decoder_;
    std::optional<Error> error_;
};

Result<std::shared_ptr<SearchItem>> decodeSearchItem(const KeyedDecoder& decoder) {
    const Result<QString> text = decoder.decodeText(KEY_SEARCH_STR);
    if (!text)
        return text.error();
    auto item = std::make_shared<SearchItem>(text.value());
    BoolReader readBool(decoder);
    item->setRegex(readBool(KEY_REGEX));
    item->setIgnoreCase(readBool(KEY_IGNORE_CASE));
    if (readBool.error())
        return *readBool.error();
    return item;
}

Result<std::shared_ptr<HighlightRule>> decodeHighlightRule(const KeyedDecoder& decoder) {
    const Result<QColor> foreground = decoder.decodeColor(KEY_FG_COLOR);
    if (!foreground)
        return foreground.error();
    const Result<QColor> background = decoder.decodeColor(KEY_BG_COLOR);
    if (!background)
        return background.error();
    auto rule = std::make_shared<HighlightRule>();
    rule->setForeground(foreground.value());
    rule->setBackground(background.value());
    BoolReader readBool(decoder);
    rule->setBold(readBool(KEY_BOLD));
    rule->setItalic(readBool(KEY_ITALIC));
    rule->setUnderline(readBool(KEY_UNDERLINE));
    rule->setUseViewBackground(readBool(KEY_USE_VIEW_BG));
    if (readBool.error())
        return *readBool.error();
    return rule;
}

Result<std::shared_ptr<NotificationRule>> decodeNotificationRule(const KeyedDecoder& decoder) {
    const Result<QString> frequency = decoder.decodeText(KEY_FREQ);
    if (!frequency)
        return frequency.error();
    BoolReader readBool(decoder);
    const bool enabled = readBool(KEY_ENABLED);
    const bool bounceDock = readBool(KEY_BOUNCE_DOCK);
    if (readBool.error())
        return *readBool.error();
    return std::make_shared<NotificationRule>(
        enabled, bounceDock, frequency.value() == alwaysText ? Frequency::Always : Frequency::Once);
}

Result<std::shared_ptr<NotificationRule>> notificationOf(const KeyedDecoder& decoder) {
    const std::optional<ArchivedObject> object = decoder.value(KEY_NOTIFICATION);
    if (!object || !object->is<NotificationRule>())
        return NotificationRule::defaultRule();
    return decoder.decodeObject<NotificationRule>(KEY_NOTIFICATION);
}

QUuid idOf(const KeyedDecoder& decoder) {
    if (const std::optional<ArchivedObject> object = decoder.value(KEY_ID)) {
        if (const Result<QUuid> id = object->uuid())
            return id.value();
    }
    return QUuid::createUuid();
}

Result<std::shared_ptr<FilterRule>> decodeFilterRule(const KeyedDecoder& decoder) {
    const auto searchItem = decoder.decodeObject<SearchItem>(KEY_SEARCH_ITEM);
    if (!searchItem)
        return searchItem.error();
    const auto highlight = decoder.decodeObject<HighlightRule>(KEY_HIGHLIGHT);
    if (!highlight)
        return highlight.error();
    const auto notification = notificationOf(decoder);
    if (!notification)
        return notification.error();
    const Result<bool> hide = decoder.decodeBool(KEY_HIDE);
    if (!hide)
        return hide.error();
    return std::make_shared<FilterRule>(idOf(decoder), hide.value(), searchItem.value(), highlight.value(),
                                        notification.value());
}

const ArchiveClasses& ruleClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        classes.add<SearchItem>(searchItemClass, &decodeSearchItem);
        classes.add<HighlightRule>(highlightRuleClass, &decodeHighlightRule);
        classes.add<NotificationRule>(notificationRuleClass, &decodeNotificationRule);
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
    encoder.encode(KEY_SEARCH_STR, item.searchStr());
    encoder.encodeBool(KEY_REGEX, item.regex());
    encoder.encodeBool(KEY_IGNORE_CASE, item.ignoreCase());
}

void encode(const HighlightRule& rule, KeyedEncoder& encoder) {
    encoder.encodeBool(KEY_BOLD, rule.bold());
    encoder.encodeBool(KEY_ITALIC, rule.italic());
    encoder.encodeBool(KEY_UNDERLINE, rule.underline());
    encoder.encode(KEY_FG_COLOR, rule.foreground());
    encoder.encode(KEY_BG_COLOR, rule.background());
    encoder.encodeBool(KEY_USE_VIEW_BG, rule.useViewBackground());
}

void encode(const NotificationRule& rule, KeyedEncoder& encoder) {
    encoder.encodeBool(KEY_ENABLED, rule.enabled());
    encoder.encode(KEY_FREQ, rule.frequency() == Frequency::Always ? alwaysText : onceText);
    encoder.encodeBool(KEY_BOUNCE_DOCK, rule.bounceDock());
}

void encode(const FilterRule& rule, KeyedEncoder& encoder) {
    encoder.encode(KEY_SEARCH_ITEM, rule.searchItem());
    encoder.encodeBool(KEY_HIDE, rule.hide());
    encoder.encode(KEY_HIGHLIGHT, rule.highlightRule());
    encoder.encode(KEY_NOTIFICATION, rule.notificationRule());
    encoder.encode(KEY_ID, rule.id());
}

QByteArray archiveRules(const std::vector<std::shared_ptr<FilterRule>>& rules) {
    KeyedArchiver archiver;
    return archiver.archivedData(archiver.addArray(
        rules, [&archiver](const std::shared_ptr<FilterRule>& rule) { return archiver.add(rule); }));
}

Result<UnarchivedRules> unarchiveRules(const QByteArray& archive) {
    const auto unarchiver = KeyedUnarchiver::open(archive, ruleClasses());
    if (!unarchiver)
        return unarchiver.error();
    const auto elements = unarchiver.value()->root().elements();
    if (!elements)
        return elements.error();
    UnarchivedRules result;
    int number = 0;
    for (const ArchivedObject& element : elements.value()) {
        ++number;
        if (!element.is<FilterRule>()) {
            ++result.leftOut;
            continue;
        }
        Result<std::shared_ptr<FilterRule>> rule = element.object<FilterRule>();
        if (!rule)
            return Error{rule.error().code, rule.error().domain,
                         QCoreApplication::translate("RuleArchive", "rule %1: %2")
                             .arg(number)
                             .arg(rule.error().userText)};
        result.rules.push_back(std::move(rule).value());
    }
    return result;
}

} // namespace korvane
