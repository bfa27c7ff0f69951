#include "remote/hosts/RemoteArchive.h"

#include "foundation/archive/ArchiveFormat.h"
#include "foundation/archive/KeyedArchiver.h"
#include "foundation/archive/KeyedUnarchiver.h"
#include "remote/hosts/AuthnType.h"
#include "remote/hosts/RemoteHost.h"
#include "remote/hosts/ServerGroup.h"

#include <QCoreApplication>

#include <limits>

namespace korvane {

using namespace archiveformat;

namespace {

const QString authnTypeClass = QStringLiteral("AuthnType");
const QString passwordAuthnTypeClass = QStringLiteral("PasswordAuthnType");
const QString publicKeyAuthnTypeClass = QStringLiteral("PublicKeyAuthnType");
const QString keyboardAuthnTypeClass = QStringLiteral("KeyboardAuthnType");
const QString remoteHostClass = QStringLiteral("RemoteHost");
const QString serverGroupClass = QStringLiteral("ServerGroup");

/// What stands in an archive for a host: no host where one cannot be made of it.
struct HostRecord {
    std::shared_ptr<RemoteHost> host;
    int leftOut = 0;
};

std::optional<QString> optionalText(const KeyedDecoder& decoder, const QString& key) {
    const std::optional<ArchivedObject> object = decoder.value(key);
    const Result<QString> text = object ? object->text() : Result<QString>(Error());
    return text ? std::optional(text.value()) : std::nullopt;
}

std::optional<std::uint16_t> portOf(const KeyedDecoder& decoder) {
    const std::optional<ArchivedObject> object = decoder.value(RemoteHost::PORT_KEY);
    const Result<qint64> number = object ? object->number() : Result<qint64>(Error());
    if (!number || number.value() < 0 || number.value() > std::numeric_limits<std::uint16_t>::max())
        return std::nullopt;
    return static_cast<std::uint16_t>(number.value());
}

Result<std::shared_ptr<AuthnType>> decodeAuthnType(const KeyedDecoder&) {
    return std::make_shared<AuthnType>();
}

Result<std::shared_ptr<AuthnType>> decodePasswordAuthnType(const KeyedDecoder& decoder) {
    return std::shared_ptr<AuthnType>(
        std::make_shared<PasswordAuthnType>(optionalText(decoder, PasswordAuthnType::KEY_PWD)));
}

Result<std::shared_ptr<AuthnType>> decodePublicKeyAuthnType(const KeyedDecoder& decoder) {
    auto type = std::make_shared<PublicKeyAuthnType>();
    type->publicKeyFilePath = optionalText(decoder, PublicKeyAuthnType::KEY_PUB_FILE_PATH);
    type->privateKeyFilePath = optionalText(decoder, PublicKeyAuthnType::KEY_PVT_FILE_PATH);
    type->privateKeyPwd = optionalText(decoder, PublicKeyAuthnType::KEY_PVT_PWD);
    return std::shared_ptr<AuthnType>(std::move(type));
}

Result<std::shared_ptr<AuthnType>> decodeKeyboardAuthnType(const KeyedDecoder&) {
    return std::shared_ptr<AuthnType>(std::make_shared<KeyboardAuthnType>());
}

Result<std::shared_ptr<HostRecord>> decodeHost(const KeyedDecoder& decoder) {
    const Result<QString> hostName = decoder.decodeText(RemoteHost::HOST_KEY);
    if (!hostName)
        return hostName.error();
    auto record = std::make_shared<HostRecord>();
    const std::optional<std::uint16_t> port = portOf(decoder);
    const std::optional<QString> username = optionalText(decoder, RemoteHost::USER_KEY);
    if (!port || !username) {
        ++record->leftOut;
        return record;
    }
    record->host = std::make_shared<RemoteHost>(hostName.value(), *port, *username);
    RemoteHost& host = *record->host;

    if (const std::optional<ArchivedObject> authn = decoder.value(RemoteHost::AUTHN_KEY)) {
        const Result<std::shared_ptr<AuthnType>> type = authn->object<AuthnType>();
        record->leftOut += type ? 0 : 1;
        host.setAuthnType(type ? type.value() : nullptr);
    }
    const auto readText = [&](const QString& key, void (RemoteHost::*set)(const QString&)) {
        if (const std::optional<QString> text = optionalText(decoder, key))
            (host.*set)(*text);
        else if (decoder.value(key))
            ++record->leftOut;
    };
    readText(RemoteHost::GROUP_KEY, &RemoteHost::setGroup);
    readText(RemoteHost::NAME_KEY, &RemoteHost::setName);
    readText(RemoteHost::HOME_PATH_KEY, &RemoteHost::setHomePath);
    host.setUuid(std::nullopt);
    if (const std::optional<ArchivedObject> object = decoder.value(RemoteHost::UUID_KEY)) {
        const Result<QUuid> uuid = object->uuid();
        record->leftOut += uuid ? 0 : 1;
        host.setUuid(uuid ? std::optional(uuid.value()) : std::nullopt);
    }
    return record;
}

Result<std::shared_ptr<ServerGroup>> decodeGroup(const KeyedDecoder& decoder) {
    const Result<QString> name = decoder.decodeText(ServerGroup::NAME_KEY);
    if (!name)
        return name.error();
    return std::make_shared<ServerGroup>(name.value());
}

const ArchiveClasses& remoteClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        classes.add<AuthnType>(modulePrefix + authnTypeClass, &decodeAuthnType);
        classes.add<AuthnType>(modulePrefix + passwordAuthnTypeClass, &decodePasswordAuthnType);
        classes.add<AuthnType>(modulePrefix + publicKeyAuthnTypeClass, &decodePublicKeyAuthnType);
        classes.add<AuthnType>(modulePrefix + keyboardAuthnTypeClass, &decodeKeyboardAuthnType);
        classes.add<HostRecord>(modulePrefix + remoteHostClass, &decodeHost);
        classes.add<ServerGroup>(modulePrefix + serverGroupClass, &decodeGroup);
        return classes;
    }();
    return all;
}

