#pragma once

#include "foundation/Result.h"
#include "foundation/archive/StoreFileSaver.h"
#include "foundation/notices/Notice.h"

#include <QColor>
#include <QString>
#include <QUuid>

#include <memory>
#include <vector>

namespace korvane {

class FilterRule;

/// What `FiltersManager::changed` reports. It names neither the rule nor its index: read the list again.
struct FiltersManagerNotification {
    enum class Type { filterAdded = 0, filterRemoved = 1, filterUpdated = 2 };
    Type type = Type::filterAdded;
};

/// All rules of the program, in one ordered list that is saved whole at every change. Main thread.
class FiltersManager {
public:
    inline static const QString RULES_FILE = QStringLiteral("filters.data");

    using Rules = std::vector<std::shared_ptr<FilterRule>>;

    /// Reads the rules from the directory; without a file there, the four default rules, unsaved. Fails,
    /// naming file and fault, on a file that does not decode; the file is left as it is.
    static Result<std::unique_ptr<FiltersManager>> load(const QString& directory);

    /// The program's own; set once at start.
    static FiltersManager& shared();
    /// Whether one has been set.
    static bool hasShared();
    static void setShared(std::unique_ptr<FiltersManager> manager);

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

    /// Writes the list; a failed write keeps the old file and is told by `fault`.
    void save();
    /// Writes the list if it stands in no file yet (the default rules of a first start).
    void saveIfNeverSaved();

    /// For the footer: what could not be saved, or what of the file could not be read and was left out. Empty
    /// for nothing.
    const QString& fault() const { return file_.fault(); }

    /// Writes rules as a file of their own, for exchange.
    Status exportRules(const Rules& rules, const QString& path) const;

    /// What a file of rules holds.
    struct Import {
        Rules rules;
        /// Those of them that differ from every rule of the list in more than identity.
        Rules newRules;
        /// Entries of the file that are no rules.
        int leftOut = 0;
    };
    /// Reads a file of rules; the list stays as it is. A file without any rule is no failure.
    Result<Import> readImport(const QString& path) const;
    /// Adds rules at the end of the list, saves and posts once. One whose identity is in the list already
    /// gets a new one.
    void addRules(const Rules& rules);

    /// The rules of a first start.
    static Rules defaultRules();
    /// The colours of text that these have: nobody has chosen them.
    static std::vector<QColor> defaultTextColors();

private:
    explicit FiltersManager(QString path) : file_(std::move(path)) {}
    bool isIndex(qsizetype index) const;

    Notice<FiltersManagerNotification> changed_{"FilterManagerNotificationKey"};
    StoreFileSaver file_;
    Rules rules_;
};

} // namespace korvane
