#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"

#include "foundation/archive/KeyedArchiver.h"
#include "rules/RuleArchive.h"
#include "support/Golden.h"
#include "support/Rules.h"
#include "support/StoreConformance.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace test;
using Type = FiltersManagerNotification::Type;

const QString rulesFile = FiltersManager::RULES_FILE;
const QString statesFile = FilterRulesMemento::DATA_FILE;

QStringList textsOf(const FiltersManager& manager) {
    QStringList all;
    for (const auto& rule : manager.rules())
        all.append(rule->searchItem()->searchStr());
    return all;
}

struct RulesCase {
    using Store = FiltersManager;
    static QString file() { return rulesFile; }
    static auto load(const QString& directory, UserDefaults&) { return Store::load(directory); }
    static void add(Store& store, const QString& name) { store.addRule(makeRule(name)); }
    static QStringList contents(const Store& store) { return textsOf(store); }
};

/// A name becomes the identity of a rule that is active for one document.
struct StatesCase {
    using Store = FilterRulesMemento;
    static QString file() { return statesFile; }
    static auto load(const QString& directory, UserDefaults&) { return Store::load(directory); }
    static void add(Store& store, const QString& name) {
        store.addActiveRule(QUuid::fromRfc4122(name.toUtf8().leftJustified(16)), u"doc"_s);
    }
    static QStringList contents(const Store& store) {
        QStringList all;
        for (const QUuid& id : store.activeRuleIds(u"doc"_s))
            all.append(QString::fromUtf8(id.toRfc4122()).trimmed());
        return all;
    }
};

using Cases = ::testing::Types<RulesCase, StatesCase>;
INSTANTIATE_TYPED_TEST_SUITE_P(Rules, StoreConformance, Cases);

class RuleStoresTest : public StoreTest {
protected:
    std::unique_ptr<FiltersManager> loadManager() {
        auto manager = FiltersManager::load(directory());
        EXPECT_TRUE(manager) << manager.error().userText.toStdString();
        subscriptions_.push_back(manager.value()->changed().subscribe(
            [this](FiltersManagerNotification change) { posted_.push_back(change.type); }));
        return std::move(manager).value();
    }
    std::unique_ptr<FilterRulesMemento> loadMemento() {
        auto memento = FilterRulesMemento::load(directory());
        EXPECT_TRUE(memento) << memento.error().userText.toStdString();
        subscriptions_.push_back(memento.value()->activeRulesChanged().subscribe(
            [this](const QString& key) { postedKeys_.append(key); }));
        return std::move(memento).value();
    }

    std::vector<Type> posted_;
    QStringList postedKeys_;

private:
    Subscriptions subscriptions_;
};

TEST_F(RuleStoresTest, FirstStartHasTheLevelRulesAndNoFile) {
    const auto manager = loadManager();
    EXPECT_EQ(textsOf(*manager), QStringList({u"INFO"_s, u"WARN"_s, u"DEBUG"_s, u"ERROR"_s}));
    EXPECT_EQ(names(), QStringList());
    EXPECT_EQ(manager->fault(), QString());
    const std::vector<QColor> colors{{0, 140, 0}, {255, 160, 0}, {0, 93, 188}, {255, 0, 0}};
    for (std::size_t i = 0; i < 4; ++i) {
        const FilterRule& rule = *manager->rules()[i];
        EXPECT_FALSE(rule.hide() || rule.searchItem()->ignoreCase() || rule.searchItem()->regex());
        const HighlightRule& highlight = *rule.highlightRule();
        EXPECT_FALSE(highlight.bold() || highlight.italic() || highlight.underline());
        EXPECT_TRUE(highlight.useViewBackground());
        EXPECT_EQ(highlight.foreground(), colors[i]);
        EXPECT_EQ(highlight.background(), QColor(Qt::white));
        EXPECT_EQ(rule.notificationRule(), NotificationRule::defaultRule());
    }

    manager->addRule(makeRule(u"fifth"_s));
    const auto again = loadManager();
    EXPECT_EQ(textsOf(*again), QStringList({u"INFO"_s, u"WARN"_s, u"DEBUG"_s, u"ERROR"_s, u"fifth"_s}));
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(again->rules()[i]->id(), manager->rules()[i]->id());
}

TEST_F(RuleStoresTest, EveryChangeIsSavedBeforeItIsPosted) {
    const auto manager = loadManager();
    QStringList onDisk;
    const auto subscription =
        manager->changed().subscribe([&](const auto&) { onDisk.append(textsOf(*loadManager()).join(u' ')); });
    manager->addRule(makeRule(u"new"_s));
    manager->removeRule(0);
    manager->removeRule(0);
    manager->updateRule(makeRule(u"other"_s), 0);
    const auto last = manager->rule(2);
    last->searchItem()->setSearchStr(u"edited"_s);
    manager->updateRule(last, 2);
    EXPECT_EQ(onDisk, QStringList({u"INFO WARN DEBUG ERROR new"_s, u"WARN DEBUG ERROR new"_s,
                                   u"DEBUG ERROR new"_s, u"other ERROR new"_s, u"other ERROR edited"_s}));
    EXPECT_EQ(posted_, std::vector({Type::filterAdded, Type::filterRemoved, Type::filterRemoved,
                                    Type::filterUpdated, Type::filterUpdated}));
}

