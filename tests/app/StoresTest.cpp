#include "app/Stores.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "core/Preferences.h"
#include "foundation/archive/UserDefaults.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"
#include "support/PreferencesTest.h"
#include "support/StoreDefaults.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace korvane::test {
namespace {

using namespace Qt::StringLiterals;

class StoresTest : public StoreDefaultsTest {
protected:
    ~StoresTest() override { // these refer to the settings
        RemoteHostsManager::setShared(nullptr);
        RemoteRecentFilesManager::setShared(nullptr);
    }
    /// Loads all stores; returns the faults that were reported.
    QStringList faultsOfLoading(bool setsAside) {
        QStringList faults;
        EXPECT_EQ(loadStores(directory(), defaults(),
                             [&](const Error& fault) {
                                 faults.append(fault.userText);
                                 return setsAside;
                             }),
                  setsAside);
        return faults;
    }
};

TEST_F(StoresTest, ADamagedFileIsNamedAndSurvivesByteForByte) {
    const QByteArray damaged = "bplist00 but not really";
    for (const QString& name :
         {FiltersManager::RULES_FILE, FilterRulesMemento::DATA_FILE, RemoteHostsManager::DATA_FILE,
          ServerGroupsManager::DATA_FILE, FileBasedBookmarksManager::BOOKMARKS_FILE}) {
        write(name, damaged);
        for (const bool setsAside : {false, true}) {
            EXPECT_EQ(content(name), damaged) << "quitting leaves it alone";
            const QStringList faults = faultsOfLoading(setsAside);
            ASSERT_EQ(faults.size(), 1);
            EXPECT_TRUE(faults.first().contains(name));
        }
        EXPECT_EQ(content(name), "(none)");
        EXPECT_EQ(content(name + u".damaged-1"_s), damaged) << "set aside, not thrown away";
    }
    EXPECT_EQ(FiltersManager::shared().rules().size(), 4U);
    EXPECT_EQ(ServerGroupsManager::shared().count(), 1);
    EXPECT_TRUE(FilterRulesMemento::hasShared() && RemoteHostsManager::hasShared() &&
                RemoteRecentFilesManager::hasShared() && FileBasedBookmarksManager::hasShared());
}

TEST_F(StoresTest, SettingsThatMakeNoSenseAreAskedAboutAndKept) {
    for (const auto& [content, keepsTheRest] : std::vector<std::pair<QByteArray, bool>>{
             {"[General]\nkeyLogViewFont=no, font\nreopenDocuments=false\n", true},
             {"\x01\x02 no settings \xFF\n[\nreopenDocuments=false", false}}) {
        for (const bool setsAside : {false, true}) {
            const QTemporaryDir directory; // settings read from a file are cached by its path
            const QString path = directory.filePath(u"s.ini"_s);
            QFile file(path);
            ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write(content) > 0);
            file.close();
            Preferences preferences(std::make_unique<UserDefaults>(path));
            preferences.registerDefaults(FakeFontCatalog());
            int questions = 0;
            EXPECT_EQ(checkSettings(preferences,
                                    [&](const Error& fault) {
                                        EXPECT_TRUE(fault.userText.contains(path));
                                        ++questions;
                                        return setsAside;
                                    }),
                      setsAside);
            EXPECT_EQ(questions, 1) << content.constData();
            if (setsAside) {
                EXPECT_EQ(preferences.logViewFont().family(), u"Courier New"_s);
                EXPECT_EQ(preferences.reopenDocuments(), !keepsTheRest);
            }
            bool isKept = false;
            for (const QString& name : QDir(directory.path()).entryList(QDir::Files)) {
                QFile kept(directory.filePath(name));
                isKept |= kept.open(QIODevice::ReadOnly) && kept.readAll() == content;
            }
            EXPECT_TRUE(isKept);
        }
    }
}

} // namespace
} // namespace korvane::test
