#include "rules/FilterRulesMemento.h"

#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"

#include <algorithm>

namespace korvane {
namespace {

using States = std::map<QString, std::vector<QUuid>>;

struct UnarchivedStates {
    States states;
    /// Keys, lists and identities that could not be read.
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
    return loaded(std::unique_ptr<FilterRulesMemento>(new FilterRulesMemento(directory)));
}

QByteArray FilterRulesMemento::archived() const {
    return archiveStates(states_);
}

Result<int> FilterRulesMemento::restore(const QByteArray& archive) {
    Result<UnarchivedStates> stored = unarchiveStates(archive);
    if (!stored)
        return stored.error();
    states_ = std::move(stored.value().states);
    return stored.value().leftOut;
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
    save();
    activeRulesChanged_.post(docKey);
}

} // namespace korvane
