#include "remote/hosts/RemoteArchive.h"

#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostDnDItem.h"
#include "remote/hosts/ServerGroup.h"
#include "support/ArchiveConformance.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using namespace test;

using Hosts = std::vector<std::shared_ptr<RemoteHost>>;
using Groups = std::vector<std::shared_ptr<ServerGroup>>;

struct HostFormat {
    using Object = RemoteHost;
    static QByteArray archive(const Hosts& hosts) { return archiveHosts(hosts); }
    static auto unarchive(const QByteArray& archive) { return unarchiveHosts(archive); }
    static QString golden() { return u"hosts"_s; }
    static QByteArray stable(const QByteArray& archive) { return archive; }
    static const void* sharedPart(const RemoteHost& host) { return host.authnType().get(); }

    static std::shared_ptr<RemoteHost> host(char id, std::shared_ptr<AuthnType> type) {
        auto made = std::make_shared<RemoteHost>(u"größe.example"_s, std::uint16_t(65535), u"admin"_s);
        made->setUuid(QUuid::fromRfc4122(QByteArray(16, id)));
        made->setAuthnType(std::move(type));
        made->setName(u"web"_s);
        made->setGroup(u"Shop"_s);
        made->setHomePath(u"/srv/logs"_s);
        made->setClone(true);
        return made;
    }
    static Hosts sample() {
        auto bare = std::make_shared<RemoteHost>(u"h"_s, std::uint16_t(22), u"u"_s);
        bare->setUuid(std::nullopt);
        auto key = std::make_shared<PublicKeyAuthnType>();
        key->publicKeyFilePath = u"/keys/id.pub"_s;
        key->privateKeyFilePath = u"/keys/id"_s;
        key->privateKeyPwd = u"phrase"_s;
        key->privateKeyFileUrl = QUrl(u"file:///keys/id"_s);
        auto keyboard = std::make_shared<KeyboardAuthnType>();
        keyboard->setCachedPwd(u"answer"_s);
        const auto password = std::make_shared<PasswordAuthnType>(u"pässword"_s);
        Hosts hosts{host(1, key),
                    bare,
                    host(2, password),
                    host(3, password),
                    host(4, std::make_shared<PasswordAuthnType>(std::nullopt)),
                    host(5, keyboard),
                    host(6, std::make_shared<AuthnType>()),
                    host(7, std::make_shared<PublicKeyAuthnType>())};
        hosts.push_back(hosts.front());
        return hosts;
    }
    static QString shown(const std::optional<QString>& text) {
        return text ? u"“%1”"_s.arg(*text) : u"none"_s;
    }
    static QString description(const AuthnType* type) {
        if (!type)
            return u"no type"_s;
        if (const auto* password = dynamic_cast<const PasswordAuthnType*>(type))
            return u"password pwd=%1"_s.arg(shown(password->password));
        if (const auto* key = dynamic_cast<const PublicKeyAuthnType*>(type))
            return u"key publicKeyFilePath=%1 privateKeyFilePath=%2 privateKeyPwd=%3"_s.arg(
                shown(key->publicKeyFilePath), shown(key->privateKeyFilePath), shown(key->privateKeyPwd));
        return dynamic_cast<const KeyboardAuthnType*>(type) ? u"keyboard"_s : u"base"_s;
    }
    static QString description(const RemoteHost& host) {
        return u"%1 authn=%2; name=%3; group=%4; homepath=%5; uuid=%6;"_s.arg(
            host.connectionString(), description(host.authnType().get()), host.name(), host.group(),
            host.homePath(), host.uuid() ? host.uuid()->toString(QUuid::Id128) : u"none"_s);
    }
    static std::vector<FieldCase> fieldCases() {
        using enum Outcome;
        std::vector<FieldCase> cases{
            {u"RemoteHost"_s, {u"host"_s}, absentOrWrong(), Fails},
            {u"RemoteHost"_s, {u"port"_s, u"username"_s}, absentOrWrong(), Drops},
            {u"RemoteHost"_s,
             {u"port"_s},
             {ArchiveEditor::text(u"22"_s), ArchiveEditor::number(-1), ArchiveEditor::number(65536)},
             Drops},
            {u"RemoteHost"_s, {u"port"_s}, {ArchiveEditor::number(0)}, Keeps, u":65535"_s, u":0"_s},
        };
        // Optional fields keep their default when absent; values of another type are counted.
        const auto mayBeAbsent = [&](const char* className, const char* key, const QString& before,
                                     const QString& after) {
            for (const auto& [values, outcome] : {std::pair(absent(), Keeps), std::pair(wrong(), Counts)})
                cases.push_back(
                    {QLatin1String(className), {QLatin1String(key)}, values, outcome, before, after});
        };
        mayBeAbsent("RemoteHost", "authn", description(sample()[0]->authnType().get()), u"no type"_s);
        mayBeAbsent("RemoteHost", "name", u"name=web"_s, u"name="_s);
        mayBeAbsent("RemoteHost", "group", u"group=Shop"_s, u"group=Default"_s);
        mayBeAbsent("RemoteHost", "homepath", u"homepath=/srv/logs"_s, u"homepath=/"_s);
        mayBeAbsent("RemoteHost", "uuid", u"uuid="_s + QString::fromLatin1(QByteArray(16, 1).toHex()),
                    u"uuid=none"_s);
        mayBeAbsent("PublicKeyAuthnType", "publicKeyFilePath", u"=“/keys/id.pub”"_s, u"=none"_s);
        mayBeAbsent("PublicKeyAuthnType", "privateKeyFilePath", u"=“/keys/id”"_s, u"=none"_s);
        mayBeAbsent("PublicKeyAuthnType", "privateKeyPwd", u"=“phrase”"_s, u"=none"_s);
        return cases;
    }
};

