#include "remote/hosts/RemoteHostsManager.h"
#include "remote/hosts/RemoteRecentFilesManager.h"
#include "remote/hosts/ServerGroupsManager.h"

#include "foundation/FilePath.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteArchive.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/ServerGroup.h"
#include "support/Rows.h"
#include "support/StoreConformance.h"
#include "support/TemporaryFile.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace test;

const QString hostsFile = RemoteHostsManager::DATA_FILE;
const QString groupsFile = ServerGroupsManager::DATA_FILE;

std::shared_ptr<RemoteHost> newHost(const QString& host, std::uint16_t port = 22,
                                    const QString& username = u"u"_s) {
    return std::make_shared<RemoteHost>(host, port, username);
}

struct HostsCase {
    using Store = RemoteHostsManager;
    static QString file() { return hostsFile; }
    static auto load(const QString& directory, UserDefaults& defaults) {
        return Store::load(directory, defaults);
    }
    static void add(Store& store, const QString& name) { ASSERT_TRUE(store.add(newHost(name))); }
    static QStringList contents(const Store& store) {
        QStringList all;
        for (const auto& host : store.hosts())
            all.append(host->host());
        return all;
    }
};

struct GroupsCase {
    using Store = ServerGroupsManager;
    static QString file() { return groupsFile; }
    static auto load(const QString& directory, UserDefaults&) { return Store::load(directory); }
    static void add(Store& store, const QString& name) { store.add(std::make_shared<ServerGroup>(name)); }
    static QStringList contents(const Store& store) {
        QStringList all;
        for (const auto& group : store.groups())
            all.append(group->name());
        return all;
    }
};

using Cases = ::testing::Types<HostsCase, GroupsCase>;
INSTANTIATE_TYPED_TEST_SUITE_P(Remote, StoreConformance, Cases);

class RemoteStoresTest : public StoreDefaultsTest {
protected:
    std::unique_ptr<RemoteHostsManager> loadHosts() {
        return std::move(RemoteHostsManager::load(directory(), defaults())).value();
    }
    std::unique_ptr<ServerGroupsManager> loadGroups() const {
        return std::move(ServerGroupsManager::load(directory())).value();
    }
    QStringList savedHosts() { return HostsCase::contents(*loadHosts()); }
    QStringList savedGroups() const { return GroupsCase::contents(*loadGroups()); }
    /// A host that logs in with these files.
    static std::shared_ptr<RemoteHost> keyHost(const QByteArray& publicKey, const QByteArray& privateKey) {
        auto type = std::make_shared<PublicKeyAuthnType>();
        type->publicKeyFilePath = QFile::decodeName(publicKey);
        type->privateKeyFilePath = QFile::decodeName(privateKey);
        auto host = newHost(u"keys"_s);
        host->setAuthnType(type);
        return host;
    }
    /// The settings' bookmarks of the host's public and private key.
    QList<QByteArray> stored(const RemoteHost& host) const {
        const UserDefaults onDisk = defaultsOnDisk();
        return {onDisk.dataForKey(host.hostIdentifier() + u"__pub_key"_s).value_or("(none)"),
                onDisk.dataForKey(host.hostIdentifier() + u"__pvt_key"_s).value_or("(none)")};
    }

    const TemporaryFile publicKey_{"public", "id one.pub"};
    const TemporaryFile privateKey_{"private", "id"};
    const QList<QByteArray> none_{"(none)", "(none)"};
};

TEST_F(RemoteStoresTest, EveryChangeOfTheHostsIsSaved) {
    const auto manager = loadHosts();
    const auto first = newHost(u"a"_s);
    EXPECT_TRUE(manager->add(first));
    EXPECT_TRUE(manager->add(newHost(u"b"_s)));
    EXPECT_EQ(savedHosts(), QStringList({u"a"_s, u"b"_s}));
    EXPECT_TRUE(manager->update(1, newHost(u"c"_s)));
    EXPECT_EQ(savedHosts(), QStringList({u"a"_s, u"c"_s}));
    manager->remove(newHost(u"a"_s)); // an equal host, but another object
    EXPECT_EQ(manager->count(), 2);
    manager->remove(first);
    EXPECT_EQ(savedHosts(), QStringList(u"c"_s));
    for (const qsizetype index : {qsizetype(-1), qsizetype(1)}) {
        EXPECT_TRUE(manager->update(index, newHost(u"d"_s)));
        EXPECT_EQ(manager->host(index), nullptr);
    }
    EXPECT_EQ(manager->host(0)->host(), u"c"_s);
    EXPECT_EQ(manager->count(), 1);
}

