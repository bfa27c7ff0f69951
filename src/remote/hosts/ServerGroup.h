#pragma once

#include <QString>

#include <utility>

namespace korvane {

/// A heading under which hosts are listed; hosts refer to it by name. Held by shared pointer; main thread.
class ServerGroup {
public:
    inline static const QString NAME_KEY = QStringLiteral("name");
    /// The group that always exists, for every host without another.
    inline static const QString defaultName = QStringLiteral("Default");

    explicit ServerGroup(QString name) : name_(std::move(name)) {}
    ServerGroup(const ServerGroup&) = delete;
    ServerGroup& operator=(const ServerGroup&) = delete;

    const QString& name() const { return name_; }
    void setName(const QString& value) { name_ = value; }
    bool editable() const { return name_ != defaultName; }

private:
    QString name_;
};

} // namespace korvane
