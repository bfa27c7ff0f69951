#include "remote/hosts/RemoteArchive.h"

#include "foundation/archive/ArchiveFormat.h"
#include "foundation/archive/FieldTable.h"
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

const auto passwordFields =
    FieldTable<PasswordAuthnType>().optional(PasswordAuthnType::KEY_PWD, &PasswordAuthnType::password);

const auto publicKeyFields =
    FieldTable<PublicKeyAuthnType>()
        .optional(PublicKeyAuthnType::KEY_PUB_FILE_PATH, &PublicKeyAuthnType::publicKeyFilePath)
        .optional(PublicKeyAuthnType::KEY_PVT_FILE_PATH, &PublicKeyAuthnType::privateKeyFilePath)
        .optional(PublicKeyAuthnType::KEY_PVT_PWD, &PublicKeyAuthnType::privateKeyPwd);

const auto groupFields =
    FieldTable<ServerGroup>().required(ServerGroup::NAME_KEY, &ServerGroup::name, &ServerGroup::setName);

/// This error leaves the host out of the list; the others are read.
Error unusableHost(const QString& key) {
    return {static_cast<int>(ArchiveFault::unusable), QStringLiteral("KeyedArchive"), key};
}

/// Written as an object of its own in the archive.
void writePort(const RemoteHost& host, KeyedEncoder& encoder, const QString& key) {
    encoder.encodeReference(key, encoder.archiver().addNumber(host.port()));
}

Status readPort(RemoteHost& host, const KeyedDecoder& decoder, const QString& key) {
    const Result<qint64> port = decoder.decode<qint64>(key);
    if (!port || port.value() < 0 || port.value() > std::numeric_limits<std::uint16_t>::max())
        return unusableHost(key);
    host.setPort(static_cast<std::uint16_t>(port.value()));
    return success();
}

Status readUsername(RemoteHost& host, const KeyedDecoder& decoder, const QString& key) {
    const Result<QString> name = decoder.decode<QString>(key);
    if (!name)
        return unusableHost(key);
    host.setUsername(name.value());
    return success();
}

const auto hostFields =
    FieldTable<RemoteHost>()
        .required(RemoteHost::HOST_KEY, &RemoteHost::host, &RemoteHost::setHost)
        .field(RemoteHost::PORT_KEY, &writePort, &readPort)
        .field(RemoteHost::USER_KEY, &RemoteHost::username, &readUsername)
        .optional(RemoteHost::AUTHN_KEY, &RemoteHost::authnType, &RemoteHost::setAuthnType)
        .optional(RemoteHost::NAME_KEY, &RemoteHost::name, &RemoteHost::setName)
        .optional(RemoteHost::GROUP_KEY, &RemoteHost::group, &RemoteHost::setGroup)
        .optional(RemoteHost::HOME_PATH_KEY, &RemoteHost::homePath, &RemoteHost::setHomePath)
        .optional(RemoteHost::UUID_KEY, &RemoteHost::uuid, &RemoteHost::setUuid);

Result<std::shared_ptr<RemoteHost>> decodeHost(const KeyedDecoder& decoder) {
    auto host = std::make_shared<RemoteHost>(QString(), std::uint16_t(0), QString());
    host->setUuid(std::nullopt);
    return hostFields.decoded(decoder, std::move(host));
}

template <typename Type>
void addAuthnType(ArchiveClasses& classes, const QString& name, const FieldTable<Type>& fields) {
    classes.add<AuthnType>(modulePrefix + name,
                           [fields](const KeyedDecoder& decoder) -> Result<std::shared_ptr<AuthnType>> {
                               auto type = fields.decoded(decoder, std::make_shared<Type>());
                               if (!type)
                                   return type.error();
                               return std::shared_ptr<AuthnType>(std::move(type).value());
                           });
}

const ArchiveClasses& remoteClasses() {
    static const ArchiveClasses all = [] {
        ArchiveClasses classes;
        addAuthnType(classes, authnTypeClass, FieldTable<AuthnType>());
        addAuthnType(classes, passwordAuthnTypeClass, passwordFields);
        addAuthnType(classes, publicKeyAuthnTypeClass, publicKeyFields);
        addAuthnType(classes, keyboardAuthnTypeClass, FieldTable<KeyboardAuthnType>());
        classes.add<RemoteHost>(modulePrefix + remoteHostClass, &decodeHost);
        classes.add<ServerGroup>(modulePrefix + serverGroupClass, [](const KeyedDecoder& decoder) {
            return groupFields.decoded(decoder, std::make_shared<ServerGroup>(QString()));
        });
        return classes;
    }();
    return all;
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
        passwordFields.encode(*password, encoder);
    } else if (const auto* key = dynamic_cast<const PublicKeyAuthnType*>(&type)) {
        publicKeyFields.encode(*key, encoder);
    }
}

void encode(const RemoteHost& host, KeyedEncoder& encoder) {
    hostFields.encode(host, encoder);
}

void encode(const ServerGroup& group, KeyedEncoder& encoder) {
    groupFields.encode(group, encoder);
}

QByteArray archiveHosts(const std::vector<std::shared_ptr<RemoteHost>>& hosts) {
    return archiveList(hosts);
}

QByteArray archiveGroups(const std::vector<std::shared_ptr<ServerGroup>>& groups) {
    return archiveList(groups);
}

Result<UnarchivedList<RemoteHost>> unarchiveHosts(const QByteArray& archive) {
    return unarchiveList<RemoteHost>(archive, remoteClasses(),
                                     QCoreApplication::translate("RemoteArchive", "host %1: %2"));
}

Result<UnarchivedList<ServerGroup>> unarchiveGroups(const QByteArray& archive) {
    return unarchiveList<ServerGroup>(archive, remoteClasses());
}

} // namespace korvane