TEST_F(RemoteStoresTest, KeyFilesAreRememberedUntilTheHostIsGone) {
    const auto manager = loadHosts();
    const auto host = keyHost(publicKey_.path(), {});
    ASSERT_TRUE(manager->add(host));
    EXPECT_EQ(stored(*host), QList<QByteArray>({publicKey_.url().toEncoded(), "(none)"}));
    EXPECT_EQ(manager->publicKeyUrl(*host), publicKey_.url());
    EXPECT_EQ(manager->privateKeyUrl(*host), std::nullopt);

    const auto changed = keyHost({}, privateKey_.path());
    changed->setUuid(host->uuid());
    ASSERT_TRUE(manager->update(0, changed));
    EXPECT_EQ(stored(*host), QList<QByteArray>({"(none)", privateKey_.url().toEncoded()}));
    const auto other = keyHost(publicKey_.path(), privateKey_.path());
    ASSERT_TRUE(manager->update(0, other));
    EXPECT_EQ(stored(*host), none_);
    EXPECT_EQ(loadHosts()->privateKeyUrl(*other), privateKey_.url());
    manager->remove(other);
    EXPECT_EQ(stored(*other), none_);

    // Only a public-key login has key files.
    const auto password = newHost(u"p"_s);
    password->setAuthnType(std::make_shared<PasswordAuthnType>(u"x"_s));
    ASSERT_TRUE(manager->add(password));
    EXPECT_EQ(stored(*password), none_);
}

TEST_F(RemoteStoresTest, KeyFileThatCannotBeReadChangesNothing) {
    const auto manager = loadHosts();
    const auto sound = keyHost(publicKey_.path(), privateKey_.path());
    ASSERT_TRUE(manager->add(sound));
    const QByteArray file = content(hostsFile);
    const QList<QByteArray> before = stored(*sound);
    const auto broken = keyHost(publicKey_.path(), "/no/such/key");
    for (const Status& status : {manager->add(broken), manager->update(0, broken)}) {
        ASSERT_FALSE(status);
        EXPECT_TRUE(status.error().userText.contains(u"/no/such/key"_s));
    }
    EXPECT_EQ(manager->hosts(), RemoteHostsManager::Hosts{sound});
    EXPECT_EQ(content(hostsFile), file);
    EXPECT_EQ(stored(*sound), before);
    EXPECT_EQ(stored(*broken), none_);
}

TEST_F(RemoteStoresTest, DuplicateUsesTheKeyFilesOfItsOriginal) {
    const auto manager = loadHosts();
    const auto original = keyHost({}, privateKey_.path());
    ASSERT_TRUE(manager->add(original));
    const auto foreign = original->hostIdentifier() + u"__pub_key"_s;
    defaults().set(foreign, QByteArray("made elsewhere"));
    // A deleted key file does not prevent a duplicate.
    ASSERT_TRUE(QFile::remove(QFile::decodeName(privateKey_.path())));

    const auto copy = original->copy();
    copy->setClone(true);
    manager->copyKeyBookmarks(*original, *copy);
    ASSERT_TRUE(manager->add(copy));
    EXPECT_EQ(stored(*copy), QList<QByteArray>({"made elsewhere", privateKey_.url().toEncoded()}));
    EXPECT_EQ(manager->count(), 2);

    // Invalid data and a deleted file give no URL.
    EXPECT_EQ(manager->publicKeyUrl(*copy), std::nullopt);
    EXPECT_EQ(manager->privateKeyUrl(*copy), std::nullopt);
    defaults().set(foreign, QByteArray("https://example.org/tmp"));
    EXPECT_EQ(manager->publicKeyUrl(*original), std::nullopt);
}

