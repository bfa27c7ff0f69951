#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"

#include "core/NotificationNames.h"
#include "core/search/SearchItem.h"
#include "foundation/archive/KeyedArchiver.h"
#include "rules/FilterRule.h"
#include "rules/HighlightRule.h"
#include "rules/NotificationRule.h"
#include "rules/RuleArchive.h"
#include "support/Golden.h"
#include "support/StoreTest.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using Type = FiltersManagerNotification::Type;

const QString rulesFile = FiltersManager::RULES_FILE;
const QString statesFile = FilterRulesMemento::DATA_FILE;
/// A name that no longer is what was written, if the test wrote it anew.
const QByteArray marker = "not written again";

std::shared_ptr<FilterRule> newRule(const QString& text) {
    return std::make_shared<FilterRule>(false, std::make_shared<SearchItem>(text),
                                        std::make_shared<HighlightRule>(), NotificationRule::defaultRule());
}

class RuleStoresTest : public test::StoreTest {
protected:
    std::unique_ptr<FiltersManager> loadManager() const {
        auto manager = FiltersManager::load(directory());
        EXPECT_TRUE(manager) << manager.error().userText.toStdString();
        return std::move(manager).value();
    }
    std::unique_ptr<FilterRulesMemento> loadMemento() const {
        auto memento = FilterRulesMemento::load(directory());
        EXPECT_TRUE(memento) << memento.error().userText.toStdString();
        return std::move(memento).value();
    }
    static QStringList texts(const FiltersManager& manager) {
        QStringList all;
        for (const auto& rule : manager.rules())
            all.append(rule->searchItem()->searchStr());
        return all;
    }
    /// A list of two rules, with a UUID and a text in between.
    static QByteArray mixedList() {
        KeyedArchiver archiver;
        const std::vector<int> places{0, 1, 2, 3};
        const auto add = [&](int place) {
            if (place == 1)
                return archiver.add(QUuid::createUuid());
            return place == 2 ? archiver.add(u"stray"_s) : archiver.add(newRule(QString::number(place)));
        };
        return archiver.archivedData(archiver.addArray(places, add));
    }

    std::vector<Type> posted_;
    QStringList postedKeys_;

private:
    NotificationToken rulesToken_ = NotificationCenter::shared().observe(
        notification::filterManager, [this](const Notification& notification) {
            posted_.push_back(std::any_cast<FiltersManagerNotification>(notification.object).type);
        });
    NotificationToken statesToken_ = NotificationCenter::shared().observe(
        notification::activeRulesChanged, [this](const Notification& notification) {
            postedKeys_.append(std::any_cast<QString>(notification.object));
        });
};

TEST_F(RuleStoresTest, FirstStartHasTheLevelRulesAndNoFile) {
    const auto manager = loadManager();
    EXPECT_EQ(texts(*manager), QStringList({u"INFO"_s, u"WARN"_s, u"DEBUG"_s, u"ERROR"_s}));
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

    manager->addRule(newRule(u"fifth"_s));
    const auto again = loadManager();
    EXPECT_EQ(texts(*again), QStringList({u"INFO"_s, u"WARN"_s, u"DEBUG"_s, u"ERROR"_s, u"fifth"_s}));
    for (std::size_t i = 0; i < 5; ++i)
        EXPECT_EQ(again->rules()[i]->id(), manager->rules()[i]->id());
}

TEST_F(RuleStoresTest, EveryChangeIsSavedBeforeItIsPosted) {
    const auto manager = loadManager();
    QStringList onDisk;
    const auto token =
        NotificationCenter::shared().observe(notification::filterManager, [&](const Notification&) {
            onDisk.append(texts(*loadManager()).join(u' '));
        });
    manager->addRule(newRule(u"new"_s));
    manager->removeRule(0);
    manager->removeRule(0);
    manager->updateRule(newRule(u"other"_s), 0);
    const auto last = manager->rule(2);
    last->searchItem()->setSearchStr(u"edited"_s);
    manager->updateRule(last, 2);
    EXPECT_EQ(onDisk, QStringList({u"INFO WARN DEBUG ERROR new"_s, u"WARN DEBUG ERROR new"_s,
                                   u"DEBUG ERROR new"_s, u"other ERROR new"_s, u"other ERROR edited"_s}));
    EXPECT_EQ(posted_, std::vector({Type::filterAdded, Type::filterRemoved, Type::filterRemoved,
                                    Type::filterUpdated, Type::filterUpdated}));
}