TEST_F(RuleStoresTest, IndexesAndIdentitiesOutsideTheListFindAndChangeNothing) {
    const auto manager = loadManager();
    for (const qsizetype index : {qsizetype(-1), qsizetype(4), std::numeric_limits<qsizetype>::max()}) {
        manager->removeRule(index);
        manager->updateRule(makeRule(u"x"_s), index);
        EXPECT_EQ(manager->rule(index), nullptr);
    }
    EXPECT_EQ(manager->rules().size(), 4u);
    EXPECT_EQ(names(), QStringList());
    EXPECT_TRUE(posted_.empty());
    EXPECT_EQ(manager->ruleWithId(QUuid::createUuid()), nullptr);

    const auto last = manager->rule(3);
    EXPECT_EQ(last->searchItem()->searchStr(), u"ERROR"_s);
    manager->addRule(std::make_shared<FilterRule>(last->id(), true, last->searchItem(), last->highlightRule(),
                                                  last->notificationRule()));
    EXPECT_EQ(manager->ruleWithId(last->id()), last) << "the first of an identity";
}

TEST_F(RuleStoresTest, ImportedRulesAreAddedUnderIdentitiesOfTheirOwn) {
    const auto manager = loadManager();
    const auto exported = makeRule(u"exported"_s);
    manager->addRule(exported);
    ASSERT_TRUE(manager->exportRules({exported, exported, manager->rule(0)}, path(u"out"_s)));
    posted_.clear();
    manager->removeRule(0);

    const auto import = manager->readImport(path(u"out"_s));
    ASSERT_TRUE(import) << import.error().userText.toStdString();
    ASSERT_EQ(import.value().rules.size(), 3U);
    ASSERT_EQ(import.value().newRules.size(), 1U) << "known by what it does, not by its identity";
    EXPECT_EQ(import.value().newRules[0]->searchItem()->searchStr(), u"INFO"_s);
    manager->addRules(import.value().rules);
    EXPECT_EQ(posted_, std::vector({Type::filterRemoved, Type::filterAdded}));
    EXPECT_EQ(textsOf(*manager), QStringList({u"WARN"_s, u"DEBUG"_s, u"ERROR"_s, u"exported"_s, u"exported"_s,
                                              u"exported"_s, u"INFO"_s}));
    EXPECT_EQ(textsOf(*loadManager()), textsOf(*manager));
    std::set<QUuid> ids;
    for (const auto& rule : manager->rules())
        ids.insert(rule->id());
    EXPECT_EQ(ids.size(), manager->rules().size());

    write(u"damaged"_s, "damaged");
    for (const QString& name : {u"damaged"_s, u"missing"_s}) {
        const auto failed = manager->readImport(path(name));
        ASSERT_FALSE(failed);
        EXPECT_TRUE(failed.error().userText.contains(path(name)));
    }
    write(u"mixed"_s, ArchiveEditor(archiveRules({makeRule(u"a"_s)})).addStrangersToRoot().archive());
    EXPECT_EQ(manager->readImport(path(u"mixed"_s)).value().leftOut, 2);
}

TEST_F(RuleStoresTest, ActiveRulesOfOneDocumentAreNotThoseOfAnotherAndNoChangeWritesNothing) {
    const QUuid first = QUuid::createUuid();
    const QUuid second = QUuid::createUuid();
    const auto memento = loadMemento();
    EXPECT_TRUE(memento->activeRuleIds(u"a"_s).empty());
    memento->removeActiveRule(first, u"a"_s);
    EXPECT_EQ(names(), QStringList());
    memento->addActiveRule(second, u"a"_s);
    memento->addActiveRule(first, u"a"_s);
    memento->addActiveRule(first, u"b"_s);
    memento->removeActiveRule(first, u"b"_s);
    EXPECT_EQ(postedKeys_, QStringList({u"a"_s, u"a"_s, u"b"_s, u"b"_s}));
    EXPECT_EQ(loadMemento()->activeRuleIds(u"a"_s), std::vector({second, first}));
    EXPECT_TRUE(loadMemento()->activeRuleIds(u"b"_s).empty());

    postedKeys_.clear();
    write(statesFile, "not written again");
    memento->addActiveRule(first, u"a"_s);
    memento->removeActiveRule(QUuid::createUuid(), u"a"_s);
    memento->removeActiveRule(first, u"other"_s);
    EXPECT_EQ(content(statesFile), "not written again");
    EXPECT_EQ(postedKeys_, QStringList());
    EXPECT_EQ(memento->activeRuleIds(u"a"_s), std::vector({second, first}));
}

TEST_F(RuleStoresTest, TheFormatOfTheStatesStays) {
    const auto memento = loadMemento();
    const QUuid first = QUuid::fromRfc4122(QByteArray(16, 1));
    memento->addActiveRule(QUuid::fromRfc4122(QByteArray(16, 2)), u"file:///ä.log"_s);
    memento->addActiveRule(first, u"file:///ä.log"_s);
    memento->addActiveRule(first, u"ssh://u@h:22//a"_s);
    memento->removeActiveRule(first, u"ssh://u@h:22//a"_s);
    expectGolden(u"rules-state"_s, content(statesFile));
}

TEST_F(RuleStoresTest, AnIdentityThatCannotBeReadIsLeftOut) {
    const QUuid id = QUuid::createUuid();
    KeyedArchiver archiver;
    const auto addElement = [&](bool isId) { return isId ? archiver.add(id) : archiver.add(u"x"_s); };
    const auto addList = [&](int) { return archiver.addArray(std::vector{false, true}, addElement); };
    write(statesFile,
          archiver.archivedData(archiver.addDictionary(std::map<QString, int>{{u"a"_s, 0}}, addList)));
    const auto memento = loadMemento();
    EXPECT_EQ(memento->activeRuleIds(u"a"_s), std::vector({id}));
    EXPECT_TRUE(memento->fault().contains(u"left out: 1,"_s));
}

} // namespace
} // namespace korvane
