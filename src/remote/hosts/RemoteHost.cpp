#include "remote/hosts/RemoteHost.h"

#include "remote/hosts/AuthnType.h"
#include "remote/hosts/ServerGroup.h"

#include <QCoreApplication>

namespace korvane {

RemoteHost::RemoteHost(QString host, std::uint16_t port, QString username)
    : uuid_(QUuid::createUuid()), host_(std::move(host)), port_(port), username_(std::move(username)),
      group_(ServerGroup::defaultName), homePath_(QStringLiteral("/")) {}

std::shared_ptr<RemoteHost> RemoteHost::copy() const {
    auto copied = std::make_shared<RemoteHost>(host_, port_, username_);
    copied->authnType_ = authnType_ ? authnType_->copy() : nullptr;
    copied->group_ = group_;
    copied->name_ = QCoreApplication::translate("RemoteHost", "Copy of [%1]").arg(labelForHost());
    return copied;
}

QString RemoteHost::labelForHost() const {
    if (!name_.isEmpty())
        return name_;
    const QString type = authnType_ ? authnType_->description() : QString();
    return type.isEmpty() ? connectionString() : connectionString() + QStringLiteral(" (") + type + u')';
}

QString RemoteHost::connectionString() const {
    return username_ + u'@' + host_ + u':' + QString::number(port_);
}

QString RemoteHost::hostIdentifier() const {
    return uuid_ ? uuid_->toString(QUuid::WithoutBraces).toUpper() : host_ + u'_' + QString::number(port_);
}

} // namespace korvane
