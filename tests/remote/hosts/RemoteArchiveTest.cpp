#include "remote/hosts/RemoteArchive.h"

#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/RemoteHostDnDItem.h"
#include "remote/hosts/ServerGroup.h"
#include "support/Golden.h"
#include "support/Mutator.h"
#include "support/RawArchive.h"
#include "support/StoreTest.h"

namespace korvane {
namespace {

using namespace Qt::StringLiterals;
using test::raw;

using Hosts = std::vector<std::shared_ptr<RemoteHost>>;

std::shared_ptr<RemoteHost> hostWith(std::shared_ptr<AuthnType> type) {
    auto host = std::make_shared<RemoteHost>(u"größe.example"_s, std::uint16_t(65535), u"admin"_s);
    host->setAuthnType(std::move(type));
    host->setName(u"web"_s);
    host->setGroup(u"Shop"_s);
    host->setHomePath(u"/srv/logs"_s);
    host->setClone(true);
    return host;
}

std::shared_ptr<PublicKeyAuthnType> publicKeyType() {
    auto type = std::make_shared<PublicKeyAuthnType>();
    type->publicKeyFilePath = u"/keys/id.pub"_s;
    type->privateKeyFilePath = u"/keys/id"_s;
    type->privateKeyPwd = u"phrase"_s;
    type->privateKeyFileUrl = QUrl(u"file:///keys/id"_s);
    return type;
}

std::shared_ptr<KeyboardAuthnType> keyboardType() {
    auto type = std::make_shared<KeyboardAuthnType>();
    type->setCachedPwd(u"answer"_s);
    return type;
}

/// The kind and all that is kept of it.
QStringList partsOf(const AuthnType* type) {
    const auto shown = [](const std::optional<QString>& text) { return text.value_or(u"(none)"_s); };
    if (!type)
        return {u"no type"_s};
    if (const auto* password = dynamic_cast<const PasswordAuthnType*>(type))
        return {type->description(), shown(password->password)};
    if (const auto* key = dynamic_cast<const PublicKeyAuthnType*>(type))
        return {type->description(), shown(key->publicKeyFilePath), shown(key->privateKeyFilePath),
                shown(key->privateKeyPwd), key->privateKeyFileUrl ? u"url"_s : QString()};
    if (const auto* keyboard = dynamic_cast<const KeyboardAuthnType*>(type))
        return {type->description(), shown(keyboard->cachedPwd())};
    return {u"plain"_s};
}

using RemoteArchiveTest = test::StoreTest;

TEST_F(RemoteArchiveTest, HostSurvivesWithEveryKindOfLogin) {
    const auto halfKey = std::make_shared<PublicKeyAuthnType>();
    halfKey->privateKeyFilePath = QString();
    const std::vector<std::pair<std::shared_ptr<AuthnType>, QStringList>> table{
        {nullptr, {u"no type"_s}},
        {std::make_shared<AuthnType>(), {u"plain"_s}},
        {std::make_shared<PasswordAuthnType>(u"pässword"_s), {u"Password"_s, u"pässword"_s}},
        {std::make_shared<PasswordAuthnType>(std::nullopt), {u"Password"_s, u"(none)"_s}},
        {std::make_shared<PasswordAuthnType>(QString()), {u"Password"_s, u""_s}},
        {publicKeyType(), {u"Public Key"_s, u"/keys/id.pub"_s, u"/keys/id"_s, u"phrase"_s, u""_s}},
        {halfKey, {u"Public Key"_s, u"(none)"_s, u""_s, u"(none)"_s, u""_s}},
        {keyboardType(), {u"Keyboard-interactive"_s, u"(none)"_s}}};
    Hosts hosts;
    for (const auto& [type, parts] : table)
        hosts.push_back(hostWith(type));
    const auto read = unarchiveHosts(archiveHosts(hosts));
    ASSERT_TRUE(read) << read.error().userText.toStdString();
    EXPECT_EQ(read.value().leftOut, 0);
    ASSERT_EQ(read.value().objects.size(), table.size());
    for (std::size_t i = 0; i < table.size(); ++i) {
        SCOPED_TRACE(i);
        const RemoteHost& host = *read.value().objects[i];
        EXPECT_EQ(host.uuid(), hosts[i]->uuid());
        EXPECT_EQ(host.connectionString(), u"admin@größe.example:65535"_s);
        EXPECT_EQ(host.name(), u"web"_s);
        EXPECT_EQ(host.group(), u"Shop"_s);
        EXPECT_EQ(host.homePath(), u"/srv/logs"_s);
        EXPECT_FALSE(host.clone());
        EXPECT_EQ(partsOf(host.authnType().get()), table[i].second);
    }
}

TEST_F(RemoteArchiveTest, TheFormatStays) {
    const auto numbered = [](char number, const std::shared_ptr<RemoteHost>& host) {
        host->setUuid(QUuid::fromRfc4122(QByteArray(16, number)));
        return host;
    };
    const auto bare = std::make_shared<RemoteHost>(u"h"_s, std::uint16_t(22), u"u"_s);
    bare->setUuid(std::nullopt);
    const auto password = std::make_shared<PasswordAuthnType>(u"pässword"_s);
    const auto key = numbered(1, hostWith(publicKeyType()));
    test::expectGolden(
        u"hosts"_s, archiveHosts({key, bare, numbered(2, hostWith(password)), numbered(3, hostWith(password)),
                                  numbered(4, hostWith(std::make_shared<PasswordAuthnType>(std::nullopt))),
                                  numbered(5, hostWith(keyboardType())),
                                  numbered(6, hostWith(std::make_shared<AuthnType>())),
                                  numbered(7, hostWith(std::make_shared<PublicKeyAuthnType>())), key}));
    test::expectGolden(u"groups"_s, archiveGroups({std::make_shared<ServerGroup>(u"Default"_s),
                                                   std::make_shared<ServerGroup>(u"größe"_s)}));
    test::expectGolden(u"dragged-host"_s, RemoteHostDnDItem{u"Shop"_s, 3}.archived());
}

/// A host of which one field is written otherwise, or not at all.
std::shared_ptr<test::Raw> hostRecord(const QString& replacedKey, const test::FieldWriter& replacement,
                                      const QString& className = u"_TtC7Korvane10RemoteHost"_s) {
    return raw(className, [=](KeyedEncoder& encoder) {
        const std::vector<std::pair<QString, test::FieldWriter>> fields{
            {u"host"_s, test::textField(u"h"_s)},
            {u"port"_s, test::numberField(2222)},
            {u"username"_s, test::textField(u"u"_s)},
            {u"authn"_s, test::objectField(raw(u"Korvane.KeyboardAuthnType"_s))},
            {u"name"_s, test::textField(u"n"_s)},
            {u"group"_s, test::textField(u"g"_s)},
            {u"homepath"_s, test::textField(u"/p"_s)},
            {u"uuid"_s, [](KeyedEncoder& each, const QString& key) {
                 each.encode(key, QUuid(u"01234567-89ab-cdef-0123-456789abcdef"_s));
             }}};
        for (const auto& [key, write] : fields) {
            if (key != replacedKey)
                write(encoder, key);
            else if (replacement)
                replacement(encoder, key);
        }
    });
}

TEST_F(RemoteArchiveTest, BothFormsOfClassNamesAreRead) {
    for (const QString& name : {u"_TtC7Korvane10RemoteHost"_s, u"Korvane.RemoteHost"_s}) {
        const auto read = unarchiveHosts(test::archiveOf({hostRecord({}, {}, name)}));
        ASSERT_TRUE(read && read.value().objects.size() == 1) << name.toStdString();
        EXPECT_EQ(read.value().leftOut, 0);
        const RemoteHost& host = *read.value().objects[0];
        EXPECT_EQ(partsOf(host.authnType().get()).first(), u"Keyboard-interactive"_s);
        EXPECT_EQ(QStringList({host.connectionString(), host.name(), host.group(), host.homePath()}),
                  QStringList({u"u@h:2222"_s, u"n"_s, u"g"_s, u"/p"_s}));
        EXPECT_EQ(host.hostIdentifier(), u"01234567-89AB-CDEF-0123-456789ABCDEF"_s);
    }
}

TEST_F(RemoteArchiveTest, WhatAHostMayLackHasItsDefault) {
    const test::FieldWriter stranger = test::objectField(raw(u"Korvane.Stranger"_s));
    for (const QString& key : {u"authn"_s, u"name"_s, u"group"_s, u"homepath"_s, u"uuid"_s}) {
        for (const auto& [replacement, leftOut] :
             {std::pair(test::FieldWriter(), 0), std::pair(test::nullField(), 0), std::pair(stranger, 1)}) {
            SCOPED_TRACE(key.toStdString() + " " + std::to_string(leftOut));
            const auto read = unarchiveHosts(test::archiveOf({hostRecord(key, replacement)}));
            ASSERT_TRUE(read && read.value().objects.size() == 1);
            EXPECT_EQ(read.value().leftOut, leftOut) << "what is lost must be told";
            const RemoteHost& host = *read.value().objects[0];
            EXPECT_EQ(host.authnType() == nullptr, key == u"authn");
            EXPECT_EQ(host.name(), key == u"name" ? u""_s : u"n"_s);
            EXPECT_EQ(host.group(), key == u"group" ? u"Default"_s : u"g"_s);
            EXPECT_EQ(host.homePath(), key == u"homepath" ? u"/"_s : u"/p"_s);
            EXPECT_EQ(host.hostIdentifier() == u"h_2222", key == u"uuid");
        }
    }
}

TEST_F(RemoteArchiveTest, RecordWithoutPortOrUserIsLeftOut) {
    const std::vector<std::pair<QString, test::FieldWriter>> table{{u"port"_s, {}},
                                                                   {u"port"_s, test::nullField()},
                                                                   {u"port"_s, test::textField(u"22"_s)},
                                                                   {u"port"_s, test::numberField(-1)},
                                                                   {u"port"_s, test::numberField(65536)},
                                                                   {u"username"_s, {}},
                                                                   {u"username"_s, test::numberField(7)}};
    for (std::size_t i = 0; i < table.size(); ++i) {
        SCOPED_TRACE(i);
        const auto [key, replacement] = table[i];
        const auto read = unarchiveHosts(test::archiveOf(
            {hostRecord(key, replacement), nullptr, raw(u"Korvane.Stranger"_s), hostRecord({}, {})}));
        ASSERT_TRUE(read) << read.error().userText.toStdString();
        EXPECT_EQ(read.value().leftOut, 3);
        ASSERT_EQ(read.value().objects.size(), 1u);
        EXPECT_EQ(read.value().objects[0]->name(), u"n"_s);
    }
    const auto largest = unarchiveHosts(test::archiveOf({hostRecord(u"port"_s, test::numberField(65535))}));
    ASSERT_EQ(largest.value().objects.size(), 1u);
    EXPECT_EQ(largest.value().objects[0]->port(), 65535);
}

TEST_F(RemoteArchiveTest, HostWithoutAServerIsAFaultThatNamesTheRecord) {
    for (const test::FieldWriter& replacement :
         {test::FieldWriter(), test::nullField(), test::numberField(7)}) {
        const auto read = unarchiveHosts(
            test::archiveOf({hostRecord({}, {}), hostRecord(RemoteHost::HOST_KEY, replacement)}));
        ASSERT_FALSE(read);
        EXPECT_TRUE(read.error().userText.contains(u"host 2"_s)) << read.error().userText.toStdString();
        EXPECT_TRUE(read.error().userText.contains(u"“host”"_s)) << read.error().userText.toStdString();
    }
}

TEST_F(RemoteArchiveTest, DraggedItemComesBackOrIsRefused) {
    const auto item = RemoteHostDnDItem::fromArchive(RemoteHostDnDItem{u"größe"_s, 2147483647}.archived());
    ASSERT_TRUE(item) << item.error().userText.toStdString();
    EXPECT_EQ(item.value().groupName, u"größe"_s);
    EXPECT_EQ(item.value().hostIndex, 2147483647);

    const auto itemOf = [](std::function<void(KeyedEncoder&)> fields) {
        KeyedArchiver archiver;
        return RemoteHostDnDItem::fromArchive(
            archiver.archivedData(archiver.add(raw(u"Korvane.RemoteHostDnDItem"_s, std::move(fields)))));
    };
    const auto withIndex = [&](qint64 index) {
        return itemOf([index](KeyedEncoder& encoder) {
            encoder.encode(u"GROUP_NAME"_s, u"g"_s);
            encoder.encode(u"HOST_IDX"_s, index);
        });
    };
    EXPECT_TRUE(withIndex(0));
    EXPECT_FALSE(withIndex(-1));
    EXPECT_FALSE(withIndex(2147483648));
    EXPECT_FALSE(itemOf([](KeyedEncoder& encoder) { encoder.encode(u"HOST_IDX"_s, 1); }));
    EXPECT_FALSE(RemoteHostDnDItem::fromArchive("from elsewhere"));
    EXPECT_FALSE(RemoteHostDnDItem::fromArchive(archiveGroups({})));
}

TEST_F(RemoteArchiveTest, DamagedArchivesAreRefusedOrReadWhole) {
    const QByteArray sound =
        archiveHosts({hostWith(publicKeyType()), hostWith(std::make_shared<PasswordAuthnType>(u"x"_s)),
                      hostWith(keyboardType())});
    constexpr int rounds = 30'000;
    test::Mutator mutator(20'240'301);
    int refused = 0;
    for (int round = 0; round < rounds; ++round) {
        const QByteArray bytes = mutator.mutated(sound);
        const auto hosts = unarchiveHosts(bytes);
        if (!hosts) {
            ++refused;
            ASSERT_FALSE(hosts.error().userText.isEmpty()) << bytes.toHex().constData();
            continue;
        }
        const auto again = unarchiveHosts(archiveHosts(hosts.value().objects));
        ASSERT_TRUE(again && again.value().leftOut == 0) << bytes.toHex().constData();
        ASSERT_EQ(again.value().objects.size(), hosts.value().objects.size());
        for (std::size_t i = 0; i < again.value().objects.size(); ++i) {
            ASSERT_EQ(again.value().objects[i]->labelForHost(), hosts.value().objects[i]->labelForHost());
            ASSERT_EQ(partsOf(again.value().objects[i]->authnType().get()),
                      partsOf(hosts.value().objects[i]->authnType().get()));
        }
    }
    EXPECT_GT(refused, rounds / 10);
    EXPECT_LT(refused, rounds - rounds / 10);
}

} // namespace
} // namespace korvane