TEST_F(RuleStoresTest, IndexesOutsideTheListChangeNothing) {
    const auto manager = loadManager();
    for (const qsizetype index : {qsizetype(-1), qsizetype(4), std::numeric_limits<qsizetype>::max()}) {
        manager->removeRule(index);
        manager->updateRule(newRule(u"x"_s), index);
        EXPECT_EQ(manager->rule(index), nullptr);
    }
    EXPECT_EQ(manager->rules().size(), 4u);
    EXPECT_EQ(names(), QStringList());
    EXPECT_TRUE(posted_.empty());
    EXPECT_EQ(manager->rule(3)->searchItem()->searchStr(), u"ERROR"_s);
}

TEST_F(RuleStoresTest, FirstRuleOfAnIdentityIsFound) {
    const auto manager = loadManager();
    const auto original = newRule(u"a"_s);
    manager->addRule(original);
    manager->addRule(std::make_shared<FilterRule>(original->id(), true, original->searchItem(),
                                                  original->highlightRule(), original->notificationRule()));
    EXPECT_EQ(manager->ruleWithId(original->id()), original);
    EXPECT_EQ(manager->ruleWithId(QUuid::createUuid()), nullptr);
}

TEST_F(RuleStoresTest, FailedWriteIsToldAndTheNextOneForgetsIt) {
    blockWriting(rulesFile);
    blockWriting(statesFile);
    EXPECT_FALSE(FiltersManager::load(directory())); // a directory is no file of rules
    QDir(path(rulesFile)).removeRecursively();
    QDir(path(statesFile)).removeRecursively();
    const auto manager = loadManager();
    const auto memento = loadMemento();
    blockWriting(rulesFile);
    blockWriting(statesFile);

    manager->addRule(newRule(u"new"_s));
    memento->addActiveRule(QUuid::createUuid(), u"k"_s);
    EXPECT_TRUE(manager->fault().contains(path(rulesFile)));
    EXPECT_TRUE(memento->fault().contains(path(statesFile)));
    EXPECT_EQ(manager->rules().size(), 5u);
    EXPECT_EQ(posted_.size(), 1u);
    EXPECT_EQ(names(), QStringList());

    QDir(path(rulesFile)).removeRecursively();
    QDir(path(statesFile)).removeRecursively();
    manager->save();
    memento->addActiveRule(QUuid::createUuid(), u"k"_s);
    EXPECT_EQ(manager->fault(), QString());
    EXPECT_EQ(memento->fault(), QString());
    EXPECT_EQ(loadManager()->rules().size(), 5u);
    EXPECT_EQ(loadMemento()->activeRuleIds(u"k"_s).size(), 2u);
}

TEST_F(RuleStoresTest, DamagedFileIsNamedAndLeftAsItIs) {
    KeyedArchiver archiver;
    const QByteArray otherRoot = archiver.archivedData(archiver.add(u"text"_s));
    const QByteArray sound = archiveRules({newRule(u"a"_s)});
    for (const QByteArray& damaged :
         {QByteArray(), QByteArray("garbage"), otherRoot, sound.first(sound.size() - 1)}) {
        for (const QString& name : {rulesFile, statesFile})
            write(name, damaged);
        const auto manager = FiltersManager::load(directory());
        const auto memento = FilterRulesMemento::load(directory());
        ASSERT_FALSE(manager);
        ASSERT_FALSE(memento);
        EXPECT_TRUE(manager.error().userText.contains(path(rulesFile)));
        EXPECT_TRUE(memento.error().userText.contains(path(statesFile)));
        EXPECT_EQ(content(rulesFile), damaged);
        EXPECT_EQ(content(statesFile), damaged);
        EXPECT_EQ(names(), QStringList({rulesFile, statesFile}));
    }
    // The other store's kind of root is damage too.
    write(statesFile, sound);
    EXPECT_FALSE(FilterRulesMemento::load(directory()));
}

TEST_F(RuleStoresTest, WhatIsNoRuleIsLeftOutToldAndKept) {
    const QByteArray old = mixedList();
    write(rulesFile, old);
    const auto manager = loadManager();
    EXPECT_EQ(texts(*manager), QStringList({u"0"_s, u"3"_s}));
    EXPECT_TRUE(manager->fault().contains(path(rulesFile)) && manager->fault().contains(u"2"_s));
    EXPECT_EQ(names(), QStringList(rulesFile));

    manager->removeRule(0);
    EXPECT_EQ(content(rulesFile + u".kept"_s), old);
    EXPECT_EQ(texts(*loadManager()), QStringList(u"3"_s));
    EXPECT_EQ(manager->fault(), QString());
    manager->removeRule(0);
    EXPECT_EQ(names(), QStringList({rulesFile, rulesFile + u".kept"_s})); // once is enough
}

