#pragma once

#include <QString>
#include <QUuid>

#include <cstdint>
#include <memory>
#include <optional>

namespace korvane {

class AuthnType;

/// One configured server: its address, its login and how it is listed. Held by shared pointer; identity is
/// the object's address. Main thread.
class RemoteHost {
public:
    inline static const QString HOST_KEY = QStringLiteral("host");
    inline static const QString PORT_KEY = QStringLiteral("port");
    inline static const QString USER_KEY = QStringLiteral("username");
    inline static const QString AUTHN_KEY = QStringLiteral("authn");
    inline static const QString NAME_KEY = QStringLiteral("name");
    inline static const QString GROUP_KEY = QStringLiteral("group");
    inline static const QString HOME_PATH_KEY = QStringLiteral("homepath");
    inline static const QString UUID_KEY = QStringLiteral("uuid");

    /// With a new UUID, in the group "Default".
    RemoteHost(QString host, std::uint16_t port, QString username);
    RemoteHost(const RemoteHost&) = delete;
    RemoteHost& operator=(const RemoteHost&) = delete;

    /// A new host with the same connection data and group and a copy of the authentication type, named after
    /// this one. It keeps the default home path.
    std::shared_ptr<RemoteHost> copy() const;

    /// Absent for a host whose archive has none.
    const std::optional<QUuid>& uuid() const { return uuid_; }
    void setUuid(const std::optional<QUuid>& value) { uuid_ = value; }
    /// Name or address.
    const QString& host() const { return host_; }
    void setHost(const QString& value) { host_ = value; }
    std::uint16_t port() const { return port_; }
    void setPort(std::uint16_t value) { port_ = value; }
    const QString& username() const { return username_; }
    void setUsername(const QString& value) { username_ = value; }
    /// Null until one is chosen.
    const std::shared_ptr<AuthnType>& authnType() const { return authnType_; }
    void setAuthnType(std::shared_ptr<AuthnType> value) { authnType_ = std::move(value); }
    /// The name chosen by the user; empty to show the connection data instead.
    const QString& name() const { return name_; }
    void setName(const QString& value) { name_ = value; }
    /// The name of its ServerGroup.
    const QString& group() const { return group_; }
    void setGroup(const QString& value) { group_ = value; }
    /// The directory on the server that the browser opens first.
    const QString& homePath() const { return homePath_; }
    void setHomePath(const QString& value) { homePath_ = value; }
    /// Set on a duplicate whose key files are already in the store. Not archived.
    bool clone() const { return clone_; }
    void setClone(bool value) { clone_ = value; }

    /// The name, or the connection data with the authentication type.
    QString labelForHost() const;
    void setLabelForHost(const QString& label) { setName(label); }
    /// user@host:port
    QString connectionString() const;
    /// The host's part of its keys in the settings: the UUID, or host and port without one.
    QString hostIdentifier() const;

private:
    std::optional<QUuid> uuid_;
    QString host_;
    std::uint16_t port_;
    QString username_;
    std::shared_ptr<AuthnType> authnType_;
    QString name_;
    QString group_;
    QString homePath_;
    bool clone_ = false;
};

} // namespace korvane
