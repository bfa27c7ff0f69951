#include "rules/FiltersManager.h"

#include "core/search/SearchItem.h"
#include "foundation/archive/StoreFile.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RuleArchive.h"
#include "rules/RuleSnapshot.h"

#include <QCoreApplication>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace korvane {
namespace {

std::shared_ptr<FilterRule> levelRule(const QString& word, const QColor& color) {
    auto searchItem = std::make_shared<SearchItem>(word);
    searchItem->setIgnoreCase(false);
    return std::make_shared<FilterRule>(
        false, std::move(searchItem),
        std::make_shared<HighlightRule>(false, false, false, color, QColor(Qt::white)),
        NotificationRule::defaultRule());
}

} // namespace

FiltersManager::FiltersManager(const QString& directory)
    : ArchivedStore(directory, RULES_FILE), rules_(defaultRules()) {}

Result<std::unique_ptr<FiltersManager>> FiltersManager::load(const QString& directory) {
    return loaded(std::unique_ptr<FiltersManager>(new FiltersManager(directory)));
}

QByteArray FiltersManager::archived() const {
    return archiveRules(rules_);
}

Result<int> FiltersManager::restore(const QByteArray& archive) {
    return takeList(unarchiveRules(archive), rules_);
}

std::shared_ptr<FilterRule> FiltersManager::rule(qsizetype index) const {
    return isIndex(index) ? rules_[static_cast<std::size_t>(index)] : nullptr;
}

std::shared_ptr<FilterRule> FiltersManager::ruleWithId(const QUuid& id) const {
    const auto found = std::find_if(rules_.begin(), rules_.end(),
                                    [&id](const auto& candidate) { return candidate->id() == id; });
    return found == rules_.end() ? nullptr : *found;
}

bool FiltersManager::isIndex(qsizetype index) const {
    return index >= 0 && index < static_cast<qsizetype>(rules_.size());
}

void FiltersManager::addRule(std::shared_ptr<FilterRule> rule) {
    rules_.push_back(std::move(rule));
    save();
    changed_.post({FiltersManagerNotification::Type::filterAdded});
}

void FiltersManager::removeRule(qsizetype index) {
    if (!isIndex(index))
        return;
    rules_.erase(rules_.begin() + index);
    save();
    changed_.post({FiltersManagerNotification::Type::filterRemoved});
}

void FiltersManager::updateRule(std::shared_ptr<FilterRule> rule, qsizetype index) {
    if (!isIndex(index))
        return;
    rules_[static_cast<std::size_t>(index)] = std::move(rule);
    save();
    changed_.post({FiltersManagerNotification::Type::filterUpdated});
}

void FiltersManager::saveIfNeverSaved() {
    if (!hasFile())
        save();
}

Status FiltersManager::exportRules(const Rules& rules, const QString& path) const {
    return writeStoreFile(path, archiveRules(rules));
}

Result<FiltersManager::Import> FiltersManager::readImport(const QString& path) const {
    Import import;
    const Result<int> leftOut = readStore(path, [&import](const QByteArray& archive) {
        return takeList(unarchiveRules(archive), import.rules);
    });
    if (!leftOut)
        return leftOut.error();
    if (leftOut.value() == noStoreFile)
        return Error{ENOENT, QStringLiteral("POSIX"),
                     QCoreApplication::translate("FiltersManager", "“%1” does not exist").arg(path)};
    import.leftOut = leftOut.value();
    std::ranges::copy_if(import.rules, std::back_inserter(import.newRules), [this](const auto& rule) {
        return std::ranges::none_of(rules_, [values = RuleValues(*rule)](const auto& known) {
            return values.isLike(RuleValues(*known));
        });
    });
    return import;
}

void FiltersManager::addRules(const Rules& rules) {
    if (rules.empty())
        return;
    for (const std::shared_ptr<FilterRule>& rule : rules) {
        const bool isKnown = ruleWithId(rule->id()) != nullptr;
        rules_.push_back(isKnown
                             ? std::make_shared<FilterRule>(rule->hide(), rule->searchItem(),
                                                            rule->highlightRule(), rule->notificationRule())
                             : rule);
    }
    save();
    changed_.post({FiltersManagerNotification::Type::filterAdded});
}

FiltersManager::Rules FiltersManager::defaultRules() {
    return {levelRule(QStringLiteral("INFO"), QColor(0, 140, 0)),
            levelRule(QStringLiteral("WARN"), QColor(255, 160, 0)),
            levelRule(QStringLiteral("DEBUG"), QColor(0, 93, 188)),
            levelRule(QStringLiteral("ERROR"), QColor(255, 0, 0))};
}

std::vector<QColor> FiltersManager::defaultTextColors() {
    std::vector<QColor> colors;
    for (const auto& rule : defaultRules())
        colors.push_back(rule->highlightRule()->foreground());
    return colors;
}

} // namespace korvane
