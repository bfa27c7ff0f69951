#include "app/RuleStores.h"

#include "foundation/StoreFile.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"

#include <utility>

namespace korvane {
namespace {

template <typename Store>
bool loadStore(const QString& directory, const QString& fileName, const StoreFaultQuestion& ask) {
    for (;;) {
        auto loaded = Store::load(directory);
        if (loaded) {
            Store::setShared(std::move(loaded).value());
            return true;
        }
        if (!ask(loaded.error()))
            return false;
        const auto moved = setAside(directory + QLatin1Char('/') + fileName);
        // If it cannot be moved, the question comes again, now with that reason.
        if (!moved && !ask(moved.error()))
            return false;
    }
}

} // namespace

bool loadRuleStores(const QString& directory, const StoreFaultQuestion& ask) {
    return loadStore<FiltersManager>(directory, FiltersManager::RULES_FILE, ask) &&
           loadStore<FilterRulesMemento>(directory, FilterRulesMemento::DATA_FILE, ask);
}

} // namespace korvane
