#include "app/Stores.h"

#include "bookmarks/FileBasedBookmarksManager.h"
#include "foundation/archive/UserDefaults.h"
#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "remote/hosts/ServerGroupsManager.h"
#include "rules/FilterRule.h"
#include "rules/FilterRulesMemento.h"
#include "rules/FiltersManager.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace korvane {
namespace {

using namespace Qt::StringLiterals;

class StoresTest : public ::testing::Test {
protected:
    ~StoresTest() override { // these know the settings
        RemoteHostsManager::setShared(nullptr);
        RemoteRecentFilesManager::setShared(nullptr);
    }
    void write(const QString& name, const QByteArray& content) const {
        QFile file(directory_.filePath(name));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    QByteArray read(const QString& name) const {
        QFile file(directory_.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
    }

    QTemporaryDir directory_;
    QTemporaryDir settings_;
    UserDefaults defaults_{settings_.filePath(u"s.ini"_s)};
    QList<QString> faults_;
};

TEST_F(StoresTest, ADamagedFileIsNamedAndSurvivesByteForByte) {
    const QByteArray damaged = "bplist00 but not really";
    for (const QString& name :
         {FiltersManager::RULES_FILE, FilterRulesMemento::DATA_FILE, RemoteHostsManager::DATA_FILE,
          ServerGroupsManager::DATA_FILE, FileBasedBookmarksManager::BOOKMARKS_FILE}) {
        write(name, damaged);
        EXPECT_FALSE(loadStores(directory_.path(), defaults_, [this](const Error& fault) {
            faults_.append(fault.userText);
            return false;
        }));
        ASSERT_EQ(faults_.size(), 1);
        EXPECT_TRUE(faults_.takeFirst().contains(name));
        EXPECT_EQ(read(name), damaged) << "quitting leaves it alone";

        EXPECT_TRUE(loadStores(directory_.path(), defaults_, [this](const Error& fault) {
            faults_.append(fault.userText);
            return true;
        }));
        EXPECT_EQ(faults_.size(), 1);
        faults_.clear();
        EXPECT_EQ(read(name), "(missing)");
        const QStringList kept = QDir(directory_.path()).entryList({name + u"?*"_s}, QDir::Files);
        ASSERT_EQ(kept.size(), 1);
        EXPECT_EQ(read(kept.first()), damaged) << "set aside, not thrown away";
    }
    EXPECT_EQ(FiltersManager::shared().rules().size(), 4U);
    EXPECT_EQ(ServerGroupsManager::shared().count(), 1);
    EXPECT_TRUE(FilterRulesMemento::hasShared() && RemoteHostsManager::hasShared() &&
                RemoteRecentFilesManager::hasShared() && FileBasedBookmarksManager::hasShared());
}

} // namespace
} // namespace korvane
