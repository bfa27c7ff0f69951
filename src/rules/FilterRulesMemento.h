#pragma once

#include "foundation/Shared.h"
#include "foundation/archive/ArchivedStore.h"
#include "foundation/notices/Notice.h"

#include <QString>
#include <QUuid>

#include <map>
#include <memory>
#include <vector>

namespace korvane {

/// Which rules are switched on for which document. A document is identified by its URL's absolute string.
class FilterRulesMemento : public ArchivedStore, public Shared<FilterRulesMemento> {
public:
    inline static const QString DATA_FILE = QStringLiteral("rules-state.data");

    /// Reads the states from the directory; empty without a file there. Fails as `ArchivedStore::loaded`.
    static Result<std::unique_ptr<FilterRulesMemento>> load(const QString& directory);

    /// In the order of switching on; empty for an unknown document.
    std::vector<QUuid> activeRuleIds(const QString& docKey) const;
    /// Both save, and then post `activeRulesChanged`; without a change neither.
    void addActiveRule(const QUuid& ruleId, const QString& docKey);
    void removeActiveRule(const QUuid& ruleId, const QString& docKey);
    /// Other rules are switched on for a document. Payload: its key. Main thread.
    Notice<QString>& activeRulesChanged() { return activeRulesChanged_; }

private:
    explicit FilterRulesMemento(const QString& directory) : ArchivedStore(directory, DATA_FILE) {}
    QByteArray archived() const override;
    Result<int> restore(const QByteArray& archive) override;
    void saveAndPost(const QString& docKey);

    Notice<QString> activeRulesChanged_{"ActiveRulesChangedNotification"};
    std::map<QString, std::vector<QUuid>> states_;
};

} // namespace korvane
