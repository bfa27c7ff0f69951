#pragma once

#include "foundation/Shared.h"
#include "foundation/archive/ArchivedStore.h"
#include "foundation/notices/Notice.h"

#include <QColor>
#include <QString>
#include <QUuid>

#include <memory>
#include <vector>

namespace korvane {

class FilterRule;

/// What `FiltersManager::changed` reports. It names neither the rule nor its index: observers read the list
/// again.
struct FiltersManagerNotification {
    enum class Type { filterAdded = 0, filterRemoved = 1, filterUpdated = 2 };
    Type type = Type::filterAdded;
};

/// All rules of the program, in one ordered list.
class FiltersManager : public ArchivedStore, public Shared<FiltersManager> {
public:
    inline static const QString RULES_FILE = QStringLiteral("filters.data");

    using Rules = std::vector<std::shared_ptr<FilterRule>>;

    /// Reads the rules from the directory; without a file there, the four default rules, unsaved. Fails as
    /// `ArchivedStore::loaded`.
    static Result<std::unique_ptr<FiltersManager>> load(const QString& directory);

    const Rules& rules() const { return rules_; }
    /// Null when there is no rule at the index.
    std::shared_ptr<FilterRule> rule(qsizetype index) const;
    /// The first rule of that identity, null if there is none.
    std::shared_ptr<FilterRule> ruleWithId(const QUuid& id) const;

    /// Each saves and then posts `changed`. An index outside the list changes nothing.
    void addRule(std::shared_ptr<FilterRule> rule);
    void removeRule(qsizetype index);
    void updateRule(std::shared_ptr<FilterRule> rule, qsizetype index);
    /// The list has changed and been saved. Main thread.
    Notice<FiltersManagerNotification>& changed() { return changed_; }

    /// Writes the list if there is no file yet (the default rules of a first start).
    void saveIfNeverSaved();

    /// Writes rules as a file of their own, for exchange.
    Status exportRules(const Rules& rules, const QString& path) const;

    /// The content of a file of rules.
    struct Import {
        Rules rules;
        /// Rules that differ from every rule of the list in more than the identity.
        Rules newRules;
        /// Entries of the file that are not rules.
        int leftOut = 0;
    };
    /// Reads a file of rules; the list stays as it is. A file without rules is no failure.
    Result<Import> readImport(const QString& path) const;
    /// Appends the rules, saves and posts once. A rule whose identity is already in the list gets a new one.
    void addRules(const Rules& rules);

    /// The rules of the first start.
    static Rules defaultRules();
    /// The text colours of `defaultRules`, which the user has not chosen.
    static std::vector<QColor> defaultTextColors();

private:
    explicit FiltersManager(const QString& directory);
    QByteArray archived() const override;
    Result<int> restore(const QByteArray& archive) override;
    bool isIndex(qsizetype index) const;

    Notice<FiltersManagerNotification> changed_{"FilterManagerNotificationKey"};
    Rules rules_;
};

} // namespace korvane