struct GroupFormat {
    using Object = ServerGroup;
    static QByteArray archive(const Groups& groups) { return archiveGroups(groups); }
    static auto unarchive(const QByteArray& archive) { return unarchiveGroups(archive); }
    static QString golden() { return u"groups"_s; }
    static QByteArray stable(const QByteArray& archive) { return archive; }
    static const void* sharedPart(const ServerGroup&) { return nullptr; }
    static Groups sample() {
        return {std::make_shared<ServerGroup>(u"Default"_s), std::make_shared<ServerGroup>(u"größe"_s)};
    }
    static QString description(const ServerGroup& group) { return group.name(); }
    static std::vector<FieldCase> fieldCases() {
        return {{u"ServerGroup"_s, {u"name"_s}, absentOrWrong(), Outcome::Drops}};
    }
};

using Formats = ::testing::Types<HostFormat, GroupFormat>;
INSTANTIATE_TYPED_TEST_SUITE_P(Remote, ArchiveConformance, Formats);

TEST(RemoteArchiveTest, WhatBelongsToALoginUnderWayIsNotArchived) {
    const auto read = unarchiveHosts(archiveHosts(HostFormat::sample()));
    const auto& hosts = read.value().objects;
    EXPECT_FALSE(hosts[0]->clone());
    EXPECT_EQ(dynamic_cast<const PublicKeyAuthnType&>(*hosts[0]->authnType()).privateKeyFileUrl,
              std::nullopt);
    EXPECT_EQ(dynamic_cast<const KeyboardAuthnType&>(*hosts[5]->authnType()).cachedPwd(), std::nullopt);
}

TEST(RemoteHostTest, CopyIsAHostOfItsOwn) {
    for (const auto& host : HostFormat::sample()) {
        const auto copy = host->copy();
        EXPECT_EQ(copy->name(), u"Copy of [%1]"_s.arg(host->labelForHost()));
        EXPECT_EQ(copy->homePath(), u"/"_s);
        EXPECT_FALSE(copy->clone());
        EXPECT_TRUE(copy->uuid() && copy->uuid() != host->uuid());
        EXPECT_TRUE(!host->authnType() || copy->authnType() != host->authnType());
        const auto keyboard = std::dynamic_pointer_cast<KeyboardAuthnType>(copy->authnType());
        EXPECT_FALSE(keyboard && keyboard->cachedPwd());
        copy->setName(host->name());
        copy->setHomePath(host->homePath());
        copy->setUuid(host->uuid());
        EXPECT_EQ(HostFormat::description(*copy), HostFormat::description(*host));
    }
}

TEST(RemoteHostTest, LabelIsTheNameOrTheConnectionWithItsKindOfLogin) {
    RemoteHost host(u"h"_s, 2222, u"u"_s);
    const std::pair<std::shared_ptr<AuthnType>, QString> cases[] = {
        {nullptr, u"u@h:2222"_s},
        {std::make_shared<AuthnType>(), u"u@h:2222"_s},
        {std::make_shared<PublicKeyAuthnType>(), u"u@h:2222 (Public Key)"_s},
        {std::make_shared<KeyboardAuthnType>(), u"u@h:2222 (Keyboard-interactive)"_s},
    };
    for (const auto& [type, label] : cases) {
        host.setAuthnType(type);
        EXPECT_EQ(host.labelForHost(), label);
    }
    host.setLabelForHost(u"web"_s);
    EXPECT_EQ(host.labelForHost(), u"web"_s);
    EXPECT_EQ(host.connectionString(), u"u@h:2222"_s);
}

TEST(RemoteArchiveTest, DraggedItemComesBackOrIsRefused) {
    const RemoteHostDnDItem sound{u"größe"_s, 2147483647};
    expectGolden(u"dragged-host"_s, RemoteHostDnDItem{u"Shop"_s, 3}.archived());
    const auto item = RemoteHostDnDItem::fromArchive(sound.archived());
    ASSERT_TRUE(item) << item.error().userText.toStdString();
    EXPECT_EQ(item.value().groupName, u"größe"_s);
    EXPECT_EQ(item.value().hostIndex, 2147483647);
    const auto isRead = [&](const QString& key, const std::optional<PropertyList>& value) {
        return bool(RemoteHostDnDItem::fromArchive(
            ArchiveEditor(sound.archived()).setField(u"RemoteHostDnDItem"_s, key, value).archive()));
    };
    EXPECT_TRUE(isRead(u"HOST_IDX"_s, ArchiveEditor::number(0)));
    for (const std::int64_t index : {std::int64_t(-1), std::int64_t(2147483648)})
        EXPECT_FALSE(isRead(u"HOST_IDX"_s, ArchiveEditor::number(index))) << index;
    for (const QString& key : {u"HOST_IDX"_s, u"GROUP_NAME"_s})
        EXPECT_FALSE(isRead(key, std::nullopt)) << key.toStdString();
    EXPECT_FALSE(RemoteHostDnDItem::fromArchive("from elsewhere"));
    EXPECT_FALSE(RemoteHostDnDItem::fromArchive(archiveGroups({})));
}

} // namespace
} // namespace korvane