TEST_F(RuleStoresTest, ImportedRulesAreAddedUnderIdentitiesOfTheirOwn) {
    const auto manager = loadManager();
    const auto exported = newRule(u"exported"_s);
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
    EXPECT_EQ(texts(*manager), QStringList({u"WARN"_s, u"DEBUG"_s, u"ERROR"_s, u"exported"_s, u"exported"_s,
                                            u"exported"_s, u"INFO"_s}));
    EXPECT_EQ(texts(*loadManager()), texts(*manager));
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
    write(u"mixed"_s, mixedList());
    EXPECT_EQ(manager->readImport(path(u"mixed"_s)).value().leftOut, 2);
}

TEST_F(RuleStoresTest, ActiveRulesOfOneDocumentAreNotThoseOfAnother) {
    const QUuid first = QUuid::createUuid();
    const QUuid second = QUuid::createUuid();
    const auto memento = loadMemento();
    EXPECT_TRUE(memento->activeRuleIds(u"a"_s).empty());
    memento->addActiveRule(second, u"file:///a"_s);
    memento->addActiveRule(first, u"file:///a"_s);
    memento->addActiveRule(first, u"file:///b"_s);
    memento->removeActiveRule(first, u"file:///b"_s);
    EXPECT_EQ(postedKeys_, QStringList({u"file:///a"_s, u"file:///a"_s, u"file:///b"_s, u"file:///b"_s}));
    for (const auto& each : {loadMemento()}) {
        EXPECT_EQ(each->activeRuleIds(u"file:///a"_s), std::vector({second, first}));
        EXPECT_TRUE(each->activeRuleIds(u"file:///b"_s).empty());
    }
}

TEST_F(RuleStoresTest, WhatChangesNoActiveRuleWritesNothing) {
    const QUuid id = QUuid::createUuid();
    const auto memento = loadMemento();
    memento->removeActiveRule(id, u"k"_s);
    EXPECT_EQ(names(), QStringList());
    memento->addActiveRule(id, u"k"_s);
    postedKeys_.clear();
    write(statesFile, marker);
    memento->addActiveRule(id, u"k"_s);
    memento->removeActiveRule(QUuid::createUuid(), u"k"_s);
    memento->removeActiveRule(id, u"other"_s);
    EXPECT_EQ(content(statesFile), marker);
    EXPECT_TRUE(postedKeys_.empty());
    EXPECT_EQ(memento->activeRuleIds(u"k"_s), std::vector({id}));
}

TEST_F(RuleStoresTest, TheFormatOfTheStatesStays) {
    const auto memento = loadMemento();
    const QUuid first = QUuid::fromRfc4122(QByteArray(16, 1));
    const QUuid second = QUuid::fromRfc4122(QByteArray(16, 2));
    memento->addActiveRule(second, u"file:///ä.log"_s);
    memento->addActiveRule(first, u"file:///ä.log"_s);
    memento->addActiveRule(first, u"ssh://u@h:22//a"_s);
    memento->removeActiveRule(first, u"ssh://u@h:22//a"_s);
    test::expectGolden(u"rules-state"_s, content(statesFile));
}

TEST_F(RuleStoresTest, StateThatCannotBeReadIsLeftOutToldAndKept) {
    const QUuid id = QUuid::createUuid();
    KeyedArchiver archiver;
    const std::map<QString, int> kinds{{u"a"_s, 0}, {u"b"_s, 1}};
    const auto addElement = [&](int element) {
        return element == 0 ? archiver.add(id) : archiver.add(u"x"_s);
    };
    const auto addValue = [&](int kind) {
        return kind == 0 ? archiver.addArray(std::vector{1, 0}, addElement) : archiver.add(u"no list"_s);
    };
    const QByteArray old = archiver.archivedData(archiver.addDictionary(kinds, addValue));
    write(statesFile, old);
    const auto memento = loadMemento();
    EXPECT_EQ(memento->activeRuleIds(u"a"_s), std::vector({id}));
    EXPECT_TRUE(memento->fault().contains(path(statesFile)) && memento->fault().contains(u"2"_s));
    memento->addActiveRule(id, u"b"_s);
    EXPECT_EQ(content(statesFile + u".kept"_s), old);
    EXPECT_EQ(loadMemento()->activeRuleIds(u"b"_s), std::vector({id}));
}

} // namespace
} // namespace korvane