TEST_F(RemoteStoresTest, HostIsFoundByAllOfItsConnection) {
    const auto manager = loadHosts();
    for (const auto& host : {newHost(u"Web"_s), newHost(u"web"_s), newHost(u"h"_s),
                             newHost(u"h"_s, 2222, u"v"_s), newHost(u"h"_s, 2222, u"v"_s)})
        ASSERT_TRUE(manager->add(host));
    // The index -1: not found.
    for (const auto& [host, port, user, index] :
         Rows<QString, int, QString, qsizetype>{{u"h"_s, 2222, u"v"_s, 3},
                                                {u"h"_s, 2222, u"u"_s, -1},
                                                {u"h"_s, 22, u"v"_s, -1},
                                                {u"web"_s, 22, u"u"_s, 1},
                                                {u"h.example"_s, 22, u"u"_s, -1},
                                                {u"h"_s, 22, u"U"_s, -1},
                                                {u"WEB"_s, 22, u"u"_s, 0},
                                                {u"h"_s, 22 + 65536, u"u"_s, -1}})
        EXPECT_EQ(manager->findHost(host, port, user), manager->host(index)) << host.toStdString();
}

TEST_F(RemoteStoresTest, DefaultGroupIsAlwaysThere) {
    EXPECT_EQ(savedGroups(), QStringList(u"Default"_s));
    EXPECT_FALSE(loadGroups()->group(0)->editable());
    const std::pair<QStringList, QStringList> cases[] = {
        {{u"default"_s}, {u"Default"_s, u"default"_s}},
        {{u"g"_s, u"Default"_s}, {u"g"_s, u"Default"_s}},
        {{}, {u"Default"_s}},
    };
    for (const auto& [stored, loaded] : cases) {
        std::vector<std::shared_ptr<ServerGroup>> groups;
        for (const QString& name : stored)
            groups.push_back(std::make_shared<ServerGroup>(name));
        write(groupsFile, archiveGroups(groups));
        EXPECT_EQ(savedGroups(), loaded);
    }
}

TEST_F(RemoteStoresTest, GroupIsRefusedOrSaved) {
    const auto manager = loadGroups();
    const auto shop = std::make_shared<ServerGroup>(u"Shop"_s);
    EXPECT_EQ(manager->refusalToAdd(u"Shop"_s), std::nullopt);
    manager->add(shop);
    EXPECT_EQ(savedGroups(), QStringList({u"Default"_s, u"Shop"_s}));
    EXPECT_EQ(manager->refusalToAdd(u"Shop"_s), u"Group already present!"_s);
    EXPECT_EQ(manager->refusalToAdd(u"shop"_s), std::nullopt);
    EXPECT_EQ(manager->groupNamed(u"Shop"_s), shop);

    manager->remove(shop);
    EXPECT_EQ(savedGroups(), QStringList(u"Default"_s));
    EXPECT_EQ(manager->groupNamed(u"Shop"_s), nullptr);
}

TEST_F(RemoteStoresTest, RecentFilesLoseTheOldestAndKeepTheirOrder) {
    RemoteRecentFilesManager manager(defaults());
    QStringList expected;
    const auto add = [&](int number) {
        const QUrl url(u"ssh://u@h:22//var/log/a,b %1.log"_s.arg(number));
        manager.add(url);
        return absoluteString(url);
    };
    const auto onDisk = [this] {
        UserDefaults defaults = defaultsOnDisk();
        return RemoteRecentFilesManager(defaults).recentUrls();
    };
    for (int number = 0; number < 10; ++number) {
        expected.append(add(number));
        EXPECT_EQ(onDisk(), expected); // also as a list of one
    }
    add(0);
    EXPECT_EQ(onDisk(), expected);
    expected.append(add(10));
    expected.removeFirst();
    EXPECT_EQ(onDisk(), expected);
    EXPECT_EQ(manager.recentUrls(), expected);

    defaults().set(RemoteRecentFilesManager::RECENT_FILES_KEY,
                   QVariantList({QByteArray("no text"), u"ssh://h/x"_s}));
    EXPECT_EQ(onDisk(), QStringList(u"ssh://h/x"_s));
}

} // namespace
} // namespace korvane
