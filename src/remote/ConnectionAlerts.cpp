#include "remote/ConnectionAlerts.h"

#include "remote/RemoteHost.h"

namespace korvane {

Alert connectionFailureAlert(const RemoteHost& host) {
    return {Alert::Kind::Warning,
            QStringLiteral("Could not connect to host: %1 on port %2").arg(host.host()).arg(host.port()),
            QStringLiteral("Please check the configuration and ensure the SSH server is running!"),
            {QStringLiteral("OK")}};
}

} // namespace korvane
