#pragma once

#include "foundation/Result.h"
#include "foundation/archive/StoreFileSaver.h"
#include "foundation/notices/Notice.h"

#include <QString>
#include <QUuid>

#include <map>
#include <memory>
#include <vector>

namespace korvane {

/// Which rules are switched on for which document, saved whole at every change. A document is known by its
/// URL's absolute string. Main thread.
class FilterRulesMemento {
public:
    inline static const QString DATA_FILE = QStringLiteral("rules-state.data");

    /// Reads the states from the directory; without a file there, none. Fails as FiltersManager::load does.
    static Result<std::unique_ptr<FilterRulesMemento>> load(const QString& directory);

    /// The program's own; set once at start.
    static FilterRulesMemento& shared();
    /// Whether one has been set.
    static bool hasShared();
    static void setShared(std::unique_ptr<FilterRulesMemento> memento);

    /// In the order of switching on; empty for an unknown document.
    std::vector<QUuid> activeRuleIds(const QString& docKey) const;
    /// Both save, and then post `activeRulesChanged`; without a change neither.
    void addActiveRule(const QUuid& ruleId, const QString& docKey);
    void removeActiveRule(const QUuid& ruleId, const QString& docKey);
    /// Other rules are switched on for a document. Payload: its key. Main thread.
    Notice<QString>& activeRulesChanged() { return activeRulesChanged_; }

    /// As FiltersManager::fault.
    const QString& fault() const { return file_.fault(); }

private:
    explicit FilterRulesMemento(QString path) : file_(std::move(path)) {}
    void saveAndPost(const QString& docKey);

    Notice<QString> activeRulesChanged_{"ActiveRulesChangedNotification"};
    StoreFileSaver file_;
    std::map<QString, std::vector<QUuid>> states_;
};

} // namespace korvane
