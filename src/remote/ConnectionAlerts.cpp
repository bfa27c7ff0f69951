#include "remote/ConnectionAlerts.h"

namespace korvane {

Alert connectionFailureAlert(const QString& host, std::uint16_t port, const QString& reason) {
    return {Alert::Kind::Error,
            QStringLiteral("Could not connect to host: %1 on port %2").arg(host, QString::number(port)),
            QStringLiteral("Please check the configuration and ensure the SSH server is running!") +
                (reason.isEmpty() ? QString() : u'\n' + reason),
            {QStringLiteral("OK")}};
}

} // namespace korvane
