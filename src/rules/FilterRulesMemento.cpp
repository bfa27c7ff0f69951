#include "rules/FilterRulesMemento.h"

#include "foundation/FatalError.h"
#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"

#include <algorithm>

namespace korvane {
namespace {

using States = std::map<QString, std::vector<QUuid>>;

std::unique_ptr<FilterRulesMemento>& sharedMemento() {
    static std::unique_ptr<FilterRulesMemento> memento;
    return memento;
}

struct UnarchivedStates {
    States states;
    /// What is no identity, no list of them or no document's key.
    int leftOut = 0;
};

QByteArray archiveStates(const States& states) {
    KeyedArchiver archiver;
    const auto addId = [&archiver](const QUuid& id) { return archiver.add(id); };
    const auto addIds = [&](const std::vector<QUuid>& ids) { return archiver.addArray(ids, addId); };
    return archiver.archivedData(archiver.addDictionary(states, addIds));
}

Result<UnarchivedStates> unarchiveStates(const QByteArray& archive) {
    const ArchiveClasses none;
    const auto unarchiver = KeyedUnarchiver::open(archive, none);
    if (!unarchiver)
        return unarchiver.error();
    const auto entries = unarchiver.value()->root().entries();
    if (!entries)
        return entries.error();
    UnarchivedStates result;
    for (const auto& [key, value] : entries.value()) {
        const Result<QString> docKey = key.text();
        const auto elements = value.elements();
        if (!docKey || !elements) {
            ++result.leftOut;
            continue;
        }
        std::vector<QUuid>& ids = result.states[docKey.value()];
        for (const ArchivedObject& element : elements.value()) {
            if (const Result<QUuid> id = element.uuid())
                ids.push_back(id.value());
            else
                ++result.leftOut;
        }
    }
    return result;
}

} // namespace

Result<std::unique_ptr<FilterRulesMemento>> FilterRulesMemento::load(const QString& directory) {
    std::unique_ptr<FilterRulesMemento> memento(new FilterRulesMemento(directory + u'/' + DATA_FILE));
    Result<std::optional<UnarchivedStates>> stored = memento->file_.read(&unarchiveStates);
    if (!stored)
        return stored.error();
    if (stored.value())
        memento->states_ = std::move(stored.value()->states);
    return memento;
}

FilterRulesMemento& FilterRulesMemento::shared() {
    if (!sharedMemento())
        fatalError("The active rules are asked for before they are loaded");
    return *sharedMemento();
}

bool FilterRulesMemento::hasShared() {
    return sharedMemento() != nullptr;
}

void FilterRulesMemento::setShared(std::unique_ptr<FilterRulesMemento> memento) {
    sharedMemento() = std::move(memento);
}

std::vector<QUuid> FilterRulesMemento::activeRuleIds(const QString& docKey) const {
    const auto known = states_.find(docKey);
    return known == states_.end() ? std::vector<QUuid>() : known->second;
}

void FilterRulesMemento::addActiveRule(const QUuid& ruleId, const QString& docKey) {
    std::vector<QUuid>& ids = states_[docKey];
    if (std::find(ids.begin(), ids.end(), ruleId) != ids.end())
        return;
    ids.push_back(ruleId);
    saveAndPost(docKey);
}

void FilterRulesMemento::removeActiveRule(const QUuid& ruleId, const QString& docKey) {
    const auto known = states_.find(docKey);
    if (known == states_.end() || std::erase(known->second, ruleId) == 0)
        return;
    saveAndPost(docKey);
}

void FilterRulesMemento::saveAndPost(const QString& docKey) {
    file_.save(archiveStates(states_));
    activeRulesChanged_.post(docKey);
}

} // namespace korvane
