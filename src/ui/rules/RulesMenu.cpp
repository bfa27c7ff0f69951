#include "ui/rules/RulesMenu.h"

#include "core/search/SearchItem.h"
#include "documents/Document.h"
#include "foundation/FilePath.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "rules/RuleSwitch.h"
#include "ui/rules/SlowRules.h"

#include <QAction>
#include <QMenu>

#include <algorithm>

namespace korvane {
namespace {

/// Maximum number of entries, so that the menu fits a small screen.
constexpr std::size_t mostEntries = 30;
/// Number of rules with a shortcut of their own.
constexpr std::size_t mostShortcuts = 9;
constexpr int entryTextWidth = 320;
/// Maximum length of an entry in characters.
constexpr qsizetype longestEntryText = 500;

/// The text as one word of a menu, where a tab begins the shortcut and "&" marks a letter.
QString entryText(QString text) {
    for (QChar& character : text) {
        if (character == u'\t')
            character = u'\u21E5';
        else if (character.category() == QChar::Other_Control)
            character = u' ';
    }
    return text;
}

} // namespace

RulesMenu::RulesMenu(QMenu& menu) : QObject(&menu), menu_(menu) {
    const auto show = [this](const auto&) { showRules(); };
    subscriptions_.push_back(FiltersManager::shared().changed().subscribe(show));
    subscriptions_.push_back(FilterRulesMemento::shared().activeRulesChanged().subscribe(show));
}

void RulesMenu::setDocument(const std::shared_ptr<Document>& document) {
    document_ = document;
    slowRules_ =
        document ? document->notices().slowRulesChanged.subscribe([this] { showRules(); }) : Subscription();
    showRules();
}

QString RulesMenu::docKey() const {
    const auto document = document_.lock();
    return document && !document->isClosed() ? document->settingsId() : QString();
}

void RulesMenu::showRules() {
    const QString key = docKey();
    const auto& rules = FiltersManager::shared().rules();
    const std::vector<SlowRule> slowRules = slowRulesOf(document_.lock().get());
    const std::size_t count = std::min(rules.size(), mostEntries);
    while (entries_.size() > count) {
        delete entries_.back();
        entries_.pop_back();
    }
    while (entries_.size() < count)
        entries_.push_back(addEntry(entries_.size()));
    for (std::size_t i = 0; i < count; ++i) {
        const FilterRule& rule = *rules[i];
        const auto slow = std::ranges::find(slowRules, rule.id(), &SlowRule::id);
        entries_[i]->setText(textOf(rule, slow == slowRules.end() ? nullptr : &*slow));
        entries_[i]->setData(rule.id());
        entries_[i]->setEnabled(!key.isEmpty());
        entries_[i]->setChecked(isRuleActive(rule.id(), key));
    }
    if (!more_)
        more_ = menu_.addAction(QString(), this, &RulesMenu::editorRequested);
    more_->setVisible(rules.size() > count);
    more_->setText(tr("%1 More…").arg(rules.size() - count));
}

QAction* RulesMenu::addEntry(std::size_t index) {
    auto* entry = new QAction(this);
    entry->setCheckable(true);
    connect(entry, &QAction::triggered, this, [this, entry] { toggleRule(*entry); });
    if (index < mostShortcuts)
        entry->setShortcut(QKeySequence(Qt::CTRL | static_cast<Qt::Key>(Qt::Key_1 + index)));
    menu_.insertAction(more_, entry);
    return entry;
}

QString RulesMenu::textOf(const FilterRule& rule, const SlowRule* slow) const {
    const QString text = rule.searchItem()->searchStr();
    const QString shown = menu_.fontMetrics().elidedText(
        text.isEmpty() ? tr("(no text)") : entryText(text.left(longestEntryText)), Qt::ElideRight,
        entryTextWidth);
    return QString(slow ? tr("%1 — too slow for this file").arg(shown) : shown)
        .replace(u'&', QStringLiteral("&&"));
}

void RulesMenu::toggleRule(const QAction& entry) {
    const QString key = docKey();
    if (key.isEmpty())
        return;
    const QUuid id = entry.data().toUuid();
    switchRule(id, key, !isRuleActive(id, key));
}

} // namespace korvane