template <typename Object>
QByteArray archiveList(const std::vector<std::shared_ptr<Object>>& objects) {
    KeyedArchiver archiver;
    return archiver.archivedData(archiver.addArray(
        objects, [&archiver](const std::shared_ptr<Object>& object) { return archiver.add(object); }));
}

} // namespace

QStringList archivedClassChain(const AuthnType& type) {
    const QString base = mangledClassName(authnTypeClass);
    if (dynamic_cast<const PasswordAuthnType*>(&type))
        return {mangledClassName(passwordAuthnTypeClass), base, rootClass};
    if (dynamic_cast<const PublicKeyAuthnType*>(&type))
        return {mangledClassName(publicKeyAuthnTypeClass), base, rootClass};
    if (dynamic_cast<const KeyboardAuthnType*>(&type))
        return {mangledClassName(keyboardAuthnTypeClass), base, rootClass};
    return {base, rootClass};
}

QStringList archivedClassChain(const RemoteHost&) {
    return {mangledClassName(remoteHostClass), rootClass};
}

QStringList archivedClassChain(const ServerGroup&) {
    return {mangledClassName(serverGroupClass), rootClass};
}

void encode(const AuthnType& type, KeyedEncoder& encoder) {
    if (const auto* password = dynamic_cast<const PasswordAuthnType*>(&type)) {
        encoder.encode(PasswordAuthnType::KEY_PWD, password->password);
    } else if (const auto* key = dynamic_cast<const PublicKeyAuthnType*>(&type)) {
        encoder.encode(PublicKeyAuthnType::KEY_PUB_FILE_PATH, key->publicKeyFilePath);
        encoder.encode(PublicKeyAuthnType::KEY_PVT_FILE_PATH, key->privateKeyFilePath);
        encoder.encode(PublicKeyAuthnType::KEY_PVT_PWD, key->privateKeyPwd);
    }
}

void encode(const RemoteHost& host, KeyedEncoder& encoder) {
    encoder.encode(RemoteHost::HOST_KEY, host.host());
    encoder.encodeReference(RemoteHost::PORT_KEY, encoder.archiver().addNumber(host.port()));
    encoder.encode(RemoteHost::USER_KEY, host.username());
    encoder.encode(RemoteHost::AUTHN_KEY, host.authnType());
    encoder.encode(RemoteHost::NAME_KEY, host.name());
    encoder.encode(RemoteHost::GROUP_KEY, host.group());
    encoder.encode(RemoteHost::HOME_PATH_KEY, host.homePath());
    encoder.encode(RemoteHost::UUID_KEY, host.uuid());
}

void encode(const ServerGroup& group, KeyedEncoder& encoder) {
    encoder.encode(ServerGroup::NAME_KEY, group.name());
}

QByteArray archiveHosts(const std::vector<std::shared_ptr<RemoteHost>>& hosts) {
    return archiveList(hosts);
}

QByteArray archiveGroups(const std::vector<std::shared_ptr<ServerGroup>>& groups) {
    return archiveList(groups);
}

Result<UnarchivedHosts> unarchiveHosts(const QByteArray& archive) {
    const auto unarchiver = KeyedUnarchiver::open(archive, remoteClasses());
    if (!unarchiver)
        return unarchiver.error();
    const auto elements = unarchiver.value()->root().elements();
    if (!elements)
        return elements.error();
    UnarchivedHosts result;
    int number = 0;
    for (const ArchivedObject& element : elements.value()) {
        ++number;
        if (!element.is<HostRecord>()) {
            ++result.leftOut;
            continue;
        }
        const Result<std::shared_ptr<HostRecord>> record = element.object<HostRecord>();
        if (!record)
            return Error{record.error().code, record.error().domain,
                         QCoreApplication::translate("RemoteArchive", "host %1: %2")
                             .arg(number)
                             .arg(record.error().userText)};
        result.leftOut += record.value()->leftOut;
        if (record.value()->host)
            result.hosts.push_back(record.value()->host);
    }
    return result;
}

Result<UnarchivedGroups> unarchiveGroups(const QByteArray& archive) {
    const auto unarchiver = KeyedUnarchiver::open(archive, remoteClasses());
    if (!unarchiver)
        return unarchiver.error();
    const auto elements = unarchiver.value()->root().elements();
    if (!elements)
        return elements.error();
    UnarchivedGroups result;
    for (const ArchivedObject& element : elements.value()) {
        if (const Result<std::shared_ptr<ServerGroup>> group = element.object<ServerGroup>())
            result.groups.push_back(group.value());
        else
            ++result.leftOut;
    }
    return result;
}

} // namespace korvane
